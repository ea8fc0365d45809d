#include "e2e/process-world.h"
#include "support/lines.h"

#include "house/patience.h"
#include "vx/date-time.h"
#include "vx/str.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <regex>
#include <sys/wait.h>

using house::Answer;
using testing::ElementsAre;

namespace {

using StartUp = ProcessWorld;

/// Seconds from the epoch to the moment of a log line.
double momentOf(const std::string& line) {
    static const std::regex moment(R"(^\[([-\dT:.]{23})([-+])(\d\d):(\d\d)\])");
    std::smatch match;
    if (!std::regex_search(line, match, moment)) {
        ADD_FAILURE() << "No moment: " << line;
        return 0;
    }
    const std::chrono::duration<double> local =
        vx::toDateTime(match.str(1) + "Z").time_since_epoch();
    const double offset = std::stod(match[3]) * 3600 + std::stod(match[4]) * 60;
    return local.count() - (match[2] == "-" ? -offset : offset);
}

double expiryOf(const std::string& line) {
    static const std::regex expiry(R"(m_timer\.expiry\(\):([-+.e\d]+) )");
    std::smatch match;
    EXPECT_TRUE(std::regex_search(line, match, expiry)) << line;
    return std::stod(match[1]);
}

/// How far apart two expiries may look, of which the log shows six digits: they count from the
/// start of the machine.
double roundingOf(double expiry) {
    return 1.1 * std::pow(10.0, std::floor(std::log10(expiry)) - 5.0);
}

/// The limit of @p seconds, as long as this processor needs.
double scaled(double seconds) {
    const auto limit = std::chrono::milliseconds(std::lround(seconds * 1000));
    return std::chrono::duration<double>(house::Patience::limit(limit)).count();
}

std::ptrdiff_t entriesOf(const std::filesystem::path& directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

} // namespace

TEST_F(StartUp, firstPollRunsBeforeTheTimerAndOnlyWarnsWhileTheLocalServerIsDown) {
    closeServer();
    start();

    const auto lines = logUntil("callback");

    const std::string failed = "error HttpClient Request failed: GET "
                               "http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/";
    const std::string refused = ", Reason: Failed to connect to 127.0.0.1 port 8088 after <ms> ms: "
                                "Couldn't connect to server";
    const std::string warning =
        "warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
    EXPECT_THAT(
        lines,
        ElementsAre(
            "notice modbusreaderMain Starting modbus Reader main.cpp:<line>",
            "notice modbusreaderMain ------------------------------------------------------------ "
            "main.cpp:<line>",
            failed + "rtuconfig" + refused, warning, failed + "attached" + refused,
            "notice modbusSerial Attached Meters result: toolkit.cpp:<line>", warning,
            failed + "config/supported" + refused, warning,
            "notice modbusreaderMain retry timer m_timer.expiry():<seconds> error_code:Success "
            "main.cpp:<line>"));
    end();
}

TEST_F(StartUp, eachLogLineHasTimeThreadSeverityChannelMessageAndPosition) {
    start();

    waitForLog("Starting modbus Reader");

    EXPECT_THAT(reader->rawLog().front(),
                testing::MatchesRegex("\\[[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\."
                                      "[0-9]{3}[+-][0-9]{2}:[0-9]{2}\\] [ 0-9]{4}[0-9] NOTIC "
                                      "modbusreaderMain Starting modbus Reader main\\.cpp:[0-9]+"));
}

TEST_F(StartUp, firstTickComesTwoIntervalsAfterTheFirstPoll) {
    start();

    waitForLog("retry timer");

    const auto lines = reader->rawLog();
    const double passed =
        momentOf(linesWith(lines, "retry timer").front()) - momentOf(lines.front());
    // One second of sleep ends the poll, and two intervals follow.
    EXPECT_GE(passed, 2.99);
    EXPECT_LT(passed, scaled(3.9));
}

TEST_F(StartUp, pollsFollowOneAnotherWhileTheExpiryLagsBehindTheClock) {
    // A server that answers late makes each poll longer than the timer's second.
    server->answerAlways(LocalServer::attachedPath, Answer::late(std::chrono::milliseconds(700)));
    start();

    waitForLog("retry timer", 4);

    const auto ticks = linesWith(reader->rawLog(), "retry timer");
    for (std::size_t i = 1; i < 4; ++i) {
        // Each expiry is one interval after the one before.
        EXPECT_NEAR(expiryOf(ticks[i]) - expiryOf(ticks[i - 1]), 1.0,
                    roundingOf(expiryOf(ticks[i])));
        EXPECT_GE(momentOf(ticks[i]) - momentOf(ticks[i - 1]), 1.69);
    }
    const double lagOfFirst = momentOf(ticks[0]) - expiryOf(ticks[0]);
    const double lagOfLast = momentOf(ticks[3]) - expiryOf(ticks[3]);
    EXPECT_GT(lagOfLast, lagOfFirst + 2.0 - roundingOf(expiryOf(ticks[3])));
}

TEST_F(StartUp, afterALongPollTheNextTickComesAtOnce) {
    server->answerNext(LocalServer::attachedPath, Answer());
    server->answerNext(LocalServer::attachedPath, Answer::late(std::chrono::seconds(3)));
    start();

    waitForLog("retry timer", 4);

    // The second poll alone took four seconds, so the ticks that fell due meanwhile follow with
    // only the polls' own second between them; none is lost.
    const auto ticks = linesWith(reader->rawLog(), "retry timer");
    EXPECT_GE(momentOf(ticks[1]) - momentOf(ticks[0]), 3.99);
    EXPECT_LT(momentOf(ticks[2]) - momentOf(ticks[1]), scaled(1.9));
    EXPECT_NEAR(expiryOf(ticks[3]) - expiryOf(ticks[0]), 3.0, roundingOf(expiryOf(ticks[3])));
}

TEST_F(StartUp, argumentsAreNotRead) {
    start({}, {"--help", "/nowhere"});

    EXPECT_EQ(transcriptUntil("retry timer"), firstPoll);

    EXPECT_TRUE(reader->running());
    EXPECT_THAT(reader->rawLog().front(), testing::HasSubstr("Starting modbus Reader"));
}

TEST_F(StartUp, withItsStandardDescriptorsClosedNothingElseTakesTheirPlaces) {
    start({}, {}, {"/bin/sh", "-c", "exec \"$0\" <&- >&- 2>&-"});

    ASSERT_TRUE(server->waitForRequests(LocalServer::supportedPath, 2));

    // Not the bus, which would be sent the log.
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
        EXPECT_EQ(
            std::filesystem::read_symlink(vx::str("/proc/", reader->pid(), "/fd/", descriptor)),
            "/dev/null")
            << descriptor;
}

TEST_F(StartUp, descriptorsEndWhereTheSetsOfSelectDo) {
    start({}, {}, {"/bin/sh", "-c", "ulimit -n 2048 && exec \"$0\""});

    waitForLog("Starting modbus Reader");

    const std::string limits = contentOf(vx::str("/proc/", reader->pid(), "/limits"));
    EXPECT_THAT(limits, testing::ContainsRegex("Max open files +1024 +2048 +files"));
}

TEST_F(StartUp, fewerDescriptorsThanThoseStayAsFew) {
    start({}, {}, {"/bin/sh", "-c", "ulimit -S -n 512 && exec \"$0\""});

    waitForLog("Starting modbus Reader");

    const std::string limits = contentOf(vx::str("/proc/", reader->pid(), "/limits"));
    EXPECT_THAT(limits, testing::ContainsRegex("Max open files +512 "));
}

TEST_F(StartUp, aLimitThatTheKernelDoesNotTellIsLeftAsItIs) {
    start({}, {},
          {"/bin/sh", "-c",
           "ulimit -n 2048 && LD_PRELOAD=" MISBEHAVING_LIBRARY " MISBEHAVE='tell no limit' "
           "ASAN_OPTIONS=verify_asan_link_order=0 exec \"$0\""});

    waitForLog("Starting modbus Reader");

    const std::string limits = contentOf(vx::str("/proc/", reader->pid(), "/limits"));
    EXPECT_THAT(limits, testing::ContainsRegex("Max open files +2048 +2048 +files"));
}

TEST_F(StartUp, aProxyOfTheEnvironmentIsNotAskedForTheLocalServer) {
    serveAttached(R"({"data":[]})");
    for (const std::string variable : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        // The exceptions from a proxy usually hold this machine.
        start({variable + "=http://127.0.0.1:1", "no_proxy=", "NO_PROXY="});

        EXPECT_EQ(transcriptUntil("Cycling meters"), R"(?? GET …/rtuconfig                200
-- reconnect
?? GET …/attached                 200
?? GET …/config/supported         200
)") << variable;
        end();
    }
}

TEST_F(StartUp, aProxyForHttpsIsNotAskedWhereTheLocalServerRedirectsThere) {
    Answer moved = Answer::withStatus(302, "");
    moved.headers["Location"] = "https://127.0.0.1:2/";
    server->answerAlways(LocalServer::attachedPath, moved);
    for (const std::string variable : {"https_proxy", "HTTPS_PROXY"}) {
        start({variable + "=http://127.0.0.1:1", "no_proxy=", "NO_PROXY="});

        EXPECT_EQ(transcriptUntil("Cycling meters"), R"(?? GET …/rtuconfig                200
-- reconnect
?? GET …/attached                 302
!! error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/attached, Reason: Failed to connect to 127.0.0.1 port 2 after <ms> ms: Couldn't connect to server
!! warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>
?? GET …/config/supported         200
)") << variable;
        end();
    }
}

TEST_F(StartUp, terminationSignalEndsTheProcessWithoutAWord) {
    start();
    const std::string lastLineOfPoll = "modbusreaderSocketWriter Connect";
    logUntil(lastLineOfPoll);

    reader->signal(SIGTERM);
    const int status = reader->waitForExit();

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_THAT(log(), ElementsAre(testing::HasSubstr(lastLineOfPoll)));
}

TEST_F(StartUp, noFileTellsTheProcessId) {
    closeService();
    ASSERT_EQ(entriesOf("/run"), 0);
    start();

    waitForLog("callback");

    EXPECT_EQ(entriesOf("/run"), 0);
    end();
}
