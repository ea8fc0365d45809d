#pragma once

#include <iconv.h>

#include <string>

namespace orv {

/// Converts whole strings from one encoding to another (iconv). From "UTF-8" to "UTF-8" it changes
/// nothing in good text and fails on a bad sequence. One object serves one thread at a time.
class StringConverter {
public:
    /// Throws `vx::Exception` for an unknown encoding. @p toCode must outlive the converter.
    StringConverter(const char* fromCode, const char* toCode);
    ~StringConverter();
    StringConverter(const StringConverter&) = delete;
    StringConverter& operator=(const StringConverter&) = delete;

    /// Throws `vx::Exception` with the reason; the converter stays usable.
    std::string convert(const std::string& input);

private:
    iconv_t handle = nullptr;
    /// Whether a failed conversion left the descriptor in the middle of a sequence.
    bool dirty = false;
    const char* toCode;
};

} // namespace orv
