#include "inspector/input/installation.h"

#include "inspector/daemon/shape.h"
#include "inspector/input/failures.h"
#include "inspector/input/pointer.h"
#include "inspector/output/in-pieces.h"
#include "vx/json.h"
#include "vx/record.h"

#include <iterator>
#include <memory>
#include <string_view>

namespace inspector {
namespace {

using Kind = JsonNode::Kind;

constexpr std::string_view neitherThis = "The daemon would stop at this value too: ";

std::shared_ptr<json_object> fragmentOf(const Document& document, TextRange range) {
    const std::string text(document.text().substr(range.begin, range.end - range.begin));
    return vx::parseJsonFragment(text.c_str());
}

/// Reads values of one document.
class Reader {
public:
    Reader(const Document& document, Findings& findings)
        : m_document(document), m_report(document.name(), findings) {}

    /// The value at @p pointer, whose tokens are those of the daemon's messages.
    template <class T>
    std::optional<T> read(TextRange range, const std::string& pointer) const {
        const auto fragment = fragmentOf(m_document, range);
        try {
            return vx::fromJson<T>(fragment.get());
        } catch (const std::exception&) {
            report(failuresOf(fragment.get(), shapeOf<T>(), pointer));
            return std::nullopt;
        }
    }

    /// Of one that isn't of its kind.
    void reportFailures(TextRange range, const std::string& pointer, const Shape& shape) const {
        report(failuresOf(fragmentOf(m_document, range).get(), shape, pointer));
    }

private:
    void report(std::vector<Failure> failures) const {
        for (Failure& x : failures)
            m_report("does-not-convert", Severity::error, std::move(x.pointer),
                     std::string(m_document.kind().broken) + x.reason, std::move(x.remedy));
    }

    const Document& m_document;
    Reporter m_report;
};

/// The daemon stops at the first value that it can't convert.
void tellFirst(Findings& findings, const DocumentKind& kind) {
    bool isFirst = true;
    for (Finding& x : findings) {
        if (x.name != "does-not-convert" || x.document != kind.name)
            continue;
        if (!isFirst)
            x.message.replace(0, kind.broken.size(), neitherThis);
        isFirst = false;
    }
}

/// What a reply holds. Nothing, with a finding, if it can't be found.
const TextWalk::Content* contentOf(const Document& document, Findings& findings) {
    const TextWalk* walk = document.walk();
    if (walk == nullptr || walk->content)
        return walk == nullptr ? nullptr : &*walk->content;
    if (walk->rootKind == Kind::object || walk->rootKind == Kind::null) {
        Reporter(document.name(),
                 findings)("no-data", Severity::error, "/data",
                           "Without a key \"data\" the daemon takes the reply for an empty one.",
                           document.kind().content->kind == Shape::Kind::list
                               ? "Put it into a list under the key \"data\": {\"data\": [...]}."
                               : "Put it under the key \"data\": {\"data\": {...}}.");
    } else {
        Reader(document, findings).reportFailures(walk->root, "", *document.kind().whole);
    }
    return nullptr;
}

template <class T>
std::vector<Placed<T>> readRange(const Document& document, const TextWalk::Content& list,
                                 std::size_t from, std::size_t to, Findings& findings) {
    std::vector<Placed<T>> result;
    result.reserve(to - from);
    const Reader reader(document, findings);
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
    struct Piece {
        std::vector<Placed<T>> values;
        Findings findings;
    };
    std::vector<Placed<T>> result;
    const auto read = [&](std::size_t from, std::size_t to) {
        Piece piece;
        piece.values = readRange<T>(document, list, from, to, piece.findings);
        return piece;
    };
    const auto take = [&](Piece piece) {
        std::move(piece.values.begin(), piece.values.end(), std::back_inserter(result));
        std::move(piece.findings.begin(), piece.findings.end(), std::back_inserter(findings));
    };
    constexpr std::size_t sizeOfPiece = 100;
    result.reserve(list.elements.size());
    inPieces(list.elements.size(), sizeOfPiece, read, take);
    return result;
}

/// Whether the daemon finds nothing to convert.
bool isEmpty(const TextWalk& walk) {
    return walk.content ? walk.content->kind == Kind::null
                        : walk.rootKind == Kind::object || walk.rootKind == Kind::null;
}

template <class T>
std::optional<Placed<T>> readRecord(const Document& document, Findings& findings) {
    const TextWalk::Content* content = contentOf(document, findings);
    if (content == nullptr)
        return std::nullopt;
    auto value = Reader(document, findings).read<T>(content->range, document.contentPath());
    tellFirst(findings, document.kind());
    if (!value)
        return std::nullopt;
    return Placed<T>{std::move(*value), document.contentPath()};
}

template <class T>
std::optional<std::vector<Placed<T>>> readListOf(const Document& document, Findings& findings) {
    if (document.form() == Document::Form::single) {
        auto value = readRecord<T>(document, findings);
        return value ? std::optional(std::vector{std::move(*value)}) : std::nullopt;
    }
    const TextWalk::Content* content = contentOf(document, findings);
    if (document.walk() != nullptr && isEmpty(*document.walk()))
        return std::vector<Placed<T>>();
    if (content == nullptr)
        return std::nullopt;
    if (content->kind != Kind::list) {
        Reader(document, findings)
            .reportFailures(content->range, document.contentPath(), *document.kind().content);
        return std::nullopt;
    }
    auto values = readList<T>(document, *content, findings);
    tellFirst(findings, document.kind());
    return values;
}

} // namespace

const Installation::Models& modelsOf(const Installation& installation) {
    static const Installation::Models none;
    return installation.models ? *installation.models : none;
}

const Installation::Meters& metersOf(const Installation& installation) {
    static const Installation::Meters none;
    return installation.meters ? *installation.meters : none;
}

bool isTcp(const Installation& installation) {
    return installation.config && !installation.config->value.modbusTCPServer.empty();
}

std::optional<Installation::Models> readModels(const Document& document, Findings& findings) {
    return readListOf<vxModel::ElectricityMeterConfig>(document, findings);
}

std::unordered_set<std::string> idsOfBroken(const Document& document,
                                            const Installation::Models& models) {
    std::unordered_set<std::string> ids;
    const auto& content = document.walk()->content;
    if (!content || content->elements.size() == models.size())
        return ids;
    auto model = models.begin();
    for (std::size_t i = 0; i < content->elements.size(); ++i) {
        if (model != models.end() && model->path == pointerTo(document.contentPath(), i)) {
            ++model;
            continue;
        }
        const auto broken = fragmentOf(document, content->elements[i]);
        json_object* id = nullptr;
        if (json_object_object_get_ex(broken.get(), "id", &id) != 0 && id != nullptr)
            ids.insert(json_object_get_string(id));
    }
    return ids;
}

std::optional<Installation::Meters> readMeters(const Document& document, Findings& findings) {
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
