#include "inspector/log/line.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>

namespace inspector {
namespace {

constexpr std::string_view offerRule = "=================================";

/// Takes pieces from the front of a text; a piece that isn't there leaves it failed.
class Cursor {
public:
    explicit Cursor(std::string_view rest) : m_rest(rest) {}

    bool isGood() const { return m_isGood; }
    std::string_view rest() const { return m_rest; }

    void expect(char c) {
        if (m_rest.empty() || m_rest.front() != c)
            m_isGood = false;
        else
            m_rest.remove_prefix(1);
    }
    bool take(std::string_view text) {
        if (!m_rest.starts_with(text))
            return false;
        m_rest.remove_prefix(text.size());
        return true;
    }
    std::string_view takePiece(std::size_t size) {
        if (m_rest.size() < size) {
            m_isGood = false;
            return {};
        }
        const std::string_view piece = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        return piece;
    }
    int digits(std::size_t count) {
        int number = 0;
        for (const char c : takePiece(count)) {
            if (c < '0' || c > '9')
                m_isGood = false;
            number = number * 10 + (c - '0');
        }
        return number;
    }
    int digitsAndThen(std::size_t count, char separator) {
        const int number = digits(count);
        expect(separator);
        return number;
    }
    std::string_view word() {
        const std::size_t end = m_rest.find(' ');
        if (end == 0 || end == std::string_view::npos) {
            m_isGood = false;
            return {};
        }
        const std::string_view word = m_rest.substr(0, end);
        m_rest.remove_prefix(end + 1);
        return word;
    }
    void skip(char c) {
        while (m_rest.starts_with(c))
            m_rest.remove_prefix(1);
    }
    /// An escape sequence of a colour.
    void skipColour() {
        if (!m_rest.starts_with("\x1B["))
            return;
        const std::size_t end = m_rest.find('m');
        constexpr std::size_t longest = 10;
        if (end == std::string_view::npos || end > longest)
            m_isGood = false;
        else
            m_rest.remove_prefix(end + 1);
    }

private:
    std::string_view m_rest;
    bool m_isGood = true;
};

/// Days from 1970-01-01 in the Gregorian calendar, by counting years from March on.
std::int64_t daysSinceEpoch(int year, int month, int day) {
    const int fromMarch = (month + 9) % 12;
    const std::int64_t y = month <= 2 ? year - 1 : year;
    const int dayOfYear = (153 * fromMarch + 2) / 5 + day - 1;
    constexpr std::int64_t daysUntilEpoch = 719468;
    return y * 365 + y / 4 - y / 100 + y / 400 + dayOfYear - daysUntilEpoch;
}

bool isWithin(int number, int first, int last) {
    return first <= number && number <= last;
}

/// "[2026-11-14T03:24:09.123+01:00] "
bool takeTime(Cursor& cursor, Line& line) {
    cursor.expect('[');
    const int year = cursor.digitsAndThen(4, '-');
    const int month = cursor.digitsAndThen(2, '-');
    const int day = cursor.digitsAndThen(2, 'T');
    const int hour = cursor.digitsAndThen(2, ':');
    const int minute = cursor.digitsAndThen(2, ':');
    const int second = cursor.digitsAndThen(2, '.');
    const int thousandth = cursor.digits(3);
    const bool isBehind = cursor.take("-");
    if (!isBehind)
        cursor.expect('+');
    const int offsetHours = cursor.digitsAndThen(2, ':');
    const int offsetMinutes = cursor.digitsAndThen(2, ']');
    cursor.expect(' ');
    // A leap second stands as 60. The years are those that a time point of the daemon's clock can
    // have.
    if (!cursor.isGood() || !isWithin(year, 1678, 2261) || !isWithin(month, 1, 12) ||
        !isWithin(day, 1, 31) || hour > 23 || minute > 59 || second > 60 || offsetMinutes > 59)
        return false;
    const int offset = offsetHours * 60 + offsetMinutes;
    line.offset = static_cast<std::int16_t>(isBehind ? -offset : offset);
    const std::int64_t minutes =
        (daysSinceEpoch(year, month, day) * 24 + hour) * 60 + minute - line.offset;
    line.time = (minutes * 60 + second) * 1000 + thousandth;
    return true;
}

bool takeThread(Cursor& cursor, Line& line) {
    cursor.skip(' ');
    const std::string_view word = cursor.word();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), line.thread);
    return cursor.isGood() && error == std::errc() && end == word.data() + word.size();
}

std::optional<vx::LogSeverity> severityOf(std::string_view name) {
    constexpr std::array<std::string_view, 7> names = {"!!!!!", "FATAL", "ERROR", "WARN ",
                                                       "NOTIC", "INFO ", "DEBUG"};
    for (std::size_t i = 0; i < names.size(); ++i)
        if (name == names[i])
            return static_cast<vx::LogSeverity>(i);
    return std::nullopt;
}

bool takeSeverity(Cursor& cursor, Line& line) {
    cursor.skipColour();
    const auto severity = severityOf(cursor.takePiece(5));
    cursor.skipColour();
    cursor.expect(' ');
    if (!cursor.isGood() || !severity)
        return false;
    line.severity = *severity;
    return true;
}

bool isName(std::string_view text) {
    for (const char c : text)
        if ((c < '0' || c > '9') && (c < 'A' || c > 'Z') && (c < 'a' || c > 'z'))
            return false;
    return true;
}

bool takeHead(Cursor& cursor, Line& line) {
    if (!takeTime(cursor, line) || !takeThread(cursor, line) || !takeSeverity(cursor, line))
        return false;
    line.channel = cursor.word();
    return cursor.isGood() && isName(line.channel);
}

/// The size of " toolkit.cpp:345" at the end of @p text; 0 if there is none.
std::size_t positionSize(std::string_view text) {
    std::size_t i = text.size();
    while (i > 0 && text[i - 1] >= '0' && text[i - 1] <= '9')
        --i;
    constexpr std::string_view extension = ".cpp:";
    if (i == text.size() || !text.substr(0, i).ends_with(extension))
        return 0;
    i -= extension.size();
    constexpr std::string_view ofPath =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./";
    while (i > 0 && ofPath.find(text[i - 1]) != std::string_view::npos)
        --i;
    return i > 0 && text[i - 1] == ' ' ? text.size() - i + 1 : 0;
}

} // namespace

bool writesPosition(std::string_view channel) {
    return channel != "HttpClient" && channel != "System";
}

void setText(Line& line, std::string_view text) {
    line.text = text;
    line.file = {};
    line.number = 0;
    if (!writesPosition(line.channel))
        return;
    const std::size_t size = positionSize(text);
    line.isCut = size == 0;
    if (line.isCut)
        return;
    const std::string_view position = text.substr(text.size() - size + 1);
    const std::size_t colon = position.rfind(':');
    line.text = text.substr(0, text.size() - size);
    line.file = position.substr(0, colon);
    std::from_chars(position.data() + colon + 1, position.data() + position.size(), line.number);
}

Line parseLine(std::string_view whole) {
    Line line;
    line.whole = whole;
    if (whole.ends_with('\r'))
        whole.remove_suffix(1);
    if (whole.starts_with('[')) {
        Cursor cursor(whole);
        if (takeHead(cursor, line)) {
            line.kind = LineKind::log;
            setText(line, cursor.rest());
            return line;
        }
        line = Line();
        line.whole = whole;
    }
    if (whole == offerRule)
        line.kind = LineKind::rule;
    else if (whole.starts_with("Assertion failed. "))
        line.kind = LineKind::assertion;
    else if (whole.starts_with("terminate called "))
        line.kind = LineKind::termination;
    line.text = whole;
    return line;
}

} // namespace inspector
