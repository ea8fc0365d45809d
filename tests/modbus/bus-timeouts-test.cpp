#include "modbus/bus-connection.h"

#include "house/patience.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

using testing::ElementsAre;
using testing::SizeIs;

// When and to what a reconnect sets the time-outs of the bus.

TEST_F(TcpBus, timeoutsAreSetOnTheNewContextAfterItsConnect) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":2}})");

    reader.connection.doReconnect();

    // A response time-out set earlier would be the limit of the connect as well, and a dead gateway
    // would hold up the poll for longer than the library's own half second.
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- connect tcp 127.0.0.1:1502
-- response timeout 2 s 0 us
-- indication timeout 5 s 0 us
)");
}

TEST_F(SerialBus, timeoutsAreSetOnTheNewContextAfterItsConnect) {
    reconnect();

    EXPECT_EQ(transcript(), reconnection);
}

TEST_F(TcpBus, timeoutsOfZeroYieldFiveSeconds) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":0}})");

    reader.connection.doReconnect();

    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 5 s 0 us", "indication timeout 5 s 0 us"));
}

TEST_F(TcpBus, timeoutsOfTheFileAreTakenInWholeSecondsAlsoWhenTheConnectFailed) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1,)"
                    R"("timeoutResponseSec":1,"timeoutIndicationSec":7}})");

    reader.connection.doReconnect();

    EXPECT_THAT(log("Could not connect TCP"), SizeIs(1));
    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 1 s 0 us", "indication timeout 7 s 0 us"));
}

TEST_F(TcpBus, negativeTimeoutsReachTheLibraryAsTheyAre) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":-1,"timeoutIndicationSec":-4}})");

    reader.connection.doReconnect();

    EXPECT_THAT(calls("timeout"), ElementsAre("response timeout 4294967295 s 0 us",
                                              "indication timeout 4294967292 s 0 us"));
}

TEST_F(SerialBus, withoutAFileOrWithAnEmptyOneTimeoutsAreFiveSeconds) {
    reconnect();
    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 5 s 0 us", "indication timeout 5 s 0 us"));
    writeConfigFile("{}");

    reconnect();

    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 5 s 0 us", "indication timeout 5 s 0 us"));
}

TEST_F(SerialBus, timeoutsAreSetOnTheSerialLineTooAlsoWithoutAPort) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":2}})");
    reconnect();
    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 2 s 0 us", "indication timeout 5 s 0 us"));
    std::filesystem::remove("/dev/ttymxc2");

    reconnect();

    EXPECT_THAT(log("Could not connect serial"), SizeIs(1));
    EXPECT_THAT(complaints(), SizeIs(1)); // that RS-485 could not be set
    EXPECT_THAT(calls("timeout"),
                ElementsAre("response timeout 2 s 0 us", "indication timeout 5 s 0 us"));
}

TEST_F(TcpBus, aResponseTimeoutOfOneMakesASilentMeterCostOneSecond) {
    bus->unit(7).failAlways(house::Fault::silence);
    reader.connection.doReconnect();
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_FALSE(canReadMeter());

    const auto passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed, std::chrono::milliseconds(990));
    EXPECT_LT(passed, house::Patience::limit(std::chrono::milliseconds(4500)));
    EXPECT_THAT(complaints(), ElementsAre(unreadable("Connection timed out")));
}
