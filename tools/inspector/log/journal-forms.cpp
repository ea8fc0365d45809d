#include "inspector/log/journal-forms.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace inspector {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Whether @p text begins as @p pattern says, in which 0 is a digit and a blank may be one too.
bool fits(std::string_view text, std::string_view pattern) {
    if (text.size() < pattern.size())
        return false;
    for (std::size_t i = 0; i < pattern.size(); ++i)
        if (pattern[i] == '0' ? !isDigit(text[i]) : text[i] != pattern[i])
            return false;
    return true;
}

bool takeWord(std::string_view& text) {
    const std::size_t end = text.find(' ');
    if (end == 0 || end == std::string_view::npos)
        return false;
    text.remove_prefix(end + 1);
    return true;
}

/// Takes the time as the output forms short, short-precise, short-iso and short-full write it.
bool takeJournalTime(std::string_view& text) {
    if (fits(text, "0000-00-00T00:00:00"))
        return takeWord(text);
    // The month has its name in the language of whoever called journalctl.
    constexpr std::size_t longestMonth = 16;
    if (text.find(' ') > longestMonth || !takeWord(text))
        return false;
    if (fits(text, "0000-00-00 00:00:00"))
        return takeWord(text) && takeWord(text) && takeWord(text);
    return (fits(text, "00 00:00:00") || fits(text, " 0 00:00:00")) &&
           (text.remove_prefix(3), takeWord(text));
}

/// Each line is an object with a MESSAGE.
class JsonRecords : public Source {
public:
    explicit JsonRecords(std::unique_ptr<Source> lines) : m_lines(std::move(lines)) {}

    bool next(RawLine& line) override {
        if (!m_lines->next(line))
            return false;
        rapidjson::Document record;
        record.Parse<rapidjson::kParseIterativeFlag>(line.text.data(), line.text.size());
        m_text.clear();
        const bool isWhole =
            record.IsObject() && record.HasMember("MESSAGE") && takeMessage(record["MESSAGE"]);
        line.isCut = line.isCut || !isWhole;
        // What is no record is kept as it is.
        if (record.IsObject())
            line.text = m_text;
        return true;
    }
    std::string damage() const override { return m_lines->damage(); }

private:
    bool takeMessage(const rapidjson::Value& message) {
        if (message.IsString()) {
            m_text.assign(message.GetString(), message.GetStringLength());
            return true;
        }
        // The bytes of a text with control characters, as those of colours. Null stands for a text
        // that is too long unless all is asked for.
        if (!message.IsArray())
            return false;
        for (const rapidjson::Value& byte : message.GetArray())
            m_text += static_cast<char>(byte.IsUint() ? byte.GetUint() : ' ');
        return true;
    }

    std::unique_ptr<Source> m_lines;
    std::string m_text;
};

/// Fields with a line each, or with a line of their name, their size and their bytes; an empty line
/// ends a record.
class ExportRecords : public Source {
public:
    explicit ExportRecords(std::unique_ptr<InputLines> lines, std::string_view first)
        : m_lines(std::move(lines)), m_first(first) {}

    bool next(RawLine& line) override {
        for (;;) {
            RawLine field;
            if (!takeField(field))
                return false;
            const std::size_t equals = field.text.find('=');
            if (equals == std::string_view::npos && !field.text.empty())
                takeBytes(std::string(field.text));
            else if (field.text.starts_with(messageKey))
                setMessage(field.text.substr(messageKey.size()), field.isCut);
            if (field.text.empty() && m_message) {
                m_text = std::move(*m_message);
                m_message.reset();
                line = {m_text, m_isCut};
                return true;
            }
        }
    }
    std::string damage() const override { return m_lines->damage(); }

private:
    static constexpr std::string_view messageKey = "MESSAGE=";

    bool takeField(RawLine& field) {
        if (m_first) {
            m_text = std::move(*m_first);
            m_first.reset();
            field = {m_text};
            return true;
        }
        if (m_lines->next(field))
            return true;
        // The last record may lack its empty line.
        field = {};
        return m_message.has_value();
    }

    void setMessage(std::string_view text, bool isCut) {
        m_message = std::string(text);
        m_isCut = isCut;
    }

    void takeBytes(const std::string& name) {
        std::array<unsigned char, 8> digits{};
        const std::string_view bytes = m_lines->take(digits.size());
        std::copy(bytes.begin(), bytes.end(), digits.begin());
        std::uint64_t size = 0;
        for (std::size_t i = digits.size(); i-- > 0;)
            size = size << 8 | digits[i];
        const bool isMessage = name + "=" == messageKey;
        const std::string_view kept = takeUpTo(size);
        if (isMessage)
            setMessage(kept, kept.size() < size);
        for (std::uint64_t left = size - kept.size(); left > 0 && !kept.empty();) {
            const std::size_t count = takeUpTo(left).size();
            if (count == 0)
                return;
            left -= count;
        }
        m_lines->take(1);
    }

    std::string_view takeUpTo(std::uint64_t size) {
        return m_lines->take(
            static_cast<std::size_t>(std::min<std::uint64_t>(size, Source::longestLine)));
    }

    std::unique_ptr<InputLines> m_lines;
    std::optional<std::string> m_first;
    std::optional<std::string> m_message;
    std::string m_text;
    bool m_isCut = false;
};

/// Lines as they are, or with a prefix.
class PlainLines : public Source {
public:
    explicit PlainLines(std::unique_ptr<Source> lines) : m_lines(std::move(lines)) {}

    bool next(RawLine& line) override {
        if (!m_lines->next(line))
            return false;
        // A line of the daemon itself, as nearly all are, needs no look.
        if (!line.text.starts_with('['))
            line.text = withoutPrefix(line.text);
        return true;
    }
    std::string damage() const override { return m_lines->damage(); }

private:
    std::unique_ptr<Source> m_lines;
};

/// Gives a line again that has been looked at.
class WithFirst : public Source {
public:
    WithFirst(const RawLine& first, std::unique_ptr<Source> rest)
        : m_first(first.text), m_isCut(first.isCut), m_rest(std::move(rest)) {}

    bool next(RawLine& line) override {
        if (m_isGiven)
            return m_rest->next(line);
        m_isGiven = true;
        line = {m_first, m_isCut};
        return true;
    }
    std::string damage() const override { return m_rest->damage(); }

private:
    std::string m_first;
    bool m_isCut;
    bool m_isGiven = false;
    std::unique_ptr<Source> m_rest;
};

bool isRecord(std::string_view line) {
    return line.starts_with('{') && line.find("\"__REALTIME_TIMESTAMP\"") != std::string_view::npos;
}

} // namespace

std::string_view withoutPrefix(std::string_view line) {
    std::string_view rest = line;
    // The host, and then the program with its number.
    if (!takeJournalTime(rest) || !takeWord(rest))
        return line;
    const std::size_t end = rest.find(": ");
    const bool isProgram = end != std::string_view::npos && end > 0 && rest.find(' ') > end;
    if (isProgram)
        return rest.substr(end + 2);
    return rest.ends_with(':') && rest.find(' ') == std::string_view::npos ? std::string_view()
                                                                           : line;
}

std::unique_ptr<Source> withoutJournal(std::unique_ptr<InputLines> lines) {
    RawLine first;
    if (!lines->next(first))
        return lines;
    if (first.text.starts_with("__CURSOR="))
        return std::make_unique<ExportRecords>(std::move(lines), std::string(first.text));
    if (isRecord(first.text))
        return std::make_unique<JsonRecords>(std::make_unique<WithFirst>(first, std::move(lines)));
    return std::make_unique<PlainLines>(std::make_unique<WithFirst>(first, std::move(lines)));
}

} // namespace inspector
