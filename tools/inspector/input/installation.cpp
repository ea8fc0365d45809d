#include "inspector/input/installation.h"

#include "inspector/daemon/shape.h"
#include "inspector/input/pointer.h"
#include "inspector/input/text-checks.h"
#include "vx/json.h"
#include "vx/record.h"

#include <algorithm>
#include <array>
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
        : m_document(document), m_findings(findings), m_report(document.name(), findings) {}

    /// The value at @p pointer, whose tokens are those of the daemon's messages.
    template <class T>
    std::optional<T> read(const JsonNode& node, const std::string& pointer) {
        const std::string_view text = m_document.text();
        checkText(parseJsonAt(text, node.begin, node.end).root, shapeOf<T>(), pointer,
                  m_document.name(), m_findings);
        const auto fragment = vx::parseJsonFragment(
            std::string(text.substr(node.begin, node.end - node.begin)).c_str());
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
    Findings& m_findings;
    Reporter m_report;
};

/// What a reply holds: its key "data", or all of it without an envelope.
struct Content {
    const JsonNode* node;
    std::string pointer;
};

template <class T>
bool hasKeyOf(const JsonNode& node) {
    const auto& fields = shapeOf<T>().fields;
    return std::any_of(fields.begin(), fields.end(),
                       [&](const Shape::Field& x) { return node.member(x.key) != nullptr; });
}

/// @p isBare tells whether a root without "data" is the content itself.
std::optional<Content> contentOf(const Document& document, bool isBare, Findings& findings) {
    const JsonNode* root = document.root();
    if (root == nullptr)
        return std::nullopt;
    if (const JsonNode* data = root->member("data"))
        return Content{data, "/data"};
    if (isBare)
        return Content{root, ""};
    if (root->kind != Kind::object && root->kind != Kind::null) {
        Reader(document, findings).read<vxModel::SerialPortConfig>(*root, "");
        return std::nullopt;
    }
    Reporter(document.name(),
             findings)("no-data", Severity::error, "/data",
                       "Without a key \"data\" the daemon takes the reply for an empty one.",
                       "Put what the reply is to say under the key \"data\".");
    return std::nullopt;
}

template <class T>
std::vector<Placed<T>> readRange(const Document& document, const Content& list, std::size_t from,
                                 std::size_t to, Findings& findings) {
    std::vector<Placed<T>> result;
    result.reserve(to - from);
    Reader reader(document, findings);
    for (std::size_t i = from; i < to; ++i) {
        std::string pointer = pointerTo(list.pointer, i);
        if (auto value = reader.read<T>(list.node->children[i], pointer))
            result.push_back({std::move(*value), std::move(pointer)});
    }
    return result;
}

/// Long lists by all processors, as the daemon's parser takes most of the time.
template <class T>
std::vector<Placed<T>> readList(const Document& document, const Content& list, Findings& findings) {
    constexpr std::size_t leastOfOne = 100;
    const std::size_t size = list.node->children.size();
    const std::size_t parts =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 1 + size / leastOfOne);
    struct Part {
        std::vector<Placed<T>> values;
        Findings findings;
    };
    std::vector<std::future<Part>> futures;
    for (std::size_t i = 0; i < parts; ++i)
        futures.push_back(std::async(std::launch::async, [&, i] {
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
std::vector<Placed<T>> readContent(const Document& document, const Content& content,
                                   Findings& findings) {
    if (content.node->kind == Kind::list)
        return readList<T>(document, content, findings);
    if (content.node->kind != Kind::null)
        Reader(document, findings).read<std::vector<T>>(*content.node, content.pointer);
    return {};
}

} // namespace

Installation::Models readModels(const Document& document, Findings& findings) {
    using Model = vxModel::ElectricityMeterConfig;
    const JsonNode* root = document.root();
    const bool isSingle = root != nullptr && root->kind == Kind::object &&
                          root->member("data") == nullptr && hasKeyOf<Model>(*root);
    if (isSingle) {
        auto model = Reader(document, findings).read<Model>(*root, "");
        return model ? Installation::Models{{std::move(*model), ""}} : Installation::Models();
    }
    const bool isBare = root != nullptr && root->kind == Kind::list;
    const auto content = contentOf(document, isBare, findings);
    return content ? readContent<Model>(document, *content, findings) : Installation::Models();
}

Installation::Meters readMeters(const Document& document, Findings& findings) {
    const bool isBare = document.root() != nullptr && document.root()->kind == Kind::list;
    const auto content = contentOf(document, isBare, findings);
    return content ? readContent<vxModel::ModbusMeter>(document, *content, findings)
                   : Installation::Meters();
}

std::optional<Placed<vxModel::SerialPortConfig>> readSerial(const Document& document,
                                                            Findings& findings) {
    using Config = vxModel::SerialPortConfig;
    const bool isBare = document.root() != nullptr && hasKeyOf<Config>(*document.root());
    const auto content = contentOf(document, isBare, findings);
    if (!content)
        return std::nullopt;
    auto config = Reader(document, findings).read<Config>(*content->node, content->pointer);
    if (!config)
        return std::nullopt;
    return Placed<Config>{std::move(*config), content->pointer};
}

std::optional<Placed<orv::modbus::ModbusMiscConfig>> readConfig(const Document& document,
                                                                Findings& findings) {
    if (document.root() == nullptr)
        return std::nullopt;
    const auto config =
        Reader(document, findings).read<orv::modbus::ConfigFile>(*document.root(), "");
    if (!config)
        return std::nullopt;
    return Placed<orv::modbus::ModbusMiscConfig>{config->modbusMiscConfig, "/modbusMiscConfig"};
}

} // namespace inspector
