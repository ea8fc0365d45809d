#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

class Input;

/// A line as it stands in a log, without its line end.
struct RawLine {
    std::string_view text;
    /// The rest of it is left out: it is longer than `Source::longestLine`, or the journal didn't
    /// show it.
    bool isCut = false;
};

/// Lines one after another, in memory that doesn't depend on how many they are.
class Source {
public:
    /// Replies of the local server stand on one line each.
    static constexpr std::size_t longestLine = std::size_t{4} << 20;

    virtual ~Source() = default;

    /// Gives the next line, whose text lasts until the next call; false at the end.
    virtual bool next(RawLine& line) = 0;
    /// Why it ended early; else empty.
    virtual std::string damage() const { return {}; }
};

/// The lines of an input, as they are.
class InputLines : public Source {
public:
    explicit InputLines(std::unique_ptr<Input> input);
    ~InputLines() override;

    bool next(RawLine& line) override;
    std::string damage() const override;
    /// Gives @p size bytes, fewer at the end. They last as long as a line does.
    std::string_view take(std::size_t size);

private:
    bool fill();
    void skipToLineEnd();

    std::unique_ptr<Input> m_input;
    std::vector<char> m_buffer;
    /// What is in the buffer and not given yet.
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    /// The rest of the last line is still to be dropped.
    bool m_isTooLong = false;
};

/// The lines of a file or of standard input ("-"), without what journalctl puts ahead of them; its
/// output forms short, cat, json and export are known by their first line. Throws
/// `UnreadableInput`.
std::unique_ptr<Source> openLog(const std::string& name);

} // namespace inspector
