#pragma once

#include <ostream>
#include <string>
#include <utility>

namespace vx {

/// A type of its own for one kind of identifier, so that none can be passed where a plain text or
/// another kind is meant:
///
///     using MeterId = vx::Identifier<struct MeterIdTag>;
///     const MeterId id("40000123");
///
/// The tag needs no definition. Identifiers of one kind are equal if their texts are; they have no
/// order and no hash. In messages and in JSON one is its text. Any text is taken, also an empty
/// one.
template <class Tag>
class Identifier {
public:
    Identifier() = default;
    explicit Identifier(std::string text) : m_text(std::move(text)) {}

    const std::string& text() const { return m_text; }
    bool empty() const { return m_text.empty(); }

    bool operator==(const Identifier&) const = default;

    friend std::ostream& operator<<(std::ostream& stream, const Identifier& identifier) {
        return stream << identifier.m_text;
    }

private:
    std::string m_text;
};

} // namespace vx
