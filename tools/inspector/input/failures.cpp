#include "inspector/input/failures.h"

#include "inspector/input/notation.h"
#include "inspector/input/pointer.h"
#include "inspector/output/finding.h"
#include "vx/log-context.h"

#include <optional>
#include <utility>

namespace inspector {
namespace {

/// As conversions tell it, from the inside out.
void writeFrames(std::ostream& stream, std::string_view pointer) {
    while (!pointer.empty()) {
        const std::size_t slash = pointer.rfind('/');
        stream << "/ " << pointer.substr(slash + 1) << ' ';
        pointer = pointer.substr(0, slash);
    }
}

/// Why the daemon can't convert the value, if it can't.
std::optional<std::string> reasonOf(json_object* json, const Shape& shape,
                                    const std::string& pointer) {
    try {
        const vx::detail::LogContextImpl frame(
            [&](std::ostream& stream) { writeFrames(stream, pointer); });
        if (json != nullptr)
            shape.convert(json);
    } catch (const std::exception& e) {
        return e.what();
    }
    return std::nullopt;
}

bool isAddress(const std::string& pointer) {
    return pointer.substr(pointer.rfind('/') + 1) == "address";
}

std::string remedyOf(json_object* json, const Shape& shape, const std::string& pointer) {
    using Kind = Shape::Kind;
    if (const auto notation = notationOf(json_object_get_int64(json));
        notation && isAddress(pointer))
        return "If that is the notation of a " + notation->space + " register, take the address " +
               std::to_string(notation->address) +
               " and \"registerType\": " + quoted(notation->space) + ".";
    switch (shape.kind) {
    case Kind::record:
        return "Give it an object.";
    case Kind::list:
        return "Give it a list.";
    case Kind::enumeration:
        return "Give it one of its names, as a text.";
    case Kind::integer:
        return "Give it a whole number from " + std::to_string(shape.least) + " to " +
               std::to_string(shape.most) + ".";
    case Kind::number:
        return "Give it a number.";
    case Kind::flag:
        return "Give it true or false.";
    default:
        return "Give it a text.";
    }
}

/// Adds those of the parts of a value.
void addParts(std::vector<Failure>& failures, json_object* json, const Shape& shape,
              const std::string& pointer) {
    const auto add = [&](json_object* part, const Shape& ofPart, const std::string& at) {
        for (Failure& failure : failuresOf(part, ofPart, at))
            failures.push_back(std::move(failure));
    };
    if (shape.kind == Shape::Kind::record && json_object_is_type(json, json_type_object) != 0) {
        for (const Shape::Field& field : shape.fields) {
            json_object* part = nullptr;
            json_object_object_get_ex(json, std::string(field.key).c_str(), &part);
            add(part, *field.shape, pointerTo(pointer, field.key));
        }
    }
    if (shape.kind == Shape::Kind::list && json_object_is_type(json, json_type_array) != 0) {
        for (std::size_t i = 0; i < json_object_array_length(json); ++i)
            add(json_object_array_get_idx(json, i), *shape.element, pointerTo(pointer, i));
    }
}

} // namespace

std::vector<Failure> failuresOf(json_object* json, const Shape& shape, const std::string& pointer) {
    std::vector<Failure> failures;
    auto reason = reasonOf(json, shape, pointer);
    if (!reason)
        return failures;
    addParts(failures, json, shape, pointer);
    if (failures.empty())
        failures.push_back({pointer, std::move(*reason), remedyOf(json, shape, pointer)});
    return failures;
}

} // namespace inspector
