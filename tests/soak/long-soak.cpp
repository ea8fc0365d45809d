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
#include <cmath>
#include <compare>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <mutex>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using house::Answer;
using house::Fault;
using house::LocalServer;

constexpr std::uint16_t busPort = 1502;
constexpr const char* serviceSocket = "/var/run/orv-metering.sock";
constexpr const char* heapFigure = "/run/heap";
constexpr const char* hiddenSocket = "/var/run/hidden.sock";
/// While it is there the reader waits for no more than a moment.
constexpr const char* shortWaits = "/run/short-waits";
constexpr int faultEvery = 10;
constexpr int toldEvery = 100'000;
/// By then each buffer has its size.
constexpr int usuallySettled = 1000;
constexpr int meters[] = {1, 2, 3};
constexpr int power = 10;
constexpr int energy = 20;
/// So that the numbers of each poll have as many digits, and their texts as many bytes.
constexpr int firstValue = 1'000'000;
/// A block may be a few bytes larger than is asked for, by what is free. A million polls have
/// thousands of each fault, so that the smallest block lost in one of them is more.
constexpr std::size_t toleratedBytes = 512;
/// An order of allocations that didn't come before touches a page of the heap more, now and then.
constexpr std::size_t toleratedKilobytes = 128;

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

    /// In its place stands nothing, or a plain file.
    void hideService(bool behindFile) {
        std::filesystem::rename(serviceSocket, hiddenSocket);
        if (behindFile)
            std::ofstream(serviceSocket).put('x');
    }
    void showService() {
        if (std::filesystem::exists(hiddenSocket))
            std::filesystem::rename(hiddenSocket, serviceSocket);
    }

    LocalServer server;
    house::ModbusSlave bus{house::TcpPort{busPort}};
    house::MeteringService service{serviceSocket};
};

/// What must not grow.
struct Holdings {
    static Holdings of(pid_t reader) {
        std::size_t heapBytes = 0;
        std::ifstream(heapFigure) >> heapBytes;
        return {heapBytes, house::ProcessFigures::of(reader)};
    }

    std::size_t heapBytes = 0;
    house::ProcessFigures process;
};

std::ostream& operator<<(std::ostream& stream, const Holdings& x) {
    return stream << x.heapBytes << " bytes of the heap, " << x.process.residentKilobytes
                  << " kB resident, " << x.process.descriptors << " descriptors\n";
}

/// What goes wrong in one poll.
struct Trouble {
    const char* name;
    std::function<void(Home&)> strike;
    bool losesMessages;
    /// Warnings and errors that the reader writes of it.
    int complaints;
    /// The one whose energy is that of the poll before; 0 if all are read.
    int carriedMeter = 0;
};

Trouble badAnswer(const char* name, const char* path, const Answer& answer, bool losesMessages,
                  int complaints) {
    return {name, [=](Home& home) { home.server.answerNext(path, answer); }, losesMessages,
            complaints};
}

/// A register that can't be read keeps the value of the poll before, so no message is lost.
Trouble badRegister(const char* name, int meter, Fault fault, int complaints = 1) {
    return {name, [=](Home& home) { home.bus.unit(meter).failNext(energy, fault); }, false,
            complaints, complaints == 0 ? 0 : meter};
}

/// The reader waits in vain for an answer or the rest of one, but only for a moment.
Trouble unansweredRegister(const char* name, int meter, Fault fault) {
    Trouble trouble = badRegister(name, meter, fault);
    trouble.strike = [strike = trouble.strike](Home& home) {
        strike(home);
        std::ofstream(shortWaits).put('x');
    };
    return trouble;
}

/// One for each message, which is lost.
Trouble noService(const char* name, bool behindFile) {
    return {name, [=](Home& home) { home.hideService(behindFile); }, true,
            static_cast<int>(std::size(meters))};
}

std::vector<Trouble> troubles() {
    constexpr const char* attachedPath = LocalServer::attachedPath;
    constexpr const char* supportedPath = LocalServer::supportedPath;
    return {
        badAnswer("attached meters: status 500", attachedPath, Answer::withStatus(500), false, 1),
        badAnswer("attached meters: no JSON", attachedPath, Answer::withBody("{"), true, 1),
        badAnswer("attached meters: none", attachedPath, Answer::withBody("{}"), true, 0),
        badAnswer("attached meters: dropped", attachedPath, Answer::dropped(), false, 2),
        badAnswer("attached meters: nested deep", attachedPath,
                  Answer::withBody(std::string(100, '[')), true, 1),
        badAnswer("models: status 503", supportedPath, Answer::withStatus(503), true, 1),
        badAnswer("models: no JSON", supportedPath, Answer::withBody("nonsense"), true, 1),
        badAnswer("models: a wrong type", supportedPath, Answer::withBody(R"({"data":7})"), true,
                  1),
        badAnswer("models: dropped", supportedPath, Answer::dropped(), true, 2),
        badAnswer("models: broken off", supportedPath, Answer::brokenOff("{", 100), true, 2),
        noService("service: absent", false),
        noService("service: a file", true),
        // One that comes late, or a line that hangs up, ends with a new connection alone, which
        // keeps a descriptor.
        unansweredRegister("register: silence", 2, Fault::silence),
        badRegister("register: exception", 1, Fault::exception(2)),
        unansweredRegister("register: short answer", 2, Fault::shortAnswer),
        unansweredRegister("register: garbled", 3, Fault::garbled),
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

/// What a message says.
struct Reading {
    // NOLINTNEXTLINE(modernize-use-nullptr): the tool takes what compares for a pointer
    auto operator<=>(const Reading&) const = default;

    /// In watts.
    double power = 0;
    int meter = 0;
    /// In kilowatt hours, of which single precision leaves more than the nearest one.
    double energy = 0;
};

/// Both counters of a meter hold the number of the poll.
Reading readingOf(int meter, int poll, bool carried) {
    const int value = firstValue + poll;
    return {static_cast<double>(value), meter, static_cast<double>(carried ? value - 1 : value)};
}

/// Polls, messages and lines as they come, and what is wrong with them.
class Account {
public:
    /// @p hasOwnHeap is false for a reader whose heap is kept by a program that watches it, and
    /// that tells of leaks itself.
    Account(bool hasOwnHeap, int polls, unsigned seed, std::set<std::string> expectedLines)
        : m_hasOwnHeap(hasOwnHeap),
          m_polls(polls),
          m_settledPoll(std::min(usuallySettled, polls / 2 / faultEvery * faultEvery)),
          m_random(seed),
          m_expectedLines(std::move(expectedLines)) {}

    /// The reader has not been started by then.
    void begin() {
        m_home.service.whenArrived([this](const auto& x) { messageArrives(x.text); });
        m_home.server.whenRequested([this](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath)
                pollBegins();
        });
    }

    void lineComes(const std::string& line) {
        const std::string text = withoutNumbers(line);
        const std::scoped_lock lock(m_mutex);
        if (text.starts_with("WARN ") || text.starts_with("ERROR "))
            ++m_complaints;
        if (!m_expectedLines.contains(text))
            wrong("unexpected line", text);
    }

    /// Waits until @p reader has made all polls, or makes none any more. What it does from then on
    /// doesn't count, so that it may be ended.
    void waitForEnd(pid_t reader) {
        std::unique_lock lock(m_mutex);
        m_reader = reader;
        for (int seen = -1; m_poll <= m_polls;) {
            if (seen == m_poll) {
                wrong("no poll behind", std::to_string(m_poll));
                return;
            }
            seen = m_poll;
            m_changed.wait_for(lock, house::Patience::limit(std::chrono::seconds(30)),
                               [&] { return m_poll != seen; });
        }
    }

    void wrongEnd() {
        const std::scoped_lock lock(m_mutex);
        wrong("end", "not by SIGTERM");
    }

    /// Prints the figures and returns whether all is well.
    bool tell() {
        const std::scoped_lock lock(m_mutex);
        // The last messages may be under way.
        std::erase_if(m_missing,
                      [&](const Reading& x) { return x.power >= firstValue + m_polls - 1; });
        for (const Reading& x : m_missing)
            wrong("lost message",
                  "meter " + std::to_string(x.meter) + ", " + std::to_string(x.power) + " W");
        checkFigures();
        std::cout << m_poll << " polls, " << m_struck << " faults, " << m_messages << " messages, "
                  << m_complaints << " warnings and errors\nat poll " << m_settledPoll << ": "
                  << m_settled << "at the end:   " << m_last;
        for (const std::string& text : m_wrong)
            std::cout << text << '\n';
        return m_wrong.empty();
    }

private:
    /// By the first request of a poll.
    void pollBegins() {
        const std::scoped_lock lock(m_mutex);
        if (m_poll > m_polls)
            return;
        ++m_poll;
        m_changed.notify_all();
        m_home.showService();
        std::filesystem::remove(shortWaits);
        if (m_poll > m_polls)
            return;
        // Of good polls alone: after one that lost its messages fewer connections are open.
        if (m_poll % faultEvery == 0)
            m_last = Holdings::of(m_reader);
        if (m_poll % toldEvery == 0)
            std::cout << "at poll " << m_poll << ": " << m_last << std::flush;
        if (m_poll == m_settledPoll)
            m_settled = m_last;
        for (const int meter : meters) {
            const int value = firstValue + m_poll;
            const auto low = static_cast<std::uint16_t>(value);
            const auto high = static_cast<std::uint16_t>(value >> 16);
            m_home.bus.unit(meter).holding(power, {high, low}).holding(energy, {high, low});
        }
        bool losesMessages = false;
        int carriedMeter = 0;
        if (m_poll % faultEvery == 0) {
            const Trouble& trouble = m_troubles[m_random() % m_troubles.size()];
            trouble.strike(m_home);
            losesMessages = trouble.losesMessages;
            carriedMeter = trouble.carriedMeter;
            m_expectedComplaints += trouble.complaints;
            ++m_struck;
        }
        if (!losesMessages)
            for (const int meter : meters)
                m_missing.insert(readingOf(meter, m_poll, meter == carriedMeter));
        m_home.server.clearRequests();
        m_home.bus.clearTranscript();
    }

    /// Told whatever else is wrong.
    void checkFigures() {
        if (m_complaints != m_expectedComplaints)
            m_wrong.insert("warnings and errors: " + std::to_string(m_complaints) + " instead of " +
                           std::to_string(m_expectedComplaints));
        if (m_last.heapBytes > m_settled.heapBytes + toleratedBytes)
            m_wrong.insert("heap: grew");
        if (m_hasOwnHeap && m_last.heapBytes == 0)
            m_wrong.insert("heap: isn't told");
        if (m_hasOwnHeap && m_last.process.residentKilobytes >
                                m_settled.process.residentKilobytes + toleratedKilobytes)
            m_wrong.insert("memory: grew");
        if (m_last.process.descriptors != m_settled.process.descriptors)
            m_wrong.insert("descriptors: differ");
    }

    void messageArrives(const std::string& text) {
        static const std::regex form(
            R"re(\{"id":"S-(\d)",.*,"powerConsumed":([^,]+),"energyConsumed":([^,]+)\})re");
        constexpr double joulesPerKilowattHour = 3600000;
        std::smatch match;
        const std::scoped_lock lock(m_mutex);
        if (m_poll > m_polls)
            return;
        if (!std::regex_match(text, match, form) ||
            m_missing.erase({std::stod(match.str(2)), std::stoi(match.str(1)),
                             std::round(std::stod(match.str(3)) / joulesPerKilowattHour)}) == 0)
            wrong("unexpected message", text);
        ++m_messages;
        m_home.service.clear();
    }

    /// Each once, and not more than a page of them.
    void wrong(const char* what, const std::string& text) {
        constexpr std::size_t most = 50;
        if (m_wrong.size() < most)
            m_wrong.insert(std::string(what) + ": " + text);
    }

    const bool m_hasOwnHeap;
    const int m_polls;
    const int m_settledPoll;
    std::mt19937 m_random;
    const std::set<std::string> m_expectedLines;
    const std::vector<Trouble> m_troubles = troubles();
    std::mutex m_mutex;
    std::condition_variable m_changed;
    /// Known long before its figures are asked for.
    pid_t m_reader = 0;
    int m_poll = 0;
    int m_struck = 0;
    int m_messages = 0;
    int m_complaints = 0;
    int m_expectedComplaints = 0;
    std::set<Reading> m_missing;
    std::set<std::string> m_wrong;
    Holdings m_settled;
    Holdings m_last;
    /// The last member, as its threads use the others until it is gone.
    Home m_home;
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

int soak(bool hasOwnHeap, const std::vector<std::string>& reader, int polls, unsigned seed,
         const char* expectedLines) {
    constexpr const char* log = "/run/reader.log";
    Account account(hasOwnHeap, polls, seed, linesOf(expectedLines));
    if (mkfifo(log, 0600) != 0)
        throw std::runtime_error("Can't make a pipe for the log");
    {
        const std::jthread lines([&] {
            std::ifstream pipe(log);
            for (std::string line; std::getline(pipe, line);)
                account.lineComes(line);
        });
        account.begin();
        house::ChildProcess process(reader, log,
                                    {std::string("HEAP_FIGURE=") + heapFigure,
                                     // What the allocator keeps at hand would count as in use.
                                     "GLIBC_TUNABLES=glibc.malloc.tcache_count=0:"
                                     "glibc.malloc.mxfast=0"});
        account.waitForEnd(process.pid());
        // A program that watches the reader has its last word, which is in the log then.
        process.signal(SIGTERM);
        const std::optional<int> status = process.waitForExit();
        if (!status || !WIFSIGNALED(*status) || WTERMSIG(*status) != SIGTERM)
            account.wrongEnd();
    }
    return account.tell() ? 0 : 1;
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
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool isWatched = !words.empty() && words.front() == "--watched";
    if (isWatched)
        words.erase(words.begin());
    if (words.size() < 4) {
        std::cerr
            << "usage: long-soak [--watched] EXPECTED-LINES POLLS SEED READER [ARGUMENT...]\n";
        return 2;
    }
    try {
        const int polls = number<int>(words[1], 4 * faultEvery, 3'000'000);
        const auto seed = number<unsigned>(words[2], 0, std::numeric_limits<unsigned>::max());
        return soak(!isWatched, {words.begin() + 3, words.end()}, polls, seed, words[0].c_str());
    } catch (const std::exception& e) {
        std::cerr << "long-soak: " << e.what() << '\n';
        return 2;
    }
}
