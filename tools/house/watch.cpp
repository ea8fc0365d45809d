#include "house/watch.h"

#include "house/child-process.h"
#include "house/descriptor.h"
#include "house/faults.h"
#include "house/home.h"
#include "house/metering-service.h"
#include "house/patience.h"
#include "house/poll-account.h"
#include "house/pty-pair.h"
#include "house/reading-table.h"
#include "house/wakeup.h"

#include <array>
#include <csignal>
#include <iostream>
#include <mutex>
#include <optional>
#include <utility>

#include <poll.h>
#include <sys/signalfd.h>

namespace house {

namespace {

using SteadyClock = std::chrono::steady_clock;
using SystemClock = std::chrono::system_clock;

/// The end of a run, with the reason that is shown.
struct End {
    int status;
    std::string reason;
};

/// What the threads of the house tell the one that watches.
struct News {
    std::vector<SystemClock::time_point> polls;
    std::vector<Message> messages;
    bool anything = false;
};

Descriptor blockedSignals() {
    // A reader of the output that goes is found out by the failing write.
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGCHLD})
        ::sigaddset(&signals, number);
    require(::sigprocmask(SIG_BLOCK, &signals, nullptr), "sigprocmask");
    return Descriptor(require(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd"));
}

std::unique_ptr<ModbusSlave> openBus(const Home& home, const PtyPair* line, std::uint16_t port) {
    if (line != nullptr)
        return std::make_unique<ModbusSlave>(Tty{line->slaveEnd(), home.wireTime()});
    return std::make_unique<ModbusSlave>(TcpPort{port});
}

} // namespace

class Watch::Impl {
public:
    explicit Impl(const WatchOptions& options);
    int run();

private:
    void listen();
    void waitForNews();
    void takeNews();
    void take(const Message& message);
    std::optional<End> end();
    std::optional<End> endByPolls();
    bool signalled();

    void printReadings();

    const WatchOptions m_options;
    /// Read while signals still end the program, as the file may be a pipe.
    Home m_home;
    Descriptor m_signals;
    Wakeup m_wakeup;
    std::mutex m_mutex;
    News m_news;

    LocalServer m_server;
    std::unique_ptr<PtyPair> m_line;
    std::unique_ptr<ModbusSlave> m_bus;
    MeteringService m_service;
    std::optional<ChildProcess> m_daemon;

    PollAccount m_account;
    ReadingTable m_table;
    SteadyClock::time_point m_lastNews = SteadyClock::now();
};

Watch::Impl::Impl(const WatchOptions& options)
    : m_options(options),
      m_home(options.homeFile),
      m_signals(blockedSignals()),
      m_line(options.rtuLink.empty() ? nullptr : std::make_unique<PtyPair>()),
      m_bus(openBus(m_home, m_line.get(), options.tcpPort)),
      m_account(m_home.meters(), options.polls),
      m_table(m_home.meters()) {
    if (m_line)
        m_line->linkMasterEnd(options.rtuLink);
    listen();
    // Before the home, so that no request finds it without them.
    faults::order(options.faults, m_home, *m_bus, m_server);
    m_home.serveOn(m_server);
    m_home.liveOn(*m_bus);
}

void Watch::Impl::listen() {
    m_server.whenRequested([this](const Request& request) {
        const std::lock_guard lock(m_mutex);
        m_news.anything = true;
        if (request.path == LocalServer::rtuConfigPath)
            m_news.polls.push_back(request.arrived);
        m_wakeup.raise();
    });
    m_service.whenArrived([this](const Message& message) {
        const std::lock_guard lock(m_mutex);
        m_news.anything = true;
        m_news.messages.push_back(message);
        m_wakeup.raise();
    });
}

int Watch::Impl::run() {
    if (!m_options.daemon.empty())
        m_daemon.emplace(std::vector<std::string>{m_options.daemon}, m_options.logFile);
    std::cout << "        " << m_table.heading() << std::endl;
    std::optional<End> end;
    while (!end) {
        waitForNews();
        takeNews();
        end = this->end();
    }
    m_daemon.reset();
    printReadings();
    (std::cout ? std::cout : std::cerr) << end->reason << std::endl;
    return end->status;
}

void Watch::Impl::waitForNews() {
    std::array<pollfd, 3> wait{{{m_wakeup.descriptor(), POLLIN, 0},
                                {m_signals.number(), POLLIN, 0},
                                {STDOUT_FILENO, 0, 0}}};
    // No news are some too, after a while.
    constexpr int longestMilliseconds = 1000;
    ::poll(wait.data(), wait.size(), longestMilliseconds);
    m_wakeup.settle();
    // A pipe whose other end is closed.
    if ((wait[2].revents & POLLERR) != 0)
        std::cout.setstate(std::ios::badbit);
}

void Watch::Impl::takeNews() {
    std::unique_lock lock(m_mutex);
    const News news = std::exchange(m_news, {});
    lock.unlock();
    if (news.anything)
        m_lastNews = SteadyClock::now();
    // Each poll brings news after the reader has connected, so the line is ready for the next
    // reader.
    if (m_line)
        m_line->resetMasterEnd();
    for (const auto& time : news.polls)
        m_account.pollBegan(time);
    for (const Message& message : news.messages)
        take(message);
    // What has been taken is not needed a second time, and a demo may run for days.
    m_server.clearRequests();
    m_service.clear();
    m_bus->clearTranscript();
}

void Watch::Impl::take(const Message& message) {
    const std::optional<Reading> reading = tryToReading(message.text);
    if (!reading) {
        std::cerr << "Not a reading: " << message.text << std::endl;
        return;
    }
    // A reading without values is delivered too if its id is known, but it shows nothing of the
    // meter.
    const std::size_t poll =
        reading->hasValues() ? m_account.delivered(reading->slaveAddress, reading->readBegan) : 0;
    m_table.update(*reading);
    std::cout << "poll " << poll << "  " << m_table.row(reading->slaveAddress, message.arrived)
              << std::endl;
}

std::optional<End> Watch::Impl::end() {
    if (!std::cout)
        return End{1, "Nobody reads the output."};
    if (signalled())
        return End{m_options.polls == 0 ? 0 : 1, "Ended by a signal."};
    if (m_options.polls > 0) {
        if (std::optional<End> end = endByPolls())
            return end;
    }
    if (m_daemon && !m_daemon->running())
        return End{1, "The reader has ended, see " + m_options.logFile};
    return std::nullopt;
}

std::optional<End> Watch::Impl::endByPolls() {
    const std::size_t polls = m_options.polls;
    const std::string count = std::to_string(polls);
    if (m_account.isComplete())
        return End{0, "Every meter delivered in each poll, " + count + " of " + count + "."};
    // The reader writes a poll's messages after the poll and closes their connections after the
    // poll after it. So they have all come when the poll after next is over.
    const bool over = m_account.pollsBegun() >= polls + 3;
    // A dead meter costs seconds per register, with nothing to be heard of in between.
    const auto limit = Patience::limit(std::chrono::minutes{5});
    if (!over && SteadyClock::now() - m_lastNews < limit)
        return std::nullopt;
    std::string reason = "Not delivered:";
    for (const std::string& missing : m_account.missing())
        reason += "\n  " + missing;
    return End{1, reason};
}

bool Watch::Impl::signalled() {
    signalfd_siginfo info{};
    bool result = false;
    // A child that ended only wakes the watch; `end` looks at it.
    while (::read(m_signals.number(), &info, sizeof info) == sizeof info)
        result = result || info.ssi_signo != SIGCHLD;
    return result;
}

void Watch::Impl::printReadings() {
    std::cout << "Last readings, " << m_home.moment() << ":\n" << m_table.heading() << "\n";
    for (const std::string& row : m_table.rows(SystemClock::now()))
        std::cout << row << "\n";
}

Watch::Watch(const WatchOptions& options) : m_impl(std::make_unique<Impl>(options)) {}

Watch::~Watch() = default;

int Watch::run() {
    return m_impl->run();
}

} // namespace house
