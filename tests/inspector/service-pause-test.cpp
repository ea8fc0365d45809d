#include "meter-on-bus.h"

#include "house/patience.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

using namespace inspector;

namespace {

/// A meter, and a systemd of which no more is there than a command that notes what it is told.
class ServicePause : public MeterOnBus {
protected:
    void SetUp() override { answerBy("exit 0"); }

    /// What the command does with the verb as "$2", and the state of the service that it tells,
    /// with what is about to be done to it.
    void answerBy(const std::string& script, const std::string& state = "active",
                  const std::string& job = "") {
        const std::string command = files.write("systemctl", R"(#!/bin/sh
echo "$*" >>"$CALLS"
[ "$1" != show ] || { echo )" + state + R"(; exit; }
[ "$1" != list-jobs ] || { echo ")" + job + R"("; exit; }
)" + script + "\n");
        std::filesystem::permissions(command, std::filesystem::perms::owner_all);
    }

    Program start(std::vector<std::string> arguments) const {
        arguments.emplace_back("--stop-service");
        return Program(
            onBus(std::move(arguments)), "",
            {"CALLS=" + callsFile(), "PATH=" + files.path().string() + ":" + std::getenv("PATH")});
    }
    Program startReading(const std::string& polls) const {
        return start({"read", "--supported", map, "--slave", "7", "--polls", polls});
    }

    /// Each command that goes to the bus, with something to find there.
    std::vector<std::vector<std::string>> commands() const {
        return {{"read", "--supported", map, "--slave", "7"},
                {"scan", "--from", "7", "--to", "7"},
                {"solve", "1250 W", "--slave", "7", "--from", "10", "--to", "10"}};
    }

    std::string calls() const { return contentOf(callsFile()); }
    void forgetCalls() const { std::filesystem::remove(callsFile()); }

    std::string callsWith(const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + house::Patience::limit();
        while (calls().find(text) == std::string::npos &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        return calls();
    }

private:
    std::string callsFile() const { return files.path() / "calls"; }
};

constexpr const char* asked = "show --property=ActiveState --value modbus-reader.service\n";
constexpr const char* askedForJobs = "list-jobs --no-legend modbus-reader.service\n";
constexpr const char* stoppedAndStarted = "show --property=ActiveState --value "
                                          "modbus-reader.service\n"
                                          "--quiet stop modbus-reader.service\n"
                                          "--quiet start modbus-reader.service\n";

} // namespace

INSPECTOR_ON_BOTH_LINES(ServicePause);

TEST_P(ServicePause, stopsTheServiceForTheTimeOfEachCommandAndStartsItAgain) {
    for (const auto& command : commands()) {
        forgetCalls();

        EXPECT_EQ(start(command).wait().status, 0) << command[0];

        EXPECT_EQ(calls(), stoppedAndStarted) << command[0];
    }
}

TEST_P(ServicePause, startsTheServiceAgainAfterCtrlC) {
    meter().failAlways(house::Fault::silence);
    std::size_t requests = 0;
    for (auto command : commands()) {
        forgetCalls();
        command.insert(command.end(), {"--time-out", "300"});
        Program program = start(command);
        ASSERT_TRUE(bus().waitForRequests(requests + 1));

        program.signal(SIGINT);

        const ProgramResult result = program.wait();
        EXPECT_EQ(result.status, 1) << command[0];
        EXPECT_THAT(result.standardError,
                    testing::HasSubstr("\nIt ends with the question under way; another Ctrl-C ends "
                                       "it at once.\n"));
        EXPECT_EQ(calls(), stoppedAndStarted) << command[0];
        requests = bus().requestCount();
    }
}

TEST_P(ServicePause, tellsThatTheServiceCannotBeStartedAgain) {
    answerBy(R"([ "$2" != start ])");
    for (const auto& command : commands()) {
        const ProgramResult result = start(command).wait();

        EXPECT_THAT(
            result.standardError,
            testing::EndsWith("modbus-inspector: The service modbus-reader.service can't be "
                              "started again: see systemctl status "
                              "modbus-reader.service\n"));
        EXPECT_NE(result.standardOutput, "") << command[0];
        EXPECT_EQ(result.status, 1) << command[0];
    }
}

TEST_P(ServicePause, readsNothingIfNobodySaysWhetherTheServiceRuns) {
    // As systemctl does where it reaches no systemd.
    answerBy("exit 1", "");

    const ProgramResult result = startReading("1").wait();

    EXPECT_EQ(result.standardError, "modbus-inspector: systemctl does not say whether the service "
                                    "modbus-reader.service runs\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(bus().requestCount(), 0U);
    EXPECT_EQ(calls(), asked);
}

TEST_P(ServicePause, startsTheServiceAgainWhenTheInspectorIsKilled) {
    Program program = startReading("100000");
    ASSERT_TRUE(bus().waitForRequests(1));

    program.signal(SIGKILL);
    program.wait();

    EXPECT_EQ(callsWith("start modbus-reader"), stoppedAndStarted);
}

TEST_P(ServicePause, leavesAServiceAloneThatIsNotRunningOrNotThere) {
    // One that there isn't is inactive too.
    for (const char* state : {"inactive", "failed"}) {
        answerBy("exit 0", state);
        forgetCalls();

        EXPECT_EQ(startReading("1").wait().status, 0);

        EXPECT_EQ(calls(), asked);
    }
}

TEST_P(ServicePause, stopsAServiceThatWouldStartInBetween) {
    // Of one that waits for its restart after a failure, too.
    answerBy("exit 0", "activating");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), stoppedAndStarted);
}

TEST_P(ServicePause, waitsForTheEndOfAServiceThatSomebodyStopsAndLeavesItStopped) {
    answerBy("exit 0", "deactivating", "  815 modbus-reader.service stop running");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), std::string(asked) + askedForJobs + "--quiet stop modbus-reader.service\n");
}

TEST_P(ServicePause, leavesAServiceStoppedWhoseStopEndsBeforeItAsksForIt) {
    answerBy("exit 0",
             R"($([ $(grep -c show "$CALLS") = 1 ] && echo deactivating || echo inactive))");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), std::string(asked) + askedForJobs + asked);
}

TEST_P(ServicePause, startsAServiceThatEndsByItself) {
    // By its unit it would come back.
    answerBy("exit 0", "deactivating");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), std::string(asked) + askedForJobs + stoppedAndStarted);
}

TEST_P(ServicePause, startsAServiceThatSomebodyRestarts) {
    answerBy("exit 0", "deactivating", "  815 modbus-reader.service restart running");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), std::string(asked) + askedForJobs +
                           "--quiet stop modbus-reader.service\n"
                           "--quiet start modbus-reader.service\n");
}

TEST_P(ServicePause, readsNothingIfTheServiceCannotBeStopped) {
    answerBy(R"([ "$2" != stop ])");

    const ProgramResult result = startReading("1").wait();

    EXPECT_EQ(result.standardError,
              "modbus-inspector: The service modbus-reader.service can't be stopped\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(bus().requestCount(), 0U);
    EXPECT_EQ(calls(), stoppedAndStarted);
}
