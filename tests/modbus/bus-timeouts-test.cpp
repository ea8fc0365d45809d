#include "modbus/bus-connection.h"

#include "house/patience.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

using house::Fault;
using testing::ElementsAre;

// When and to what a reconnect sets the time-outs of the bus.

namespace {

/// The time-outs given to the library so far; the other calls are forgotten.
std::vector<std::string> timeouts() {
    return of("timeout", recorded_bus::take());
}

} // namespace

TEST_F(TcpBus, timeoutsAreSetOnTheNewContextAfterItsConnect) {
    writeConfigFile(vx::str(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)",
                            slave.port(), R"(,"timeoutResponseSec":2}})"));

    reader.connection.doReconnect();

    // A response time-out set earlier would be the limit of the connect as well, and a dead gateway
    // would hold up the poll for longer than the library's own half second.
    EXPECT_THAT(recorded_bus::take(),
                ElementsAre("modbus_close", "modbus_free",
                            vx::str("modbus_new_tcp 127.0.0.1 ", slave.port()), "modbus_connect",
                            "modbus_set_response_timeout 2 0",
                            "modbus_set_indication_timeout 5 0"));
}

TEST_F(SerialBus, timeoutsAreSetOnTheNewContextAfterItsConnect) {
    reconnect(serialConfig());

    EXPECT_THAT(recorded_bus::take(),
                ElementsAre("modbus_close", "modbus_free",
                            "modbus_new_rtu /dev/ttymxc2 19200 E 1 1", "modbus_connect",
                            "modbus_set_response_timeout 5 0",
                            "modbus_set_indication_timeout 5 0"));
}

TEST_F(TcpBus, timeoutsOfZeroYieldFiveSeconds) {
    writeConfigFile(vx::str(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)",
                            slave.port(), R"(,"timeoutResponseSec":0}})"));

    reader.connection.doReconnect();

    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 5 0",
                                        "modbus_set_indication_timeout 5 0"));
}

TEST_F(TcpBus, timeoutsOfTheFileAreTakenInWholeSecondsAlsoWhenTheConnectFailed) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1,)"
                    R"("timeoutResponseSec":1,"timeoutIndicationSec":7}})");

    reader.connection.doReconnect();

    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 1 0",
                                        "modbus_set_indication_timeout 7 0"));
}

TEST_F(TcpBus, negativeTimeoutsReachTheLibraryAsTheyAre) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1,)"
                    R"("timeoutResponseSec":-1,"timeoutIndicationSec":-4}})");

    reader.connection.doReconnect();

    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 4294967295 0",
                                        "modbus_set_indication_timeout 4294967292 0"));
}

TEST_F(SerialBus, withoutAFileOrWithAnEmptyOneTimeoutsAreFiveSeconds) {
    reconnect(serialConfig());
    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 5 0",
                                        "modbus_set_indication_timeout 5 0"));
    writeConfigFile("{}");

    reconnect(serialConfig());

    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 5 0",
                                        "modbus_set_indication_timeout 5 0"));
}

TEST_F(SerialBus, timeoutsAreSetOnTheSerialLineTooAlsoWithoutAPort) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":2}})");
    reconnect(serialConfig());
    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 2 0",
                                        "modbus_set_indication_timeout 5 0"));
    std::filesystem::remove("/dev/ttymxc2");

    reconnect(serialConfig());

    EXPECT_THAT(timeouts(), ElementsAre("modbus_set_response_timeout 2 0",
                                        "modbus_set_indication_timeout 5 0"));
}

TEST_F(TcpBus, aResponseTimeoutOfOneMakesASilentMeterCostOneSecond) {
    slave.unit(7).failAlways(Fault::silence);
    useTcp(slave);
    reader.connection.doReconnect();
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_FALSE(canReadMeter(reader));

    const auto passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed, std::chrono::milliseconds(990));
    EXPECT_LT(passed, house::Patience::limit(std::chrono::milliseconds(4500)));
}
