// Texts of any bytes from one encoding to another: what is converted comes back as it was, and a
// converter stays usable whatever it was given.

#include "fuzz.h"

#include "string-converter.h"
#include "vx/exception.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace {

struct Encodings {
    const char* from;
    const char* to;
};

/// Only pairs in which each sequence has one counterpart: the way back gives the same bytes.
constexpr std::array<Encodings, 6> pairs = {{{"UTF-8", "UTF-8"},
                                             {"UTF-8", "UTF-16LE"},
                                             {"UTF-8", "UTF-32BE"},
                                             {"ISO-8859-1", "UTF-8"},
                                             {"ISO-8859-15", "UTF-16BE"},
                                             {"UTF-16LE", "UTF-8"}}};

std::optional<std::string> tryConvert(orv::StringConverter& converter, const std::string& text) {
    try {
        return converter.convert(text);
    } catch (const vx::Exception&) {
        return std::nullopt;
    }
}

/// A pair with a text that it converts.
struct Pair {
    explicit Pair(const Encodings& names)
        : there(names.from, names.to),
          back(names.to, names.from),
          sample(orv::StringConverter("UTF-8", names.from).convert("kWh\u00b2")) {}

    orv::StringConverter there;
    orv::StringConverter back;
    std::string sample;
};

Pair& pair(std::size_t index) {
    static std::array<std::unique_ptr<Pair>, pairs.size()> made;
    if (!made[index])
        made[index] = std::make_unique<Pair>(pairs[index]);
    return *made[index];
}

/// Whether @p text holds a surrogate or a code point beyond Unicode, some of which glibc takes.
bool maybeBeyondUnicode(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) == 0xED || static_cast<unsigned char>(c) >= 0xF4;
    });
}

/// In this encoding the bytes mean what the escape sequence before them says; a failure amid one
/// must not be felt by the next text.
void checkStateAfterFailure(const std::string& text) {
    // Loading the encoding takes much longer than using it, and with this one it stays.
    static const orv::StringConverter loaded("ISO-2022-JP", "UTF-8");
    orv::StringConverter converter("ISO-2022-JP", "UTF-8");
    if (!tryConvert(converter, text))
        VX_ASSERT(tryConvert(converter, "kWh") == "kWh", text);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto index = input.ConsumeIntegralInRange<std::size_t>(0, pairs.size());
    const std::string text = input.ConsumeRemainingBytesAsString();
    if (index == pairs.size()) {
        checkStateAfterFailure(text);
        return 0;
    }
    Pair& chosen = pair(index);
    if (const auto converted = tryConvert(chosen.there, text)) {
        VX_ASSERT(converted->size() <= 4 * text.size(), text);
        const auto back = tryConvert(chosen.back, *converted);
        if (!maybeBeyondUnicode(text))
            VX_ASSERT(back == text, text);
    }
    const auto sample = tryConvert(chosen.there, chosen.sample);
    VX_ASSERT(sample && tryConvert(chosen.back, *sample) == chosen.sample, text);
    return 0;
}
