// Measures polls of a contender, the reader or a hand-written poll: it is the home around the
// contender, ends it when its polls are done, and prints what they cost as one line of JSON. It is
// started in a private world by script/bench.

#include "measured-home.h"

#include "house/awaited-count.h"
#include "house/child-process.h"
#include "house/descriptor.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using house::LocalServer;

constexpr const char* callgrindLog = "/run/callgrind.log";

struct Options {
    int meters = 1;
    int registers = 10;
    int warmUp = 1;
    int polls = 1;
    std::string preload;
    std::string attached;
    std::string supported;
    std::string callgrindOut;
    bool messages = false;
    std::vector<std::string> contender;

    bool hasFiles() const { return !attached.empty(); }
};

/// Standard error of the contender. It goes through a pipe, as to a journal. Its lines are counted,
/// those of messages and of failed requests by themselves too, and its end is kept.
class DrainedLog {
public:
    DrainedLog() {
        std::array<int, 2> ends{};
        house::require(::pipe2(ends.data(), O_CLOEXEC), "pipe");
        m_readEnd = house::Descriptor(ends[0]);
        m_writeEnd = house::Descriptor(ends[1]);
        m_reader = std::thread([this] { readAll(); });
    }
    ~DrainedLog() {
        letGo();
        if (m_reader.joinable())
            m_reader.join();
    }
    DrainedLog(const DrainedLog&) = delete;
    DrainedLog& operator=(const DrainedLog&) = delete;

    /// The name under which a program can open it.
    std::string path() const { return "/proc/self/fd/" + std::to_string(m_writeEnd.number()); }
    /// From now on it ends with the program that has opened it.
    void letGo() { m_writeEnd = house::Descriptor(); }
    /// Waits until the program has ended, and everything has come.
    void finish() { m_reader.join(); }
    std::size_t lineCount() const { return m_lineCount; }
    std::size_t messageCount() const { return m_messageCount; }
    std::size_t failedRequestCount() const { return m_failedRequestCount; }

    /// Of all that has come.
    std::string lastPart() const {
        const std::lock_guard lock(m_mutex);
        return m_lastPart;
    }

private:
    static constexpr std::size_t keptSize = 4096;
    /// Time, thread, severity, channel and the first words of a line. Whole lines can be huge.
    static constexpr std::size_t headSize = 120;

    void readAll() {
        std::array<char, 65536> piece{};
        ssize_t size = 0;
        while ((size = ::read(m_readEnd.number(), piece.data(), piece.size())) > 0) {
            count({piece.data(), static_cast<std::size_t>(size)});
            keep({piece.data(), static_cast<std::size_t>(size)});
        }
    }

    void count(std::string_view piece) {
        for (;;) {
            const std::size_t end = std::min(piece.find('\n'), piece.size());
            m_head += piece.substr(0, std::min(end, headSize - m_head.size()));
            if (end == piece.size())
                return;
            ++m_lineCount;
            if (m_head.find(" Writing ") != std::string::npos)
                ++m_messageCount;
            if (m_head.find(" Request failed") != std::string::npos)
                ++m_failedRequestCount;
            m_head.clear();
            piece.remove_prefix(end + 1);
        }
    }

    void keep(std::string_view piece) {
        const std::lock_guard lock(m_mutex);
        m_lastPart += piece.substr(piece.size() - std::min(piece.size(), keptSize));
        m_lastPart.erase(0, m_lastPart.size() - std::min(m_lastPart.size(), keptSize));
    }

    house::Descriptor m_readEnd;
    house::Descriptor m_writeEnd;
    std::string m_head;
    std::size_t m_lineCount = 0;
    std::size_t m_messageCount = 0;
    std::size_t m_failedRequestCount = 0;
    mutable std::mutex m_mutex;
    std::string m_lastPart;
    std::thread m_reader;
};

double cpuSecondsOf(pid_t pid) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(pid, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
        throw std::runtime_error("No clock of process " + std::to_string(pid));
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The number behind @p label, which stands in @p file once.
long long numberBehind(const std::string& label, const std::string& file) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        if (const auto at = line.find(label); at != std::string::npos)
            return std::stoll(line.substr(at + label.size()));
    throw std::runtime_error("No \"" + label + "\" in " + file);
}

/// Follows the polls by their first requests, at which a contender waits for the answer. What the
/// reader still writes of the poll before comes after it, in each poll alike.
class Polls {
public:
    explicit Polls(const Options& options)
        : m_warmUp(static_cast<std::size_t>(options.warmUp)),
          m_all(m_warmUp + static_cast<std::size_t>(options.polls)) {}

    void takeFrom(pid_t pid) { m_pid.set_value(pid); }

    void begins() {
        ++m_begun;
        if (m_begun == m_warmUp + 1) {
            m_cpuBefore = cpuSecondsOf(pid());
            m_before = Clock::now();
        }
        if (m_begun == m_all + 1)
            end();
        m_awaited.increase();
    }

    /// Waits until all have been polled and the contender was told to end. False when it doesn't
    /// poll.
    [[nodiscard]] bool wait() const {
        // One limit is not enough for all of them.
        for (std::size_t polls = 1; polls <= m_all + 1; ++polls)
            if (!m_awaited.waitFor(polls))
                return false;
        return true;
    }

    std::size_t count() const { return m_all; }
    double cpuSecondsPerPoll() const { return perPoll(m_cpuAfter - m_cpuBefore); }
    double secondsPerPoll() const {
        return perPoll(std::chrono::duration<double>(m_after - m_before).count());
    }
    long long peakResidentKilobytes() const { return m_peakResidentKilobytes; }
    /// Those of the program and its libraries.
    long long fileKilobytes() const { return m_fileKilobytes; }

private:
    using Clock = std::chrono::steady_clock;

    void end() {
        const std::string status = "/proc/" + std::to_string(pid()) + "/status";
        m_cpuAfter = cpuSecondsOf(pid());
        m_after = Clock::now();
        m_peakResidentKilobytes = numberBehind("VmHWM:", status);
        m_fileKilobytes = numberBehind("RssFile:", status);
        ::kill(pid(), SIGTERM);
    }
    double perPoll(double all) const { return all / static_cast<double>(m_all - m_warmUp); }
    pid_t pid() { return m_knownPid.get(); }

    const std::size_t m_warmUp;
    const std::size_t m_all;
    std::promise<pid_t> m_pid;
    std::shared_future<pid_t> m_knownPid = m_pid.get_future().share();
    std::size_t m_begun = 0;
    double m_cpuBefore = 0.0;
    double m_cpuAfter = 0.0;
    Clock::time_point m_before;
    Clock::time_point m_after;
    long long m_peakResidentKilobytes = 0;
    long long m_fileKilobytes = 0;
    house::AwaitedCount m_awaited;
};

std::string contentOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in)
        throw std::runtime_error("Cannot read " + file);
    return content;
}

/// What is around a contender: the measured home, or one that two files tell of.
class Surroundings {
public:
    Surroundings(const Options& options, Polls& polls) {
        const MeasuredHome home(options.meters, options.registers);
        std::ofstream("/etc/modbus-config.json") << home.configFile(m_bus.port());
        serve(LocalServer::rtuConfigPath, home.rtuConfig());
        if (options.hasFiles()) {
            furnishAllUnits();
            serve(LocalServer::attachedPath, contentOf(options.attached));
            serve(LocalServer::supportedPath, contentOf(options.supported));
        } else {
            home.furnish(m_bus);
            serve(LocalServer::attachedPath, home.attached());
            serve(LocalServer::supportedPath, home.supported());
        }
        m_server.whenRequested([&polls](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath)
                polls.begins();
        });
    }

    /// Waits for the messages of all polls. A contender that did less than its work is no
    /// contender.
    std::vector<std::string> requireMessages(std::size_t messages, std::size_t reads) const {
        const std::vector<std::string> texts = takeMessages(messages);
        if (m_bus.requestCount() != reads)
            throw std::runtime_error(counted(m_bus.requestCount(), reads, "reads"));
        return texts;
    }

    /// Waits for @p messages.
    std::vector<std::string> takeMessages(std::size_t messages) const {
        if (!m_service.waitForMessages(messages) || m_service.messages().size() != messages)
            throw std::runtime_error(counted(m_service.messages().size(), messages, "messages"));
        return m_service.texts();
    }

private:
    /// Gives each address that a bus has the same words, a float32 in each two.
    void furnishAllUnits() {
        house::Words words;
        for (int i = 0; i < 50; ++i)
            words.insert(words.end(), {0x4366, 0x0000});
        for (int unit = 1; unit <= MeasuredHome::mostMeters; ++unit)
            m_bus.unit(unit).input(0, words);
    }

    void serve(const std::string& path, const std::string& body) {
        house::Answer answer = house::Answer::withBody(body);
        answer.headers["Content-Type"] = "application/json";
        m_server.answerAlways(path, answer);
    }

    static std::string counted(std::size_t count, std::size_t expected, const char* what) {
        return std::to_string(count) + " " + what + " instead of " + std::to_string(expected);
    }

    LocalServer m_server;
    house::ModbusSlave m_bus{house::TcpPort{1502}};
    house::MeteringService m_service;
};

std::vector<std::string> commandOf(const Options& options) {
    std::vector<std::string> command;
    if (!options.callgrindOut.empty())
        command = {"/usr/bin/valgrind", "--tool=callgrind", "--vgdb=no",
                   "--callgrind-out-file=" + options.callgrindOut,
                   std::string("--log-file=") + callgrindLog};
    command.insert(command.end(), options.contender.begin(), options.contender.end());
    return command;
}

void measure(const Options& options) {
    // Its files have fixed names, and those of a machine must stay.
    if (!std::filesystem::is_empty("/etc"))
        throw std::runtime_error("/etc is not empty: this needs a world of tools/private-world");
    Polls polls(options);
    const Surroundings surroundings(options, polls);
    DrainedLog log;
    house::ChildProcess contender(commandOf(options), log.path(),
                                  {"LD_PRELOAD=" + options.preload});
    log.letGo();
    polls.takeFrom(contender.pid());
    if (!polls.wait())
        throw std::runtime_error("The contender does not poll. Its standard error ends in:\n" +
                                 log.lastPart());
    if (!contender.waitForExit())
        throw std::runtime_error("The contender does not end");
    log.finish();

    const std::size_t messages = polls.count() * static_cast<std::size_t>(options.meters);
    const std::size_t reads = messages * static_cast<std::size_t>(options.registers);
    const std::vector<std::string> texts = options.hasFiles()
                                               ? surroundings.takeMessages(log.messageCount())
                                               : surroundings.requireMessages(messages, reads);
    if (options.messages) {
        for (const std::string& text : texts)
            std::cout << text << '\n';
        return;
    }
    std::cout << R"({"cpuMilliseconds":)" << polls.cpuSecondsPerPoll() * 1000.0
              << R"(,"peakResidentKilobytes":)" << polls.peakResidentKilobytes()
              << R"(,"fileKilobytes":)" << polls.fileKilobytes() << R"(,"seconds":)"
              << polls.secondsPerPoll() << R"(,"messages":)" << texts.size()
              << R"(,"failedRequests":)" << log.failedRequestCount() << R"(,"logLines":)"
              << log.lineCount();
    if (!options.callgrindOut.empty())
        std::cout << R"(,"instructions":)" << numberBehind("Collected :", callgrindLog);
    std::cout << "}\n";
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Measures polls of a contender in a private world.", "whole-poll");
    app.add_option("--meters", options.meters)->check(CLI::Range(1, MeasuredHome::mostMeters));
    app.add_option("--registers", options.registers, "of each meter")
        ->check(CLI::Range(1, MeasuredHome::mostRegisters));
    app.add_option("--warm-up", options.warmUp, "polls that are not measured")
        ->check(CLI::Range(1, 100000));
    app.add_option("--polls", options.polls, "polls that are")->check(CLI::Range(1, 100000));
    app.add_option("--preload", options.preload, "library that takes away the pauses")
        ->required()
        ->check(CLI::ExistingFile);
    CLI::Option* attached =
        app.add_option("--attached", options.attached,
                       "reply about the meters instead of --meters; need not be a good one")
            ->check(CLI::ExistingFile);
    app.add_option(
           "--supported", options.supported,
           "reply about their models instead of --registers; each address from 1 to 247 has "
           "the input registers 0 to 99")
        ->check(CLI::ExistingFile)
        ->needs(attached);
    attached->needs("--supported");
    app.add_option("--callgrind", options.callgrindOut,
                   "count instructions, and write the profile to this file");
    app.add_flag("--messages", options.messages, "print the messages instead of figures");
    app.add_option("contender", options.contender, "program and its arguments")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        measure(options);
        return std::cout.flush() ? 0 : 1;
    } catch (const std::exception& e) {
        std::cerr << "whole-poll: " << e.what() << '\n';
        return 1;
    }
}
