// The helpers of the base layer for numbers and texts, each beside a second formulation or on its
// way back.

#include "fuzz.h"

#include "base.h"
#include "vx/str.h"

#include <boost/algorithm/string/replace.hpp>
#include <boost/crc.hpp>
#include <curl/curl.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace {

template <class T>
std::string streamed(const T& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

void checkNumberTexts(std::uint64_t bits) {
    const auto number = static_cast<long long>(bits);
    const auto real = std::bit_cast<double>(bits);
    VX_ASSERT(vx::str(bits) == streamed(bits), bits);
    VX_ASSERT(vx::str(number) == streamed(number), number);
    VX_ASSERT(vx::str(static_cast<std::int16_t>(bits)) == streamed(static_cast<short>(bits)));
    VX_ASSERT(vx::str(real) == streamed(real), bits);
    VX_ASSERT(vx::str(std::bit_cast<float>(static_cast<std::uint32_t>(bits))) ==
                  streamed(std::bit_cast<float>(static_cast<std::uint32_t>(bits))),
              bits);
    VX_ASSERT(orv::doubleToString(real) == streamed(real), bits);
    VX_ASSERT(std::stoll(orv::intToString(number, false)) == number, number);
    VX_ASSERT(orv::strToULongLong(orv::intToString(number, true)) == bits, number);
    VX_ASSERT(orv::strToULongLong(orv::uintToString(bits, true)) == bits, bits);
    VX_ASSERT(orv::strToULongLong(orv::uintToString(bits, false)) == bits, bits);
    VX_ASSERT(orv::strToULongLong("0x" + orv::unsignedLongIntToHexString(bits)) == bits, bits);
    VX_ASSERT(orv::unsignedLongIntToString(bits) == streamed(bits), bits);
}

/// Whether the whole text is a number for a stream of the C library's rules.
template <class Number, class Convert>
bool plainNumber(const std::string& text, Number& number, Convert convert) {
    char* end = nullptr;
    number = static_cast<Number>(convert(text.c_str(), &end));
    return !text.empty() && end == text.c_str() + text.size();
}

void checkNumbers(const std::string& text) {
    int integer = 0;
    const bool isInteger =
        plainNumber(text, integer, [](auto s, auto end) { return std::strtol(s, end, 0); });
    VX_ASSERT(orv::strToIntDef(text, 7) == (isInteger ? integer : 7), text);
    unsigned natural = 0;
    const bool isNatural =
        plainNumber(text, natural, [](auto s, auto end) { return std::strtoul(s, end, 0); });
    VX_ASSERT(orv::strToUIntDef(text, 7) == (isNatural ? natural : 7), text);
    double real = 0;
    const bool isReal =
        plainNumber(text, real, [](auto s, auto end) { return std::strtod(s, end); });
    const double read = orv::strToDouble(text, 7);
    VX_ASSERT(isReal ? std::bit_cast<std::uint64_t>(read) == std::bit_cast<std::uint64_t>(real)
                     : read == 7,
              text);
    try {
        orv::strToInt(text);
        VX_ASSERT(isInteger, text);
    } catch (const std::invalid_argument&) {
        VX_ASSERT(!isInteger, text);
    }
    // The strict ones take a part of what the others take.
    if (const auto strict = vx::tryToDouble(text); strict && isReal && !std::isnan(real))
        VX_ASSERT(*strict == real, text);
    const auto strictInteger = vx::tryToInt(text);
    if (strictInteger && text.find_first_of("xX0") == std::string::npos)
        VX_ASSERT(isInteger && *strictInteger == integer, text);
}

void checkParts(const std::string& text, char delimiter) {
    const auto parts = orv::splitString(text, delimiter, false);
    VX_ASSERT(orv::join(parts, std::string(1, delimiter)) == text, text);
    const auto trimmed = orv::splitString(text, delimiter, true);
    VX_ASSERT(trimmed.size() == parts.size(), text);
    for (std::size_t i = 0; i < parts.size(); ++i)
        VX_ASSERT(trimmed[i] == orv::trim(parts[i]), text);

    const auto pair = orv::splitIntoKeyValue(text);
    if (text.find('=') == std::string::npos)
        VX_ASSERT(pair.first.empty() && pair.second.empty(), text);
    else
        VX_ASSERT(pair.first + "=" + pair.second == text &&
                      pair.first.find('=') == std::string::npos,
                  text);

    std::string rest = text;
    const std::string first = orv::carCdrPath(rest);
    VX_ASSERT(text == (text.find('/') == std::string::npos ? first : first + "/" + rest), text);
    VX_ASSERT(first.find('/') == std::string::npos, text);
}

void checkTrim(const std::string& text) {
    const std::string trimmed = orv::trim(text);
    const auto at = text.find(trimmed);
    VX_ASSERT(at != std::string::npos, text);
    const std::string blanks = text.substr(0, at) + text.substr(at + trimmed.size());
    VX_ASSERT(blanks.find_first_not_of(" \t\r\n") == std::string::npos, text);
    if (!trimmed.empty())
        VX_ASSERT(std::string(" \t\r\n").find(trimmed.front()) == std::string::npos &&
                      std::string(" \t\r\n").find(trimmed.back()) == std::string::npos,
                  text);
}

void checkUnescape(const std::string& text, char c, std::size_t from) {
    std::string changed = text;
    const auto at = orv::findAndUnescape(changed, c, static_cast<unsigned>(from));
    VX_ASSERT(changed.size() <= text.size(), text);
    if (at != std::string::npos)
        VX_ASSERT(at >= from && changed[at] == c && (at == 0 || changed[at - 1] != '\\'), text);
    // Only backslashes go, each ahead of one of the characters.
    VX_ASSERT(std::count(changed.begin(), changed.end(), c) ==
                  std::count(text.begin(), text.end(), c) -
                      (c == '\\' ? static_cast<std::ptrdiff_t>(text.size() - changed.size()) : 0),
              text);
}

void checkReplace(const std::string& text, const std::string& from, const std::string& to) {
    std::string replaced = text;
    orv::replaceAll(replaced, from, to);
    VX_ASSERT(replaced == boost::replace_all_copy(text, from, to), text, from, to);
    VX_ASSERT(orv::beginsWith(text, from) == (text.compare(0, from.size(), from) == 0), text);
    VX_ASSERT(orv::endsWith(text + from, from), text);
}

void checkUrl(const std::string& text) {
    const std::string encoded = orv::urlEncode(text);
    int size = 0;
    const std::unique_ptr<char, decltype(&curl_free)> decoded(
        curl_easy_unescape(nullptr, encoded.data(), static_cast<int>(encoded.size()), &size),
        &curl_free);
    VX_ASSERT(std::string(decoded.get(), static_cast<std::size_t>(size)) == text, text);
}

void checkUtf8(const std::string& text, unsigned maxBytes) {
    const std::string fixed = orv::fixUtf8(text);
    const bool isUtf8 = fixed == text;
    VX_ASSERT(isUtf8 || fixed.empty(), text);

    const std::string cut = orv::truncateUTF8String(text, maxBytes);
    VX_ASSERT(cut == text || cut.size() <= maxBytes, text);
    VX_ASSERT(text.compare(0, cut.size(), cut) == 0, text);
    if (isUtf8)
        VX_ASSERT(orv::fixUtf8(cut) == cut, text);

    std::string escaped = orv::XMLStringEscape(text);
    if (!isUtf8) {
        VX_ASSERT(escaped.empty(), text);
        return;
    }
    VX_ASSERT(escaped.find_first_of("<>\"'") == std::string::npos ||
                  text.find('\x7f') != std::string::npos,
              text);
    for (int c = 1; c < 32; ++c)
        boost::replace_all(escaped, vx::str("&#", c < 10 ? "0" : "", c, ";"),
                           std::string(1, static_cast<char>(c)));
    boost::replace_all(escaped, "&#<7;", "\x7f");
    boost::replace_all(escaped, "&quot;", "\"");
    boost::replace_all(escaped, "&apos;", "'");
    boost::replace_all(escaped, "&lt;", "<");
    boost::replace_all(escaped, "&gt;", ">");
    boost::replace_all(escaped, "&amp;", "&");
    VX_ASSERT(escaped == fuzz::upToNul(text), text);
}

void checkBytes(const std::string& text) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::string hex = orv::hexEncodeByteArray(bytes, static_cast<unsigned>(text.size()));
    std::string decoded;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        decoded += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    VX_ASSERT(decoded == text, hex);

    boost::crc_optimal<16, 0x8005, 0, 0, true, true> crc;
    crc.process_bytes(text.data(), text.size());
    VX_ASSERT(orv::crc16(bytes, static_cast<int>(text.size()), 0xA001) == crc.checksum(), hex);
}

void checkProperties(FuzzedDataProvider& input) {
    orv::Properties properties;
    std::map<std::string, std::string> expected;
    while (input.remaining_bytes() > 0) {
        const std::string key = input.ConsumeRandomLengthString(2);
        if (input.ConsumeBool()) {
            expected[key] = input.ConsumeRandomLengthString(4);
            properties.set(key, expected[key]);
        } else {
            expected.erase(key);
            properties.unset(key);
        }
        VX_ASSERT(properties.has(key) == expected.contains(key), key);
    }
    std::size_t size = 0;
    for (const auto& pair : expected) {
        VX_ASSERT(properties.get(pair.first) == pair.second, pair.first);
        const std::string text = " \"" + pair.first + "\":\"" + pair.second + "\"";
        VX_ASSERT(properties.toString().find(text) != std::string::npos, text);
        size += text.size();
    }
    VX_ASSERT(properties.toString().size() == size);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    FuzzedDataProvider input(data, size);
    checkNumberTexts(input.ConsumeIntegral<std::uint64_t>());
    const auto c = input.ConsumeIntegral<char>();
    const auto count = input.ConsumeIntegralInRange<unsigned>(0, 40);
    const std::string from = input.ConsumeRandomLengthString(4);
    const std::string to = input.ConsumeRandomLengthString(4);
    const std::string text = input.ConsumeRandomLengthString();
    checkNumbers(text);
    checkParts(text, c);
    checkTrim(text);
    checkUnescape(text, c, count);
    checkReplace(text, from, to);
    checkUrl(text);
    checkUtf8(text, count);
    checkBytes(text);
    checkProperties(input);
    return 0;
}
