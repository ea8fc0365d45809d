#include "inspector/log/json-extent.h"

namespace inspector {
namespace {

bool canStandBetween(char c) {
    constexpr std::string_view numbersAndNames = "0123456789+-.eE,: \t\r\ntrufalsnTRUFALSNIiyty";
    return numbersAndNames.find(c) != std::string_view::npos;
}

} // namespace

void JsonExtent::close(bool isObject) {
    if (m_depth == 0 || ((m_objects & 1U) != 0) != isObject) {
        m_state = State::broken;
        return;
    }
    m_objects >>= 1U;
    if (--m_depth == 0)
        m_state = State::whole;
}

void JsonExtent::step(char c) {
    switch (c) {
    case '"':
        m_isInText = true;
        return;
    case '{':
    case '[':
        if (m_depth++ == deepest)
            m_state = State::broken;
        m_objects = m_objects << 1U | (c == '{' ? 1U : 0U);
        return;
    case '}':
    case ']':
        close(c == '}');
        return;
    default:
        if (m_depth == 0 || !canStandBetween(c))
            m_state = State::broken;
    }
}

void JsonExtent::add(std::string_view piece) {
    for (std::size_t i = 0; i < piece.size() && m_state == State::open; ++i, ++m_size) {
        const char c = piece[i];
        if (!m_isInText)
            step(c);
        else if (m_isEscaped)
            m_isEscaped = false;
        else if (c == '\\')
            m_isEscaped = true;
        else if (c == '"')
            m_isInText = false;
    }
}

} // namespace inspector
