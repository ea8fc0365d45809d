#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace inspector {

/// Bytes of a log: of a file or of standard input, unpacked if they are compressed by gzip or zstd,
/// whatever the name.
class Input {
public:
    virtual ~Input() = default;

    /// Puts up to @p size bytes at @p target and returns their number, 0 at the end.
    virtual std::size_t read(char* target, std::size_t size) = 0;
    /// Why it ended early, as when the rest of a compressed file is missing or broken; else empty.
    virtual std::string damage() const { return {}; }
};

/// Opens a file, or standard input for "-". Throws `UnreadableInput`.
std::unique_ptr<Input> openInput(const std::string& name);
/// The same bytes, unpacked if they begin as packed ones do.
std::unique_ptr<Input> unpacked(std::unique_ptr<Input> input);

} // namespace inspector
