#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace inspector {

/// Tells piece by piece how far a JSON text reaches. It looks no closer than that needs: brackets
/// must match, and between texts nothing may stand that can't stand in JSON at all.
class JsonExtent {
public:
    enum class State { open, whole, broken };

    void add(std::string_view piece);
    State state() const { return m_state; }
    /// How many bytes belong to it, if it is whole.
    std::size_t size() const { return m_size; }

private:
    void step(char c);
    void close(bool isObject);

    static constexpr std::size_t deepest = 64;

    State m_state = State::open;
    std::size_t m_size = 0;
    std::size_t m_depth = 0;
    /// A bit for each open bracket, set for an object.
    std::uint64_t m_objects = 0;
    bool m_isInText = false;
    bool m_isEscaped = false;
};

} // namespace inspector
