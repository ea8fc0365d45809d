#include "inspector/input/document.h"

#include "inspector/input/document-form.h"
#include "inspector/input/pointer.h"
#include "modbus/config-file.h"
#include "modbus/server-replies.h"
#include "vx/json.h"

#include <json-c/json_visit.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace inspector {
namespace {

constexpr std::size_t unknown = static_cast<std::size_t>(-1);

/// Where the daemon's parser gives up.
std::size_t faultOffset(const std::string& text) {
    const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                         json_tokener_free);
    json_object_put(json_tokener_parse_ex(tokener.get(), text.c_str(), -1));
    return json_tokener_get_parse_end(tokener.get());
}

bool isParsed(const std::string& text) {
    try {
        vx::parseJsonFragment(text.c_str());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// A number of the daemon's parser is written as it was, be it one such as 1e999, until it is set
/// anew.
int forgetText(json_object* json, int, json_object*, const char*, std::size_t*, void*) {
    if (json_object_is_type(json, json_type_double) != 0)
        json_object_set_double(json, json_object_get_double(json));
    return JSON_C_VISIT_RETURN_CONTINUE;
}

/// Child that one token of a pointer leads to, or null.
const JsonNode* childOf(const JsonNode& node, const std::string& token) {
    if (node.kind == JsonNode::Kind::object)
        return node.member(token);
    const std::size_t index = indexOf(token);
    return index < node.children.size() ? &node.children[index] : nullptr;
}

/// Finds values of a document. Those of one element of a long list, which is parsed by itself, are
/// best asked for one behind the other.
class Places {
public:
    Places(std::string_view text, const TextWalk& walk, std::size_t contentDepth)
        : m_text(text), m_walk(walk), m_contentDepth(contentDepth) {}

    /// Of the value, or of where the pointer ends.
    std::size_t offsetOf(const std::string& pointer) {
        const std::vector<std::string> tokens = tokensOf(pointer);
        // All of a large text, or nearly so, is known without a tree of it.
        if (tokens.empty() || !m_walk.content)
            return m_walk.root.begin;
        if (tokens.size() == m_contentDepth)
            return m_walk.content->range.begin;
        auto token = tokens.begin();
        const std::size_t index = elementOf(tokens);
        if (index == unknown) {
            load(m_walk.root, unknown);
        } else {
            load(m_walk.content->elements[index], index);
            token += static_cast<std::ptrdiff_t>(m_contentDepth) + 1;
        }
        const JsonNode* node = &*m_root;
        for (; token != tokens.end(); ++token) {
            const JsonNode* child = childOf(*node, *token);
            if (child == nullptr)
                break;
            node = child;
        }
        return node->begin;
    }

private:
    /// Of the content, if it is a list.
    std::size_t elementOf(const std::vector<std::string>& tokens) const {
        if (!m_walk.content || tokens.size() <= m_contentDepth)
            return unknown;
        const std::size_t index = indexOf(tokens[m_contentDepth]);
        return index < m_walk.content->elements.size() ? index : unknown;
    }

    void load(TextRange range, std::size_t index) {
        if (m_root && m_index == index)
            return;
        m_root = parseJsonAt(m_text, range.begin, range.end);
        m_index = index;
    }

    std::string_view m_text;
    const TextWalk& m_walk;
    std::size_t m_contentDepth;
    std::optional<JsonNode> m_root = std::nullopt;
    /// Of the element that is parsed; unknown for the whole text.
    std::size_t m_index = unknown;
};

} // namespace

const DocumentKind& supportedKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"supported", &shapeOf<MeterConfigReply>(),
                                   &shapeOf<decltype(MeterConfigReply::data)>(),
                                   &shapeOf<vxModel::ElectricityMeterConfig>()};
    return kind;
}

const DocumentKind& attachedKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"attached", &shapeOf<AttachedMetersReply>(),
                                   &shapeOf<decltype(AttachedMetersReply::data)>(), nullptr};
    return kind;
}

const DocumentKind& serialKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"serial", &shapeOf<SerialPortConfigReply>(),
                                   &shapeOf<vxModel::SerialPortConfig>(), nullptr};
    return kind;
}

const DocumentKind& configKind() {
    static const DocumentKind kind{"config", &shapeOf<orv::modbus::ConfigFile>(), nullptr, nullptr};
    return kind;
}

Document::Document(const DocumentKind& kind, std::string text)
    : m_kind(&kind), m_text(std::move(text)) {
    m_text.resize(std::strlen(m_text.c_str()));
    open();
}

std::string Document::contentPath() const {
    return m_form == Form::whole && m_kind->content != nullptr ? "/data" : "";
}

TextWalk Document::walkThrough(Letter letter) {
    m_form = formOf(m_text, *m_kind);
    const Shape& shape = m_form == Form::whole     ? *m_kind->whole
                         : m_form == Form::content ? *m_kind->content
                                                   : *m_kind->single;
    const bool hasEnvelope = m_form == Form::whole && m_kind->content != nullptr;
    return walkText(m_text, shape, hasEnvelope, m_kind->name, letter);
}

void Document::open() {
    try {
        TextWalk walk = walkThrough(Letter::ofJson);
        // It takes a null that has no blank beside it alone.
        if (walk.rootKind == JsonNode::Kind::null && m_text != "null")
            throw JsonFault{"A null with blanks", 0};
        const std::size_t rest = m_text.find_first_not_of(" \t\r\n", walk.root.end);
        if (rest != std::string::npos && !isTakenWithRest(walk))
            throw JsonFault{"No comment", rest};
        if (rest != std::string::npos)
            report(rest, "text-behind", Severity::warning,
                   "The daemon reads the first value and ignores what stands behind it.",
                   "Delete it, or find out what was lost there.");
        m_walk = std::move(walk);
    } catch (const JsonFault& fault) {
        openLeniently(fault);
    }
    if (m_walk)
        std::move(m_walk->findings.begin(), m_walk->findings.end(), std::back_inserter(m_findings));
}

/// Behind a value the daemon's parser looks for comments.
bool Document::isTakenWithRest(const TextWalk& walk) const {
    const bool hasBrackets =
        walk.rootKind == JsonNode::Kind::object || walk.rootKind == JsonNode::Kind::list;
    // Its tree of a large text would be larger still, and what it was matters no more.
    return isParsed(hasBrackets ? "[]" + m_text.substr(walk.root.end) : m_text);
}

void Document::openLeniently(const JsonFault& fault) {
    try {
        const auto fragment = vx::parseJsonFragment(m_text.c_str());
        report(fault.offset, "lenient-json", Severity::hint,
               "The daemon's parser takes this text, but by the letter it is no JSON: " +
                   fault.reason,
               "Write what every parser understands.");
        place(m_findings);
        json_c_visit(fragment.get(), 0, forgetText, nullptr);
        m_text = vx::toJson(fragment);
        m_hasPlaces = false;
        m_walk = walkThrough(Letter::ofDaemon);
    } catch (const std::exception& e) {
        report(faultOffset(m_text), "does-not-convert", Severity::error,
               std::string("The daemon takes nothing of this document: ") + e.what(),
               "Make it JSON.");
    }
}

void Document::report(std::size_t offset, std::string_view name, Severity severity,
                      std::string message, std::string remedy) {
    Reporter(m_kind->name, m_findings)(name, severity, "", std::move(message), std::move(remedy));
    m_findings.back().offset = offset;
}

void Document::place(Findings& findings) const {
    if (!m_hasPlaces)
        return;
    std::optional<Places> places;
    if (m_walk)
        places.emplace(m_text, *m_walk, tokensOf(contentPath()).size());
    std::vector<std::size_t> offsets;
    for (const Finding& finding : findings)
        offsets.push_back(finding.offset != unknown ? finding.offset
                          : places                  ? places->offsetOf(finding.path)
                                                    : 0);
    std::vector<std::size_t> order(findings.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return offsets[a] < offsets[b]; });
    // In one sweep, as a text may be one line of many megabytes.
    TextPlace place;
    std::size_t done = 0;
    for (const std::size_t i : order) {
        const std::string_view between = std::string_view(m_text).substr(done, offsets[i] - done);
        const TextPlace step = placeOf(between, between.size());
        place.column = step.line == 1 ? place.column + step.column - 1 : step.column;
        place.line += step.line - 1;
        done = offsets[i];
        findings[i].line = place.line;
        findings[i].column = place.column;
    }
}

} // namespace inspector
