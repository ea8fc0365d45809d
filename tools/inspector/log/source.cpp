#include "inspector/log/source.h"

#include "inspector/log/input.h"
#include "inspector/log/journal-forms.h"

#include <algorithm>
#include <cstring>

namespace inspector {

InputLines::InputLines(std::unique_ptr<Input> input) : m_input(std::move(input)) {
    constexpr std::size_t usualSize = std::size_t{1} << 18;
    m_buffer.resize(usualSize);
}

InputLines::~InputLines() = default;

std::string InputLines::damage() const {
    return m_input->damage();
}

/// Gets more bytes behind those that are there; false if there are none, or no room for them.
bool InputLines::fill() {
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_end == m_buffer.size() && m_buffer.size() < longestLine)
        m_buffer.resize(2 * m_buffer.size());
    if (m_end == m_buffer.size())
        return false;
    const std::size_t count = m_input->read(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += count;
    return count > 0;
}

/// Drops the rest of a line that is too long.
void InputLines::skipToLineEnd() {
    do {
        const char* const found =
            static_cast<const char*>(std::memchr(m_buffer.data() + m_begin, '\n', m_end - m_begin));
        if (found != nullptr) {
            m_begin = static_cast<std::size_t>(found - m_buffer.data()) + 1;
            return;
        }
        m_begin = m_end;
    } while (fill());
}

bool InputLines::next(RawLine& line) {
    line.isCut = false;
    if (m_isTooLong) {
        m_isTooLong = false;
        skipToLineEnd();
    }
    std::size_t searched = 0;
    for (;;) {
        const char* const begin = m_buffer.data() + m_begin;
        const std::size_t size = m_end - m_begin;
        const auto* const found =
            static_cast<const char*>(std::memchr(begin + searched, '\n', size - searched));
        if (found != nullptr) {
            line.text = {begin, static_cast<std::size_t>(found - begin)};
            m_begin += line.text.size() + 1;
            return true;
        }
        searched = size;
        if (!fill())
            break;
    }
    line.text = {m_buffer.data() + m_begin, m_end - m_begin};
    m_begin = m_end;
    m_isTooLong = line.text.size() == longestLine;
    line.isCut = m_isTooLong;
    return !line.text.empty();
}

std::string_view InputLines::take(std::size_t size) {
    while (m_end - m_begin < size && fill())
        ;
    const std::string_view bytes(m_buffer.data() + m_begin, std::min(size, m_end - m_begin));
    m_begin += bytes.size();
    return bytes;
}

std::unique_ptr<Source> openLog(const std::string& name) {
    return withoutJournal(std::make_unique<InputLines>(openInput(name)));
}

} // namespace inspector
