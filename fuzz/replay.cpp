// Gives a fuzz target the files and those of the directories that are named, without libFuzzer.

#include "fuzz.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <vector>

namespace {

/// Those of a directory, or the one file that is named itself.
std::vector<std::filesystem::path> filesOf(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path))
        return {path};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("Can't read " + file.string());
    const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
    // Said first, so that it is known of an input that ends the process.
    std::printf("%s\n", file.filename().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    try {
        for (const char* path : std::span(argv, static_cast<std::size_t>(argc)).subspan(1))
            std::ranges::copy(filesOf(path), std::back_inserter(files));
        std::ranges::for_each(files, replay);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    if (files.empty())
        std::fprintf(stderr, "usage: %s FILE-OR-DIRECTORY...\n", argv[0]);
    return files.empty() ? 2 : 0;
}
