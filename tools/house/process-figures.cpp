#include "house/process-figures.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace house {

namespace {

/// The fields of a file of one line, from @p first on, counted from 0.
template <std::size_t count>
std::array<double, count> numbers(const std::filesystem::path& file, std::size_t first) {
    std::ifstream in(file);
    std::string skipped;
    for (std::size_t i = 0; i < first; ++i)
        in >> skipped;
    std::array<double, count> result{};
    for (double& number : result)
        in >> number;
    if (!in)
        throw std::runtime_error("Cannot read " + file.string());
    return result;
}

std::size_t entries(const std::filesystem::path& directory) {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Iterator(directory), Iterator()));
}

} // namespace

ProcessFigures ProcessFigures::of(pid_t pid) {
    const std::filesystem::path process = "/proc/" + std::to_string(pid);
    const auto [resident] = numbers<1>(process / "statm", 1);
    // utime and stime; the name ahead of them must hold no blank.
    const auto [user, system] = numbers<2>(process / "stat", 13);
    const auto pageSize = static_cast<double>(::sysconf(_SC_PAGESIZE));
    const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
    return {.residentKilobytes = static_cast<std::size_t>(resident * pageSize / 1024),
            .descriptors = entries(process / "fd"),
            .cpuSeconds = (user + system) / ticksPerSecond};
}

void PollFigures::takeFrom(pid_t pid) {
    m_pid = pid;
}

void PollFigures::pollBegins() {
    const std::scoped_lock lock(m_mutex);
    ++m_poll;
    if (m_pid == 0)
        return;
    try {
        m_figures.emplace(m_poll, ProcessFigures::of(m_pid));
    } catch (const std::exception&) {
        // It has ended since it asked.
    }
}

int PollFigures::poll() const {
    return m_poll;
}

ProcessFigures PollFigures::at(int poll) const {
    const std::scoped_lock lock(m_mutex);
    return m_figures.at(poll);
}

} // namespace house
