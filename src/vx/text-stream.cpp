#include "vx/text-stream.h"

#include <utility>

namespace vx::detail {

TextBuffer::TextBuffer() {
    setp(std::begin(m_inPlace), std::end(m_inPlace));
}

std::string TextBuffer::take() {
    if (m_string.empty())
        return {pbase(), pptr()};
    moveToString();
    return std::move(m_string);
}

TextBuffer::int_type TextBuffer::overflow(int_type c) {
    moveToString();
    return traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                           : sputc(traits_type::to_char_type(c));
}

std::streamsize TextBuffer::xsputn(const char* text, std::streamsize size) {
    const auto count = static_cast<std::size_t>(size);
    if (size <= epptr() - pptr()) {
        traits_type::copy(pptr(), text, count);
        pbump(static_cast<int>(size));
    } else {
        moveToString();
        m_string.append(text, count);
    }
    return size;
}

void TextBuffer::moveToString() {
    m_string.append(pbase(), pptr());
    setp(std::begin(m_inPlace), std::end(m_inPlace));
}

TextStream::TextStream() : std::ostream(nullptr) {
    // Not by the constructor of the base, which runs before that of the buffer.
    rdbuf(&m_buffer);
}

void writeText(std::ostream& stream, std::string_view text) {
    if (!stream.good())
        return;
    const auto size = static_cast<std::streamsize>(text.size());
    std::streamsize taken = 0;
    try {
        taken = stream.rdbuf()->sputn(text.data(), size);
    } catch (...) { // NOLINT(bugprone-empty-catch): it took nothing
    }
    if (taken != size)
        stream.setstate(std::ios::badbit);
}

void writeDouble(std::ostream& stream, double value) {
    constexpr int significantDigits = 6;
    char text[32];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), value,
                                            std::chars_format::general, significantDigits);
    writeText(stream, {text, end});
}

} // namespace vx::detail
