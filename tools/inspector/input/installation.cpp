#include "inspector/input/installation.h"

#include "inspector/daemon/shape.h"
#include "inspector/input/pointer.h"
#include "modbus/server-replies.h"
#include "vx/json.h"
#include "vx/record.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <thread>

namespace inspector {
namespace {

using Kind = JsonNode::Kind;

/// Pointer to the innermost value that doesn't convert, given that @p json doesn't.
std::string failingPart(json_object* json, const Shape& shape, const std::string& pointer) {
    const auto fails = [](json_object* part, const Shape& ofPart) {
        try {
            if (part != nullptr)
                ofPart.convert(part);
        } catch (const std::exception&) {
            return true;
        }
        return false;
    };
    if (shape.kind == Shape::Kind::record && json_object_is_type(json, json_type_object) != 0)
        for (const Shape::Field& field : shape.fields) {
            json_object* part = nullptr;
            json_object_object_get_ex(json, std::string(field.key).c_str(), &part);
            if (fails(part, *field.shape))
                return failingPart(part, *field.shape, pointerTo(pointer, field.key));
        }
    if (shape.kind == Shape::Kind::list && json_object_is_type(json, json_type_array) != 0)
        for (std::size_t i = 0; i < json_object_array_length(json); ++i)
            if (json_object* part = json_object_array_get_idx(json, i); fails(part, *shape.element))
                return failingPart(part, *shape.element, pointerTo(pointer, i));
    return pointer;
}

/// Reads values of one document.
class Reader {
public:
    Reader(const Document& document, Findings& findings)
        : m_document(document), m_report(document.name(), findings) {}

    /// The value at @p pointer, whose tokens are those of the daemon's messages.
    template <class T>
    std::optional<T> read(TextRange range, const std::string& pointer) {
        const std::string text(m_document.text().substr(range.begin, range.end - range.begin));
        const auto fragment = vx::parseJsonFragment(text.c_str());
        try {
            const vx::detail::LogContextImpl frame(
                [&](std::ostream& stream) { writeFrames(stream, pointer); });
            return vx::fromJson<T>(fragment.get());
        } catch (const std::exception& e) {
            doesNotConvert(failingPart(fragment.get(), shapeOf<T>(), pointer), e.what());
            return std::nullopt;
        }
    }

    void doesNotConvert(std::string pointer, const std::string& reason) {
        m_report("does-not-convert", Severity::error, std::move(pointer),
                 "The daemon takes nothing of this document: " + reason,
                 "Give it a value of the kind that belongs here.");
    }

private:
    /// As conversions do from the inside out.
    static void writeFrames(std::ostream& stream, std::string_view pointer) {
        while (!pointer.empty()) {
            const std::size_t slash = pointer.rfind('/');
            stream << "/ " << pointer.substr(slash + 1) << ' ';
            pointer = pointer.substr(0, slash);
        }
    }

    const Document& m_document;
    Reporter m_report;
};

/// What a reply holds. Nothing, with a finding, if it can't be found.
const TextWalk::Content* contentOf(const Document& document, Findings& findings) {
    const TextWalk* walk = document.walk();
    if (walk == nullptr || walk->content)
        return walk == nullptr ? nullptr : &*walk->content;
    if (walk->rootKind == Kind::object)
        Reporter(document.name(),
                 findings)("no-data", Severity::error, "/data",
                           "Without a key \"data\" the daemon takes the reply for an empty one.",
                           "Put what the reply is to say under the key \"data\".");
    else if (walk->rootKind != Kind::null)
        // The failure is that of any reply.
        Reader(document, findings).read<orv::modbusreader::SerialPortConfigReply>(walk->root, "");
    return nullptr;
}

template <class T>
std::vector<Placed<T>> readRange(const Document& document, const TextWalk::Content& list,
                                 std::size_t from, std::size_t to, Findings& findings) {
    std::vector<Placed<T>> result;
    result.reserve(to - from);
    Reader reader(document, findings);
    for (std::size_t i = from; i < to; ++i) {
        std::string pointer = pointerTo(document.contentPath(), i);
        if (auto value = reader.read<T>(list.elements[i], pointer))
            result.push_back({std::move(*value), std::move(pointer)});
    }
    return result;
}

/// Long lists by all processors, as the daemon's parser takes most of the time.
template <class T>
std::vector<Placed<T>> readList(const Document& document, const TextWalk::Content& list,
                                Findings& findings) {
    constexpr std::size_t leastOfOne = 100;
    const std::size_t size = list.elements.size();
    const std::size_t parts =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 1 + size / leastOfOne);
    struct Part {
        std::vector<Placed<T>> values;
        Findings findings;
    };
    std::vector<std::future<Part>> futures;
    for (std::size_t i = 0; i < parts; ++i)
        // One part by this thread itself, when it asks for it.
        futures.push_back(std::async(i == 0 ? std::launch::deferred : std::launch::async, [&, i] {
            Part part;
            part.values = readRange<T>(document, list, size * i / parts, size * (i + 1) / parts,
                                       part.findings);
            return part;
        }));
    std::vector<Placed<T>> result;
    for (auto& future : futures) {
        Part part = future.get();
        std::move(part.values.begin(), part.values.end(), std::back_inserter(result));
        std::move(part.findings.begin(), part.findings.end(), std::back_inserter(findings));
    }
    return result;
}

template <class T>
std::vector<Placed<T>> readListOf(const Document& document, Findings& findings) {
    const TextWalk::Content* content = contentOf(document, findings);
    if (content == nullptr || content->kind == Kind::null)
        return {};
    if (content->kind == Kind::list)
        return readList<T>(document, *content, findings);
    Reader(document, findings).read<std::vector<T>>(content->range, document.contentPath());
    return {};
}

template <class T>
std::optional<Placed<T>> readRecord(const Document& document, Findings& findings) {
    const TextWalk::Content* content = contentOf(document, findings);
    if (content == nullptr)
        return std::nullopt;
    auto value = Reader(document, findings).read<T>(content->range, document.contentPath());
    if (!value)
        return std::nullopt;
    return Placed<T>{std::move(*value), document.contentPath()};
}

} // namespace

Installation::Models readModels(const Document& document, Findings& findings) {
    using Model = vxModel::ElectricityMeterConfig;
    if (document.form() != Document::Form::single)
        return readListOf<Model>(document, findings);
    auto model = readRecord<Model>(document, findings);
    return model ? Installation::Models{std::move(*model)} : Installation::Models();
}

Installation::Meters readMeters(const Document& document, Findings& findings) {
    return readListOf<vxModel::ModbusMeter>(document, findings);
}

std::optional<Placed<vxModel::SerialPortConfig>> readSerial(const Document& document,
                                                            Findings& findings) {
    return readRecord<vxModel::SerialPortConfig>(document, findings);
}

std::optional<Placed<orv::modbus::ModbusMiscConfig>> readConfig(const Document& document,
                                                                Findings& findings) {
    const auto config = readRecord<orv::modbus::ConfigFile>(document, findings);
    if (!config)
        return std::nullopt;
    return Placed<orv::modbus::ModbusMiscConfig>{config->value.modbusMiscConfig,
                                                 "/modbusMiscConfig"};
}

} // namespace inspector
