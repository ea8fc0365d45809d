#include "string-converter.h"

#include "vx/exception.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace orv {
namespace {

/// What iconv's error number says of the text.
std::string reasonOf(int error) {
    switch (error) {
    case EINVAL:
        return "incomplete multibyte sequence!";
    case EILSEQ:
        return "invalid character sequence!";
    case E2BIG:
        return "insufficient space in output buffer!";
    default:
        return strerror(error);
    }
}

} // namespace

StringConverter::StringConverter(const char* fromCode, const char* aToCode) : toCode(aToCode) {
    const iconv_t opened = iconv_open(toCode, fromCode);
    if (opened == reinterpret_cast<iconv_t>(-1)) // NOLINT(performance-no-int-to-ptr): iconv's own
        throw vx::Exception(std::string("iconv: ") + strerror(errno));
    handle = opened;
}

StringConverter::~StringConverter() {
    iconv_close(handle);
}

std::string StringConverter::convert(const std::string& input) {
    if (input.empty())
        return {};
    // No sequence grows to more than four times its length.
    constexpr std::size_t growth = 4;
    const std::size_t capacity = input.size() * growth;
    const std::unique_ptr<char, decltype(&std::free)> buffer(
        static_cast<char*>(std::malloc(capacity)), &std::free);
    if (!buffer)
        throw vx::Exception("Could not allocate memory for string conversion!");
    if (dirty)
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
    dirty = false;

    char* in = const_cast<char*>(input.data()); // iconv doesn't write through it
    std::size_t inLeft = input.size();
    char* out = buffer.get();
    std::size_t outLeft = capacity;
    if (iconv(handle, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) {
        const std::string reason = reasonOf(errno);
        dirty = true;
        throw vx::Exception(vx::str("iconv: could not convert to ", toCode, " encoding, ", reason));
    }
    return {buffer.get(), out};
}

} // namespace orv
