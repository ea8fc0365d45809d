#pragma once

#include <string>

#include "house/descriptor.h"

namespace house {

/// A file that this program has made, removed with its owner. What another program has put in its
/// place meanwhile stays.
class OwnFile {
public:
    /// Throws `std::system_error` when there is no file @p path.
    explicit OwnFile(std::string path);
    ~OwnFile();
    OwnFile(const OwnFile&) = delete;
    OwnFile& operator=(const OwnFile&) = delete;

private:
    const std::string m_path;
    // Held open, so that no later file gets the same number.
    const Descriptor m_file;
};

} // namespace house
