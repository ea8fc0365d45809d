#include "e2e/reader-process.h"

#include "house/patience.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr const char* configFile = "/etc/modbus-config.json";

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

std::vector<std::string> wholeLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream content(text);
    for (std::string line; std::getline(content, line) && !content.eof();)
        lines.push_back(line);
    return lines;
}

/// A line of the log without time and thread, and with the whole word for its severity. No regular
/// expression, as a log may be long.
std::string plain(const std::string& line) {
    static const std::map<std::string, std::string> words = {
        {" FATAL ", "fatal "},  {" ERROR ", "error "}, {" WARN  ", "warning "},
        {" NOTIC ", "notice "}, {" INFO  ", "info "},  {" DEBUG ", "debug "}};
    const std::size_t bracket = line.find("] ");
    const std::size_t thread = line.find_first_not_of("] ", bracket);
    const std::size_t end = line.find_first_not_of("0123456789", thread);
    if (!line.starts_with('[') || end == std::string::npos || end == thread)
        return line;
    const auto word = words.find(line.substr(end, 7));
    return word == words.end() ? line : word->second + line.substr(end + 7);
}

/// Where the next reader's log is to be left; empty if nobody wants it.
std::string placeOfLog() {
    static int count = 0;
    const char* const folder = std::getenv("READER_LOGS");
    return folder == nullptr ? "" : folder + ("/" + std::to_string(++count));
}

} // namespace

ReaderProcess::ReaderProcess(const std::vector<std::string>& environment,
                             const std::vector<std::string>& arguments,
                             const std::vector<std::string>& launcher)
    : m_logFile(m_directory.write("reader.log", "")), m_kept(placeOfLog()) {
    std::vector<std::string> command = launcher;
    command.emplace_back(READER_EXECUTABLE);
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment;
    // The first one wins.
    if (!m_kept.empty())
        variables.insert(variables.begin(), "VX_LOG=modbusSerial:D");
    m_process = std::make_unique<house::ChildProcess>(command, m_logFile, variables);
}

ReaderProcess::~ReaderProcess() {
    m_process.reset();
    if (m_kept.empty())
        return;
    std::filesystem::copy_file(m_logFile, m_kept + ".log");
    if (std::filesystem::is_regular_file(configFile))
        std::filesystem::copy_file(configFile, m_kept + ".config");
}

void ReaderProcess::waitForLog(const std::function<bool()>& condition) const {
    const auto end =
        std::chrono::steady_clock::now() + house::Patience::limit(std::chrono::seconds(30));
    const FileWatch watch(m_logFile);
    while (!condition())
        if (!watch.waitForChange(end)) {
            ADD_FAILURE() << "Not in the log in time:\n" << contentOf(m_logFile);
            return;
        }
}

std::vector<std::string> ReaderProcess::rawLog() const {
    return wholeLines(contentOf(m_logFile));
}

std::vector<std::string> ReaderProcess::takeNewLines() {
    std::ifstream file(m_logFile);
    file.seekg(m_taken);
    std::ostringstream content;
    content << file.rdbuf();
    std::vector<std::string> lines = wholeLines(content.str());
    for (std::string& line : lines) {
        m_taken += static_cast<std::streamoff>(line.size() + 1);
        line = plain(line);
    }
    return lines;
}

void ReaderProcess::allowDescriptors(std::size_t count) const {
    rlimit limit{};
    ASSERT_EQ(prlimit(pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = count;
    ASSERT_EQ(prlimit(pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
}

int ReaderProcess::waitForExit() {
    const auto status = m_process->waitForExit();
    EXPECT_TRUE(status.has_value()) << "The reader did not end";
    return status.value_or(-1);
}

void ReaderProcess::end() {
    if (!running())
        return;
    signal(SIGKILL);
    waitForExit();
}
