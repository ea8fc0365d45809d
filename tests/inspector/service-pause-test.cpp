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

    /// What the command does with the verb as "$2".
    void answerBy(const std::string& script) {
        const std::string command = files.write("systemctl", R"(#!/bin/sh
echo "$*" >>"$CALLS"
)" + script + "\n");
        std::filesystem::permissions(command, std::filesystem::perms::owner_all);
    }

    Program startReading(const std::string& polls) const {
        return Program(
            onBus({"read", "--supported", map, "--slave", "7", "--polls", polls, "--stop-service"}),
            "",
            {"CALLS=" + callsFile(), "PATH=" + files.path().string() + ":" + std::getenv("PATH")});
    }

    std::string calls() const { return contentOf(callsFile()); }

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

constexpr const char* stoppedAndStarted = "--quiet is-active modbus-reader.service\n"
                                          "--quiet stop modbus-reader.service\n"
                                          "--quiet start modbus-reader.service\n";

} // namespace

INSPECTOR_ON_BOTH_LINES(ServicePause);

TEST_P(ServicePause, stopsTheServiceForTheTimeAndStartsItAgain) {
    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), stoppedAndStarted);
}

TEST_P(ServicePause, startsTheServiceAgainWhenTheInspectorIsKilled) {
    Program program = startReading("100000");
    ASSERT_TRUE(bus().waitForRequests(1));

    program.signal(SIGKILL);
    program.wait();

    EXPECT_EQ(callsWith("start modbus-reader"), stoppedAndStarted);
}

TEST_P(ServicePause, leavesAServiceAloneThatIsNotRunning) {
    answerBy("exit 3");

    EXPECT_EQ(startReading("1").wait().status, 0);

    EXPECT_EQ(calls(), "--quiet is-active modbus-reader.service\n");
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
