#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <limits>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace vx::detail {

/// Collects the characters that a stream writes: in place as long as there is room for them, then
/// in a string.
class TextBuffer final : public std::streambuf {
public:
    TextBuffer();

    /// All characters. The buffer is not used any more after that.
    std::string take();

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

private:
    void moveToString();

    /// Most log lines are shorter.
    static constexpr std::size_t sizeInPlace = 496;

    char m_inPlace[sizeInPlace];
    std::string m_string;
};

/// A stream that builds one text. Whatever has a stream operator can be written to it; it can't be
/// sought in. A text of usual size is allocated once, and making the stream costs half of what a
/// `std::ostringstream` costs.
class TextStream final : public std::ostream {
public:
    TextStream();

    /// The text. The stream is not used any more after that.
    std::string take() { return m_buffer.take(); }

private:
    TextBuffer m_buffer;
};

// A message is made of many small pieces, and nearly all of them are texts and numbers. These
// functions put them straight into the stream's buffer, so they have the default form whatever
// format and width the stream has. As with a stream operator, nothing is written to a stream that
// has failed, and one whose buffer doesn't take the text fails.

void writeText(std::ostream& stream, std::string_view text);

/// In decimal.
template <std::integral Integer>
void writeInteger(std::ostream& stream, Integer value) {
    char text[std::numeric_limits<Integer>::digits10 + 2];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), value);
    writeText(stream, {text, end});
}

/// With six significant digits, as "%g".
void writeDouble(std::ostream& stream, double value);

} // namespace vx::detail
