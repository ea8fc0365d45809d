// Lets the real reader poll a home for as long as is wanted, with a fault in every tenth poll, and
// tells whether it lost anything but the faults' messages, wrote a line that nobody expects, or
// grew. The faults are drawn from a seed. It runs in a private world.

#include "house/child-process.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/patience.h"
#include "house/process-figures.h"

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <mutex>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

using house::Answer;
using house::Fault;
using house::LocalServer;

constexpr std::uint16_t busPort = 1502;
constexpr int faultEvery = 10;
/// By then each buffer has its size.
constexpr int settledPoll = 1000;
constexpr int meters[] = {1, 2, 3};
constexpr int power = 10;
constexpr int energy = 20;

constexpr const char* rtuConfig =
    R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})";
constexpr const char* attached = R"({"data":[{"configId":"c","serial":"S-1","slaveAddress":1},)"
                                 R"({"configId":"c","serial":"S-2","slaveAddress":2},)"
                                 R"({"configId":"c","serial":"S-3","slaveAddress":3}]})";
constexpr const char* supported =
    R"({"data":[{"id":"c","registers":[)"
    R"({"fieldType":"serial","modbusDataType":"ascii","length":2},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint32","length":1},)"
    R"({"address":20,"fieldType":"energyImport","modbusDataType":"uint32","length":1}]}]})";

struct Home {
    Home() {
        server.serve(LocalServer::rtuConfigPath, rtuConfig);
        server.serve(LocalServer::attachedPath, attached);
        server.serve(LocalServer::supportedPath, supported);
        std::ofstream("/etc/modbus-config.json")
            << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)" << busPort
            << R"(,"timeoutResponseSec":1}})";
    }

    LocalServer server;
    house::ModbusSlave bus{house::TcpPort{busPort}};
    house::MeteringService service;
};

/// What goes wrong in one poll.
struct Trouble {
    const char* name;
    std::function<void(Home&)> strike;
    bool losesMessages;
    /// Warnings and errors that the reader writes of it.
    int complaints;
};

Trouble badAnswer(const char* name, const char* path, Answer answer, bool losesMessages,
                  int complaints) {
    return {name, [=](Home& home) { home.server.answerNext(path, answer); }, losesMessages,
            complaints};
}

/// A register that can't be read keeps the value of the poll before, so its message isn't lost.
Trouble badRegister(const char* name, int meter, Fault fault, int complaints = 1) {
    return {name, [=](Home& home) { home.bus.unit(meter).failNext(energy, fault); }, false,
            complaints};
}

std::vector<Trouble> troubles() {
    constexpr const char* attachedPath = LocalServer::attachedPath;
    constexpr const char* supportedPath = LocalServer::supportedPath;
    return {
        badAnswer("attached meters: status 500", attachedPath, Answer::withStatus(500), false, 1),
        badAnswer("attached meters: no JSON", attachedPath, Answer::withBody("{"), true, 1),
        badAnswer("attached meters: none", attachedPath, Answer::withBody("{}"), true, 0),
        badAnswer("attached meters: dropped", attachedPath, Answer::dropped(), false, 2),
        badAnswer("models: status 503", supportedPath, Answer::withStatus(503), true, 1),
        badAnswer("models: no JSON", supportedPath, Answer::withBody("nonsense"), true, 1),
        badAnswer("models: a wrong type", supportedPath, Answer::withBody(R"({"data":7})"), true,
                  1),
        badAnswer("models: dropped", supportedPath, Answer::dropped(), true, 2),
        badAnswer("models: broken off", supportedPath, Answer::brokenOff("{", 100), true, 2),
        badRegister("register: exception", 1, Fault::exception(2)),
        badRegister("register: short answer", 2, Fault::shortAnswer),
        badRegister("register: garbled", 3, Fault::garbled),
        // The Modbus library doesn't look at the unit of an answer over TCP.
        badRegister("register: another unit", 1, Fault::fromUnit(9), 0),
    };
}

/// What follows time and thread, with "#" for each number. By hand, as there are forty in a poll.
std::string withoutNumbers(const std::string& line) {
    constexpr const char* digits = "0123456789";
    std::size_t at = 0;
    if (line.starts_with('['))
        at = line.find_first_not_of(" 0123456789", std::min(line.find("] "), line.size() - 1) + 1);
    std::string text;
    while (at < line.size()) {
        const std::size_t number = line.find_first_of(digits, at);
        text.append(line, at, number - at);
        if (number == std::string::npos)
            break;
        text += '#';
        at = line.find_first_not_of("0123456789.e+-", number);
    }
    return text;
}

/// Polls, messages and lines as they come, and what is wrong with them.
class Account {
public:
    Account(Home& home, unsigned seed, std::set<std::string> expectedLines)
        : m_home(home), m_random(seed), m_expectedLines(std::move(expectedLines)) {}

    /// By the first request of a poll.
    void pollBegins(pid_t reader) {
        const std::scoped_lock lock(m_mutex);
        ++m_poll;
        // Of good polls alone: after one that lost its messages fewer connections are open.
        if (m_poll % faultEvery == 0)
            m_last = house::ProcessFigures::of(reader);
        if (m_poll == settledPoll)
            m_settled = m_last;
        for (const int meter : meters) {
            const auto low = static_cast<std::uint16_t>(m_poll);
            const auto high = static_cast<std::uint16_t>(m_poll >> 16);
            m_home.bus.unit(meter).holding(power, {high, low}).holding(energy, {high, low});
        }
        bool losesMessages = false;
        if (m_poll % faultEvery == 0) {
            const Trouble& trouble = m_troubles[m_random() % m_troubles.size()];
            trouble.strike(m_home);
            losesMessages = trouble.losesMessages;
            m_expectedComplaints += trouble.complaints;
            ++m_struck;
        }
        if (!losesMessages)
            for (const int meter : meters)
                m_missing.insert({m_poll, meter});
        m_home.server.clearRequests();
        m_home.bus.clearTranscript();
        m_changed.notify_all();
    }

    void messageArrives(const std::string& text) {
        static const std::regex form(R"re("id":"S-(\d)".*"powerConsumed":(\d+)\.0)re");
        std::smatch match;
        const std::scoped_lock lock(m_mutex);
        if (!std::regex_search(text, match, form) ||
            m_missing.erase({std::stoi(match.str(2)), std::stoi(match.str(1))}) == 0)
            wrong("unexpected message", text);
        ++m_messages;
        m_home.service.clear();
    }

    void lineComes(const std::string& line) {
        const std::string text = withoutNumbers(line);
        const std::scoped_lock lock(m_mutex);
        if (text.starts_with("WARN ") || text.starts_with("ERROR "))
            ++m_complaints;
        if (!m_expectedLines.contains(text))
            wrong("unexpected line", text);
    }

    /// Waits until that poll begins.
    void waitFor(int poll) {
        std::unique_lock lock(m_mutex);
        for (int seen = -1; m_poll < poll;) {
            if (seen == m_poll)
                throw std::runtime_error("The reader does not poll any more, after poll " +
                                         std::to_string(m_poll));
            seen = m_poll;
            m_changed.wait_for(lock, house::Patience::limit(std::chrono::seconds(30)),
                               [&] { return m_poll != seen; });
        }
    }

    /// Prints the figures and returns whether all is well.
    bool tell(int polls) {
        const std::scoped_lock lock(m_mutex);
        // The last messages may be under way.
        std::erase_if(m_missing, [&](const auto& x) { return x.first >= polls - 1; });
        for (const auto& [poll, meter] : m_missing)
            wrong("lost message", std::to_string(poll) + " of meter " + std::to_string(meter));
        if (m_complaints > m_expectedComplaints || m_complaints < m_expectedComplaints - 2)
            wrong("warnings and errors", std::to_string(m_complaints) + " instead of " +
                                             std::to_string(m_expectedComplaints));
        if (m_last.residentKilobytes > m_settled.residentKilobytes)
            wrong("memory", "grew");
        if (m_last.descriptors != m_settled.descriptors)
            wrong("descriptors", "differ");
        std::cout << m_poll << " polls, " << m_struck << " faults, " << m_messages << " messages, "
                  << m_complaints << " warnings and errors\nat poll " << settledPoll << ": "
                  << m_settled.residentKilobytes << " kB, " << m_settled.descriptors
                  << " descriptors\nat the end:   " << m_last.residentKilobytes << " kB, "
                  << m_last.descriptors << " descriptors\n";
        for (const std::string& text : m_wrong)
            std::cout << text << '\n';
        return m_wrong.empty();
    }

private:
    /// Each once, and not more than a page of them.
    void wrong(const char* what, const std::string& text) {
        constexpr std::size_t most = 50;
        if (m_wrong.size() < most)
            m_wrong.insert(std::string(what) + ": " + text);
    }

    Home& m_home;
    std::mt19937 m_random;
    const std::set<std::string> m_expectedLines;
    const std::vector<Trouble> m_troubles = troubles();
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_poll = 0;
    int m_struck = 0;
    int m_messages = 0;
    int m_complaints = 0;
    int m_expectedComplaints = 0;
    std::set<std::pair<int, int>> m_missing;
    std::set<std::string> m_wrong;
    house::ProcessFigures m_settled;
    house::ProcessFigures m_last;
};

std::set<std::string> linesOf(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("Can't read " + path);
    std::set<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.insert(line);
    return lines;
}

int soak(const char* reader, const char* shortPauses, int polls, unsigned seed,
         const char* expectedLines) {
    constexpr const char* log = "/run/reader.log";
    Home home;
    Account account(home, seed, linesOf(expectedLines));
    if (mkfifo(log, 0600) != 0)
        throw std::runtime_error("Can't make a pipe for the log");
    std::thread lines([&] {
        std::ifstream pipe(log);
        for (std::string line; std::getline(pipe, line);)
            account.lineComes(line);
    });
    {
        const house::ChildProcess process({reader}, log,
                                          {std::string("LD_PRELOAD=") + shortPauses});
        home.service.whenArrived([&](const auto& x) { account.messageArrives(x.text); });
        home.server.whenRequested([&](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath)
                account.pollBegins(process.pid());
        });
        account.waitFor(polls + 1);
        // The figures are those of a process that runs.
        home.server.whenRequested([](const house::Request&) {});
    }
    lines.join();
    return account.tell(polls) ? 0 : 1;
}

template <class Number>
Number number(std::string_view text, Number least, Number most) {
    Number value{};
    const auto [end, error] = std::from_chars(text.begin(), text.end(), value);
    if (error != std::errc() || end != text.end() || value < least || value > most)
        throw std::invalid_argument("\"" + std::string(text) + "\" is no number from " +
                                    std::to_string(least) + " to " + std::to_string(most));
    return value;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr << "usage: long-soak READER SHORT-PAUSES EXPECTED-LINES POLLS SEED\n";
        return 2;
    }
    try {
        const int polls = number<int>(argv[4], settledPoll + 1, 16'000'000);
        const auto seed = number<unsigned>(argv[5], 0, std::numeric_limits<unsigned>::max());
        return soak(argv[1], argv[2], polls, seed, argv[3]);
    } catch (const std::exception& e) {
        std::cerr << "long-soak: " << e.what() << '\n';
        return 2;
    }
}
