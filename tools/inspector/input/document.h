#pragma once

#include "inspector/daemon/shape.h"
#include "inspector/input/json-tree.h"
#include "inspector/output/finding.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace inspector {

/// One of the texts that the daemon lives on, opened as the daemon would: what it can't parse has
/// no tree, and what only its lenient parser takes is looked at as that one understood it.
class Document {
public:
    /// Nothing that stands behind a NUL counts.
    Document(std::string_view name, std::string text);

    std::string_view name() const { return m_name; }
    std::string_view text() const { return m_text; }
    /// The first value of the text; null if there is none. Its lists and objects have children down
    /// to the elements of the list that a reply holds.
    const JsonNode* root() const { return m_tree ? &m_tree->root : nullptr; }
    /// What was found at opening.
    const Findings& findings() const { return m_findings; }
    /// Gives each of @p findings its line and column. A path that leads nowhere has those of where
    /// it ends.
    void place(Findings& findings) const;

private:
    void open();
    void openLeniently(const JsonFault& fault);
    void reportAt(std::size_t offset, std::string_view name, Severity severity, std::string message,
                  std::string remedy);
    std::size_t offsetOf(const Finding& finding) const;

    std::string_view m_name;
    std::string m_text;
    /// Whether the text is the given one.
    bool m_hasPlaces = true;
    std::optional<JsonTree> m_tree = std::nullopt;
    Findings m_findings = {};
};

} // namespace inspector
