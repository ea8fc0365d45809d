#pragma once

#include "inspector/input/text-walk.h"
#include "inspector/output/finding.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace inspector {

/// The kinds of text that the daemon lives on.
struct DocumentKind {
    /// In findings, and of the option that gives the file.
    std::string_view name;
    /// Of the reply with its envelope; of the configuration file, which has none.
    const Shape* whole;
    /// Of what stands under the key "data"; null if there is no such key.
    const Shape* content;
    /// Of one element that may stand alone; null if none may.
    const Shape* single;
    /// What it means for the daemon that it can't convert it.
    std::string_view broken = "The daemon takes nothing of this document: ";
};

const DocumentKind& supportedKind();
const DocumentKind& attachedKind();
const DocumentKind& serialKind();
const DocumentKind& configKind();

/// A text, opened as the daemon would: what it can't parse has no content, and what only its
/// lenient parser takes is looked at as that one understood it.
class Document {
public:
    enum class Form {
        /// A reply, or the configuration file.
        whole,
        /// The content of a reply without the envelope.
        content,
        /// One element of that.
        single,
    };

    /// Nothing that stands behind a NUL counts.
    Document(const DocumentKind& kind, std::string text);

    std::string_view name() const { return m_kind->name; }
    const DocumentKind& kind() const { return *m_kind; }
    std::string_view text() const { return m_text; }
    Form form() const { return m_form; }
    /// Null if the text can't be parsed.
    const TextWalk* walk() const { return m_walk ? &*m_walk : nullptr; }
    /// To the content.
    std::string contentPath() const;
    /// What was found in the text itself.
    const Findings& findings() const { return m_findings; }
    /// Leaves it without them.
    Findings takeFindings() { return std::exchange(m_findings, {}); }
    /// Gives each of @p findings its line and column. A path that leads nowhere has those of where
    /// it ends.
    void place(Findings& findings) const;

private:
    void open();
    bool isTakenWithRest(const TextWalk& walk) const;
    void openLeniently(const JsonFault& fault);
    TextWalk walkThrough(Letter letter);
    std::vector<std::size_t> offsetsOf(const Findings& findings) const;
    void report(std::size_t offset, std::string_view name, Severity severity, std::string message,
                std::string remedy);

    const DocumentKind* m_kind;
    std::string m_text;
    /// Whether the text is the given one.
    bool m_hasPlaces = true;
    Form m_form = Form::whole;
    std::optional<TextWalk> m_walk = std::nullopt;
    Findings m_findings = {};
};

} // namespace inspector
