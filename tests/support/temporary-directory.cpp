#include "support/temporary-directory.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <stdlib.h>

TemporaryDirectory::TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "reader-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("No temporary directory could be made: " + name);
    m_path = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::filesystem::remove_all(m_path);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& content) const {
    const auto file = m_path / name;
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}
