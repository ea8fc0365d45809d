#include "inspector-program.h"
#include "inspector/output/safe-text.h"
#include "inspector/watch/watch-screen.h"

#include "house/patience.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>

using namespace inspector;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// The real program on a terminal of its own.
class WatchProgram {
public:
    explicit WatchProgram(const std::string& log) {
        winsize size{24, 80, 0, 0};
        m_pid = forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_pid == 0) {
            execl(INSPECTOR_EXECUTABLE, INSPECTOR_EXECUTABLE, "watch", "--log", log.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        tcgetattr(m_terminal, &m_before);
    }
    ~WatchProgram() {
        if (m_pid > 0)
            kill(m_pid, SIGKILL);
        wait();
        close(m_terminal);
    }
    WatchProgram(const WatchProgram&) = delete;
    WatchProgram& operator=(const WatchProgram&) = delete;

    void type(const std::string& keys) const {
        EXPECT_EQ(write(m_terminal, keys.data(), keys.size()), 1);
    }
    void signal(int number) const { kill(m_pid, number); }
    bool waitUntilStopped() const {
        int status = 0;
        return waitpid(m_pid, &status, WUNTRACED) == m_pid && WIFSTOPPED(status);
    }
    void resize(unsigned short width, unsigned short height) const {
        const winsize size{height, width, 0, 0};
        ioctl(m_terminal, TIOCSWINSZ, &size);
    }
    /// Gives what was shown up to @p text, which comes within the limit.
    std::string await(const std::string& text) {
        const auto limit = std::chrono::steady_clock::now() + house::Patience::limit();
        std::size_t at = std::string::npos;
        while ((at = m_shown.find(text)) == std::string::npos) {
            pollfd wait{m_terminal, POLLIN, 0};
            ::poll(&wait, 1, 1000);
            std::array<char, 4096> buffer{};
            const ssize_t count =
                (wait.revents & POLLIN) != 0 ? read(m_terminal, buffer.data(), buffer.size()) : 0;
            if (count > 0)
                m_shown.append(buffer.data(), static_cast<std::size_t>(count));
            else if (count < 0 || std::chrono::steady_clock::now() > limit)
                throw std::runtime_error("not shown: " + text + "\nbut: " + m_shown);
        }
        std::string result = m_shown.substr(0, at);
        m_shown.erase(0, at + text.size());
        return result;
    }
    std::optional<int> wait() {
        if (m_pid <= 0)
            return std::nullopt;
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
    }
    bool hasItsTerminalBack() const {
        termios now{};
        tcgetattr(m_terminal, &now);
        return now.c_lflag == m_before.c_lflag && now.c_iflag == m_before.c_iflag;
    }

private:
    pid_t m_pid = -1;
    int m_terminal = -1;
    termios m_before{};
    std::string m_shown;
};

constexpr const char* message =
    R"([2026-11-14T10:00:00.500+00:00]   412 NOTIC modbusreaderSocketWriter Writing  m_buffer:)"
    R"({"id":"S-1","slaveAddress":1,"meteringType":"modbus","lastChanged":"2026-11-14T10:00:00.000Z",)"
    R"("tariffEnabled":true,"powerConsumed":1500.5,"energyConsumed":3600000.0,)"
    R"("t1EnergyConsumed":1800000.0} socket-writer.cpp:41)";
constexpr const char* failure =
    R"([2026-11-14T10:00:02.000+00:00]   412 WARN  modbusSerial Could not read register )"
    R"(strerror((*__errno_location ())):Connection timed out aRegister:{"address":10,)"
    R"("fieldType":powerImport,"modbusDataType":uint16,"length":1,"registerType":input} )"
    R"(toolkit.cpp:345)";
constexpr const char* begin =
    "[2026-11-14T10:00:00.000+00:00]   412 NOTIC modbusSerial Reading meter now slaveAddress:1 "
    "toolkit.cpp:470";
constexpr const char* tick =
    "[2026-11-14T10:00:00.000+00:00]   412 NOTIC modbusreaderMain callback ec:Success main.cpp:64";
constexpr const char* cut =
    "[2026-11-14T10:00:02.000+00:00]   412 WARN  modbusSerial Could not read regis";
constexpr const char* nextTick =
    "[2026-11-14T10:00:02.500+00:00]   412 NOTIC modbusreaderMain callback ec:Success main.cpp:64";

/// 2026-11-14T10:00:03Z.
constexpr Moment now = 1794650403000;

std::vector<std::string> screen(const std::vector<std::string>& lines, const ScreenSize& size) {
    LiveHome home(now);
    for (const std::string& line : lines)
        home.add(parseLine(line));
    return home.look(now, [&](const HomeView& view) { return watchScreen(view, "the log", size); });
}

} // namespace

TEST(WatchScreen, tellsLinesThatWereCut) {
    EXPECT_THAT(
        screen({tick, begin, message, cut, nextTick}, {80, 24, false}),
        ElementsAre("poll 1 of 2.5 s, 0 s ago   q ends   the log",
                    "meter            power W     in kWh    out kWh     age  state     power",
                    "S-1               1500.5       1.00          -     3 s  good      █",
                    "  in/out kWh  T1 0.50/-", "", "Troubles, the last one first",
                    "1x  1 s ago  lines were cut", "    See whether the file system is full."));
}

TEST(WatchScreen, showsAMeterInARowOfEightyColumns) {
    EXPECT_THAT(
        screen({tick, begin, message, nextTick}, {80, 24, false}),
        ElementsAre("poll 1 of 2.5 s, 0 s ago   q ends   the log",
                    "meter            power W     in kWh    out kWh     age  state     power",
                    "S-1               1500.5       1.00          -     3 s  good      █",
                    "  in/out kWh  T1 0.50/-", "", "No trouble so far."));
}

TEST(WatchScreen, showsTroublesWithTheirRemedy) {
    const std::vector<std::string> lines =
        screen({tick, begin, failure, message, nextTick}, {80, 24, false});

    ASSERT_GE(lines.size(), 8U);
    EXPECT_EQ(lines[2], "S-1                    -       1.00          -     3 s  failing");
    EXPECT_EQ(lines[5], "Troubles, the last one first");
    EXPECT_EQ(lines[6], "1x  1 s ago  S-1: input 10 powerImport: Connection timed out");
    EXPECT_THAT(lines[7], testing::StartsWith("    Check wiring, slave address"));
}

TEST(WatchScreen, showsTroubleThatNoLineOfTheLogIs) {
    const std::vector<std::string> lines =
        screen({tick, begin, message, nextTick, "Assertion failed.  condition:x a.cpp:1  void f()"},
               {80, 24, false});

    EXPECT_THAT(lines, testing::Contains(testing::StartsWith("1x  0 s ago  Assertion failed.")));
}

TEST(WatchScreen, saysWhatTheLogLeavesOut) {
    std::string later = failure;
    later.replace(later.find("10:00"), 5, "10:05");

    const std::vector<std::string> lines = screen({failure, later}, {80, 24, false});

    EXPECT_THAT(lines, testing::Contains("VX_LOG=N would show polls, readings, gaps, and which "
                                         "meter a failure belongs to."));
}

TEST(WatchScreen, fitsIntoAnySize) {
    std::vector<std::string> lines = {tick};
    for (int i = 0; i < 50; ++i) {
        std::string text = message;
        text.replace(text.find(R"("slaveAddress":1)"), 16, "\"slaveAddress\":" + std::to_string(i));
        lines.push_back(text);
    }
    lines.emplace_back(failure);
    lines.emplace_back(nextTick);

    for (std::size_t width = 1; width < 100; ++width)
        for (const std::size_t height : {1U, 2U, 5U, 24U}) {
            const auto shown = screen(lines, {width, height, false});
            EXPECT_LE(shown.size(), height);
            for (const std::string& line : shown)
                EXPECT_LE(std::count_if(line.begin(), line.end(),
                                        [](char c) { return (c & 0xC0) != 0x80; }),
                          static_cast<std::ptrdiff_t>(width));
        }
}

TEST(WatchScreen, showsNothingThatMovesTheCursor) {
    EXPECT_EQ(inColumns("a\x1b[2Jb\n\x7f\xc2\x9b!", 12), "a?[2Jb?"
                                                         "??"
                                                         "!  ");
    EXPECT_EQ(inColumns("caf\xc3\xa9 \xff", 6), "café \xef\xbf\xbd");
    EXPECT_EQ(inColumns(std::string_view("\0", 1), 1), "?");
}

TEST(WatchScreen, countsColumnsAndNotCharacters) {
    EXPECT_EQ(inColumns("電力計", 6), "電力計");
    EXPECT_EQ(inColumns("電力計", 5), "電力 ");
    EXPECT_EQ(inColumns("e\xcc\x81t\xc3\xa9", 4), "e\xcc\x81t\xc3\xa9 ");
}

TEST(Sparkline, goesFromTheLowestToTheHighest) {
    EXPECT_EQ(sparkline({{0, 0}, {1, 700}, {2, 100}}, 10), "▁█▂");
    EXPECT_EQ(sparkline({{0, -700}, {1, 0}, {2, -300}}, 10), "▁█▅");
    EXPECT_EQ(sparkline({{0, 5}, {1, 0}, {2, 700}}, 2), "▁█");
    EXPECT_EQ(sparkline({}, 5), "");
}

TEST(WatchTest, showsTheHomeUntilQ) {
    const TemporaryDirectory directory;
    WatchProgram program(
        directory.write("log", std::string(tick) + "\n" + message + "\n" + nextTick + "\n"));

    program.await("S-1               ");
    program.type("q");

    program.await("\x1b[?25h\x1b[?1049l");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(program.hasItsTerminalBack());
}

TEST(WatchTest, leavesTheTerminalAtCtrlC) {
    const TemporaryDirectory directory;
    WatchProgram program(directory.write("log", ""));

    program.await("no poll yet");
    program.type("\x03");

    program.await("\x1b[?25h\x1b[?1049l");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(program.hasItsTerminalBack());
}

TEST(WatchTest, leavesTheTerminalAtCtrlBackslash) {
    const TemporaryDirectory directory;
    WatchProgram program(directory.write("log", ""));

    program.await("no poll yet");
    program.type("\x1c");

    program.await("\x1b[?25h\x1b[?1049l");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(program.hasItsTerminalBack());
}

TEST(WatchTest, givesTheTerminalBackWhileItIsStopped) {
    const TemporaryDirectory directory;
    WatchProgram program(directory.write("log", ""));
    program.await("no poll yet");

    program.signal(SIGTSTP);
    program.await("\x1b[?25h\x1b[?1049l");
    EXPECT_TRUE(program.waitUntilStopped());
    EXPECT_TRUE(program.hasItsTerminalBack());
    program.signal(SIGCONT);

    program.await("\x1b[?1049h\x1b[?25l");
    program.await("no poll yet");
    EXPECT_FALSE(program.hasItsTerminalBack());
    program.type("q");
    EXPECT_EQ(program.wait(), 0);
}

TEST(WatchTest, drawsAnewWhenTheTerminalBecomesNarrow) {
    const TemporaryDirectory directory;
    WatchProgram program(directory.write("log", ""));

    program.await("out kWh     age  state     power");
    program.resize(30, 10);

    program.await("\x1b[1;36mmeter            power W     i\x1b[0m");
}

TEST(WatchTest, needsATerminal) {
    const ProgramResult result = run({"watch", "--log", "/etc/../dev/null"});

    EXPECT_EQ(result.standardError, "modbus-inspector: standard output is no terminal\n");
    EXPECT_EQ(result.status, 2);
}
