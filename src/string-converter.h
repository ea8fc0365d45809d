#pragma once

#include <iconv.h>

#include <string>

namespace orv {

/// Converts whole strings from one encoding to another; the names are those of iconv. From "UTF-8"
/// to "UTF-8" it changes nothing in good text and fails on a bad sequence, which makes it a check:
///
///     orv::StringConverter("UTF-8", "UTF-8").convert(text);     // throws if text is not UTF-8
///
/// One object serves one thread at a time.
class StringConverter {
public:
    /// Throws `vx::Exception` for an unknown encoding. @p toCode must outlive the converter.
    StringConverter(const char* fromCode, const char* toCode);
    ~StringConverter();
    StringConverter(const StringConverter&) = delete;
    StringConverter& operator=(const StringConverter&) = delete;

    /// The whole of @p input, or an exception: `vx::Exception` "iconv: could not convert to …" with
    /// the reason, also for a sequence that is cut off at the end. The converter stays usable.
    std::string convert(const std::string& input);

private:
    iconv_t handle = nullptr;
    /// Whether a failed conversion left the descriptor in the middle of a sequence.
    bool dirty = false;
    const char* toCode;
};

} // namespace orv
