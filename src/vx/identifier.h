#pragma once

#include <ostream>
#include <string>
#include <utility>

namespace vx {

/// A distinct type for one string, so that an identifier cannot be passed where a plain text or
/// another identifier is meant. It is compared and streamed exactly as its text.
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
