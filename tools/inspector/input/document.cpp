#include "inspector/input/document.h"

#include "vx/json.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

namespace inspector {
namespace {

/// The list of a reply stands in an object; its elements come next.
constexpr std::size_t levelsOfReply = 2;
/// How deep the daemon's parser goes.
constexpr std::size_t deepest = JSON_TOKENER_DEFAULT_DEPTH - 1;

/// Where the daemon's parser gives up.
std::size_t faultOffset(const std::string& text) {
    const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                         json_tokener_free);
    json_object_put(json_tokener_parse_ex(tokener.get(), text.c_str(), -1));
    return json_tokener_get_parse_end(tokener.get());
}

std::string unescaped(std::string_view token) {
    std::string text;
    for (std::size_t i = 0; i < token.size(); ++i) {
        if (token[i] == '~' && i + 1 < token.size())
            text += token[++i] == '0' ? '~' : '/';
        else
            text += token[i];
    }
    return text;
}

/// Child that one token of a pointer leads to, or null.
const JsonNode* childOf(const JsonNode& node, std::string_view token) {
    if (node.kind == JsonNode::Kind::object)
        return node.member(unescaped(token));
    if (node.kind != JsonNode::Kind::list || token.empty() || token.size() > 9 ||
        token.find_first_not_of("0123456789") != std::string_view::npos)
        return nullptr;
    const std::size_t index = std::stoul(std::string(token));
    return index < node.children.size() ? &node.children[index] : nullptr;
}

} // namespace

Document::Document(std::string_view name, std::string text)
    : m_name(name), m_text(std::move(text)) {
    m_text.resize(std::strlen(m_text.c_str()));
    open();
}

void Document::open() {
    try {
        JsonTree tree = parseJson(m_text, levelsOfReply);
        if (tree.depth > deepest)
            throw JsonFault{"Nested too deep", 0};
        const std::size_t rest = m_text.find_first_not_of(" \t\r\n", tree.root.end);
        if (rest != std::string::npos)
            reportAt(rest, "text-behind", Severity::warning,
                     "The daemon reads the first value and ignores what stands behind it.",
                     "Delete it, or find out what was lost there.");
        m_tree = std::move(tree);
    } catch (const JsonFault& fault) {
        openLeniently(fault);
    }
}

void Document::openLeniently(const JsonFault& fault) {
    try {
        const auto fragment = vx::parseJsonFragment(m_text.c_str());
        reportAt(fault.offset, "lenient-json", Severity::hint,
                 "The daemon's parser takes this text, but by the letter it is no JSON: " +
                     fault.reason,
                 "Write what every parser understands.");
        m_text = vx::toJson(fragment);
        m_hasPlaces = false;
        m_tree = parseJson(m_text, levelsOfReply);
    } catch (const std::exception& e) {
        reportAt(faultOffset(m_text), "does-not-convert", Severity::error,
                 std::string("The daemon takes nothing of this document: ") + e.what(),
                 "Make it JSON.");
    } catch (const JsonFault&) {
        // Such as infinite numbers, which the daemon's parser writes in its own way.
        m_tree.reset();
    }
}

void Document::reportAt(std::size_t offset, std::string_view name, Severity severity,
                        std::string message, std::string remedy) {
    Reporter(m_name, m_findings)(name, severity, "", std::move(message), std::move(remedy));
    const TextPlace place = placeOf(m_text, offset);
    m_findings.back().line = place.line;
    m_findings.back().column = place.column;
}

std::size_t Document::offsetOf(const Finding& finding) const {
    const JsonNode* node = &m_tree->root;
    std::string_view path = finding.path;
    // Below the elements of a reply's list, one that was parsed by itself.
    std::optional<JsonTree> part;
    for (std::size_t level = 0; !path.empty(); ++level) {
        path.remove_prefix(1);
        const std::size_t size = std::min(path.find('/'), path.size());
        if (level == levelsOfReply) {
            part = parseJsonAt(m_text, node->begin, node->end);
            node = &part->root;
        }
        const JsonNode* child = childOf(*node, path.substr(0, size));
        if (child == nullptr)
            return node->begin;
        if (path.size() == size && finding.name.ends_with("-key"))
            return child->keyBegin;
        node = child;
        path.remove_prefix(size);
    }
    return node->begin;
}

void Document::place(Findings& findings) const {
    if (!m_tree || !m_hasPlaces)
        return;
    std::vector<std::size_t> offsets;
    for (const Finding& finding : findings)
        offsets.push_back(offsetOf(finding));
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
