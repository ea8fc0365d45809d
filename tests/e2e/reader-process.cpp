#include "e2e/reader-process.h"

#include "house/patience.h"
#include "support/log-capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

std::string readAll(const std::string& file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

std::size_t count(const std::string& haystack, std::string_view needle) {
    std::size_t found = 0;
    for (auto at = haystack.find(needle); at != std::string::npos;
         at = haystack.find(needle, at + needle.size()))
        ++found;
    return found;
}

/// Tells each change of a file.
class FileWatch {
public:
    explicit FileWatch(const std::string& file) : m_fd(inotify_init1(IN_CLOEXEC)) {
        inotify_add_watch(m_fd, file.c_str(), IN_MODIFY);
    }
    ~FileWatch() { close(m_fd); }
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    /// False when nothing changed until @p end.
    bool waitForChange(std::chrono::steady_clock::time_point end) const {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd change{m_fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&change, 1, static_cast<int>(left.count())) <= 0)
            return false;
        char events[4096];
        return read(m_fd, events, sizeof events) > 0;
    }

private:
    int m_fd;
};

std::string withoutRunningValues(const std::string& line) {
    static const std::regex head(R"(^\[[^\]]*\] +\d+ )");
    static const std::regex expiry(R"(m_timer\.expiry\(\):[^ ]+)");
    static const std::regex milliseconds(R"(after \d+ ms)");
    std::string text = std::regex_replace(line, head, "");
    text = std::regex_replace(text, expiry, "m_timer.expiry():<seconds>");
    text = std::regex_replace(text, milliseconds, "after <ms> ms");
    return withoutLineNumbers(withoutTime(text));
}

} // namespace

ReaderProcess::ReaderProcess(const std::vector<std::string>& environment,
                             const std::vector<std::string>& arguments,
                             const std::vector<std::string>& launcher)
    : m_logFile(m_directory.write("reader.log", "")) {
    std::vector<std::string> command = launcher;
    command.emplace_back(READER_EXECUTABLE);
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_process = std::make_unique<house::ChildProcess>(command, m_logFile, environment);
}

void ReaderProcess::waitForLog(std::string_view text, std::size_t times) const {
    const auto end =
        std::chrono::steady_clock::now() + house::Patience::limit(std::chrono::seconds(30));
    const FileWatch watch(m_logFile);
    while (count(readAll(m_logFile), text) < times)
        if (!watch.waitForChange(end)) {
            ADD_FAILURE() << "Not " << times << " times in the log: " << text << "\n"
                          << readAll(m_logFile);
            return;
        }
}

std::vector<std::string> ReaderProcess::rawLog() const {
    std::vector<std::string> lines;
    std::istringstream content(readAll(m_logFile));
    for (std::string line; std::getline(content, line) && !content.eof();)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> ReaderProcess::log() const {
    std::vector<std::string> lines;
    for (const std::string& line : rawLog())
        lines.push_back(withoutRunningValues(line));
    return lines;
}

int ReaderProcess::waitForExit() {
    const auto status = m_process->waitForExit();
    EXPECT_TRUE(status.has_value()) << "The reader did not end";
    return status.value_or(-1);
}

std::vector<std::string> linesBetween(const std::vector<std::string>& lines, std::string_view first,
                                      std::string_view end) {
    const auto contains = [](std::string_view text) {
        return [text](const std::string& line) { return line.find(text) != std::string::npos; };
    };
    const auto from = std::find_if(lines.begin(), lines.end(), contains(first));
    return {from, std::find_if(from, lines.end(), contains(end))};
}

std::vector<std::string> linesWith(const std::vector<std::string>& lines, std::string_view text) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            result.push_back(line);
    return result;
}

std::string withoutTime(const std::string& message) {
    static const std::regex time(R"((lastChanged":"?)\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
    return std::regex_replace(message, time, "$1<time>");
}
