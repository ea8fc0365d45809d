#include "inspector/web/utf8.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>

namespace inspector {

std::string utf8Start(std::string_view text, std::size_t longest) {
    using Utf8 = rapidjson::UTF8<>;
    constexpr unsigned replacement = 0xFFFD;
    rapidjson::StringBuffer result;
    std::size_t characters = 0;
    while (!text.empty() && characters++ < longest) {
        rapidjson::MemoryStream stream(text.data(), text.size());
        unsigned code = 0;
        const bool isGood = Utf8::Decode(stream, &code) && stream.Tell() <= text.size();
        Utf8::Encode(result, isGood ? code : replacement);
        text.remove_prefix(isGood ? stream.Tell() : 1);
    }
    return {result.GetString(), result.GetSize()};
}

} // namespace inspector
