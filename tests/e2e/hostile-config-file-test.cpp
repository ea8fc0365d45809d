// A configuration file at which the reader stands still.

#include "e2e/hostile-bus.h"
#include "support/lines.h"

#include "house/descriptor.h"
#include "house/patience.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

using house::Fault;
using testing::ElementsAre;

namespace {

constexpr const char* configFile = "/etc/modbus-config.json";

} // namespace

#if LONG_MAX > INT_MAX

TEST_F(HostileTcp, aNegativeTimeOutWaitsForAnAnswerHoweverLongItTakes) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":-1}})");
    // Longer than the five seconds without that setting.
    bus->unit(8).failNext(11, Fault::late(std::chrono::milliseconds(5500)));

    EXPECT_EQ(pollsUpTo(2), goodPoll);
}

#else

// Seconds have 32 bits there, and stay negative.
TEST_F(HostileTcp, aNegativeTimeOutFailsEachReadAtOnceOn32Bits) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":-1}})");

    EXPECT_EQ(pollsUpTo(2), R"(poll
  register 10: Invalid argument
  register 11: Invalid argument
  register 10: Invalid argument
  register 11: Invalid argument
  S-7 0 W, 0 kWh
  S-8 0 W, 0 kWh
)");
}

#endif

// What is written can't be read then, as a pipe has no length.
TEST_F(HostileTcp, aConfigurationFileThatIsAPipeHoldsTheReaderUntilSomebodyWritesAndLeavesNoBus) {
    std::filesystem::remove(configFile);
    ASSERT_EQ(mkfifo(configFile, 0600), 0);
    start();
    waitForLog("Load configuration");
    const std::string untilThen = transcript();
    // Opens when the reader has.
    auto opening = std::async(std::launch::async, [] { return std::ofstream(configFile); });
    EXPECT_EQ(opening.wait_for(house::Patience::limit()), std::future_status::ready);
    // So that nothing here waits for a reader, or fails for want of one.
    const house::Descriptor otherEnd(::open(configFile, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    std::ofstream pipe = opening.get();

    pipe << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502}})";
    pipe.close();
    const std::vector<std::string> lines = logUntil("Could not read register");
    end();

    EXPECT_EQ(bus->requestCount(), 0);
    EXPECT_EQ(untilThen, "?? GET …/rtuconfig                200\n-- reconnect\n");
    EXPECT_THAT(linesWith(lines, "warning"),
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to read file "
                            "filename:/etc/modbus-config.json e:basic_ios::clear: iostream error "
                            "vx/system.cpp:<line> toolkit.cpp:<line>"));
}

TEST_F(HostileTcp, aReaderThatWaitsForAPipeIsEndedByATermination) {
    std::filesystem::remove(configFile);
    ASSERT_EQ(mkfifo(configFile, 0600), 0);
    start();
    waitForLog("Load configuration");

    reader->signal(SIGTERM);

    EXPECT_EQ(WTERMSIG(reader->waitForExit()), SIGTERM);
}
