#pragma once

#include "inspector/input/json-tree.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <string_view>

namespace inspector {

/// What a handler of the JSON reader knows of places. The reader tells the end of each value; one
/// begins where only blanks and signs stand between it and what came before. `Handler` derives from
/// it.
template <class Handler>
class JsonPlaces : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Handler> {
public:
    JsonPlaces(std::string_view text, const rapidjson::MemoryStream& stream, std::size_t offset)
        : m_text(text), m_stream(stream), m_offset(offset), m_lastEnd(offset) {}

protected:
    std::size_t nextBegin() const {
        // Called for each value, and there is mostly one blank.
        const auto isBetween = [](char c) {
            return c == ' ' || c == ',' || c == ':' || c == '\n' || c == '\r' || c == '\t';
        };
        std::size_t begin = m_lastEnd;
        while (begin < m_text.size() && isBetween(m_text[begin]))
            ++begin;
        return begin;
    }
    /// The daemon's parser takes no more of a key or a name.
    static std::string_view upToNul(const char* text, rapidjson::SizeType size) {
        return std::string_view(text, size).substr(0, std::string_view(text, size).find('\0'));
    }
    /// Behind the value, key or bracket that is told of.
    std::size_t takeEnd() { return m_lastEnd = m_offset + m_stream.Tell(); }

private:
    std::string_view m_text;
    const rapidjson::MemoryStream& m_stream;
    std::size_t m_offset;
    std::size_t m_lastEnd;
};

/// Reads the value between two offsets of @p text by the letter of RFC 8259; what stands behind it
/// is left alone, and so is by @p moreFlags what they allow. `Handler` gets the text, the stream,
/// the offset and @p arguments, and ends what nests too deep: the reader goes into it by recursion.
/// Throws `JsonFault`.
template <class Handler, unsigned moreFlags = 0, class... Arguments>
Handler readJson(std::string_view text, std::size_t begin, std::size_t end,
                 Arguments&&... arguments) {
    // Numbers stay texts: the daemon reads them.
    constexpr unsigned flags =
        rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseNumbersAsStringsFlag | moreFlags;
    rapidjson::MemoryStream stream(text.data() + begin, end - begin);
    Handler handler(text, stream, begin, arguments...);
    rapidjson::Reader reader;
    const rapidjson::ParseResult result = reader.Parse<flags>(stream, handler);
    if (!result && result.Code() != rapidjson::kParseErrorTermination)
        throw JsonFault{rapidjson::GetParseError_En(result.Code()), begin + result.Offset()};
    return handler;
}

} // namespace inspector
