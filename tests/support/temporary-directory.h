#pragma once

#include <filesystem>
#include <string>

/// A directory of its own for a test, removed with all it holds at the end of the scope.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    /// Writes a file of exactly @p content and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path m_path;
};

/// All bytes of a file; empty if there is none.
std::string contentOf(const std::filesystem::path& file);
