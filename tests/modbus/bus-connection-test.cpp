#include "modbus/reader-world.h"
#include "support/descriptors.h"
#include "support/log-capture.h"
#include "support/recorded-bus.h"
#include "support/recorded-ioctl.h"
#include "support/recorded-timeouts.h"

#include "house/pty-pair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using house::Fault;
using testing::ElementsAre;
using testing::IsEmpty;
using vxModel::BaudRateType;
using vxModel::DataBits;
using vxModel::ElectricityMeterConfig;
using vxModel::ModbusRegister;
using vxModel::Parity;
using vxModel::SerialPortConfig;
using vxModel::StopBits;

namespace {

SerialPortConfig serialConfig() {
    return {"/dev/any", BaudRateType::baud19200, Parity::even, DataBits::bits8, StopBits::bits1};
}

/// How many sockets of this process are connected to a TCP port.
std::size_t connectionsTo(std::uint16_t port) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        const int fd = std::stoi(entry.path().filename());
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port)
            ++count;
    }
    return count;
}

/// Settings of a serial line as the kernel has them.
termios settingsOf(const std::string& device) {
    termios settings{};
    const int fd = open(device.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_EQ(tcgetattr(fd, &settings), 0);
    close(fd);
    return settings;
}

/// A meter at address 7 whose one register holds 5.
void liveOn(house::ModbusSlave& slave) {
    slave.unit(7).holding(10, {5});
}

bool canReadMeter(Reader& reader) {
    ElectricityMeterConfig config;
    config.registers = {ModbusRegister{.address = 10,
                                       .fieldType = vxModel::ModbusFieldType::powerImport,
                                       .modbusDataType = vxModel::ModbusDataType::uint16,
                                       .length = 1}};
    reader.connection.m_readings.clear();
    reader.connection.readMeter(7, config);
    return reader.connection.m_readings.at(7).powerConsumed == 5.0;
}

std::vector<std::string> of(const std::string& text, const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            result.push_back(line);
    return result;
}

/// A serial line whose one end is the reader's port.
class SerialBus : public testing::Test {
protected:
    SerialBus() { line.linkMasterEnd("/dev/ttymxc2"); }

    void reconnect(const SerialPortConfig& config) {
        reader.connection.m_config = config;
        reader.connection.doReconnect();
    }

    /// Descriptors that the reader holds of its port, now or when the port was set up last.
    std::size_t descriptors() const { return openDescriptorsOf(line.masterEnd()) - m_ofTheLine; }
    std::size_t descriptorsAtTheLastSetUp() const {
        return recorded_ioctl::rs485Calls().back().descriptors - m_ofTheLine;
    }

    LogCapture log{LogCapture::Mode::lenient};
    house::PtyPair line;
    Reader reader;

private:
    /// The pair of terminals keeps its own ends open.
    std::size_t m_ofTheLine = openDescriptorsOf(line.masterEnd());
};

class TcpBus : public testing::Test {
protected:
    TcpBus() {
        // The slave made a context of its own.
        recorded_bus::take();
    }

    LogCapture log{LogCapture::Mode::lenient};
    house::ModbusSlave slave{house::TcpPort{}};
    Reader reader;
};

} // namespace

TEST_F(SerialBus, logsEachNameAndTheResultAheadOfTheConnection) {
    reconnect({"/dev/any", BaudRateType::baud57600, Parity::odd, DataBits::bits7, StopBits::bits2});

    EXPECT_THAT(
        log.take(),
        ElementsAre(
            R"(notice modbusSerial doReconnect m_config:{"serialDevice":/dev/any,)"
            R"("baudRate":baud57600,"parity":odd,"dataBits":bits7,"stopBits":bits2} )"
            R"(toolkit.cpp:<line>)",
            "notice orvMODBUSConfigFile Load configuration "
            "filePath.string():/etc/modbus-config.json modbus/config-file.cpp:<line>",
            "notice orvMODBUSConfigFile File not found. Load default configuration. "
            "modbus/config-file.cpp:<line>",
            R"(notice modbusSerial vx::str("", m_config.baudRate):baud57600 toolkit.cpp:<line>)",
            R"(notice modbusSerial vx::str("", m_config.stopBits):bits2 toolkit.cpp:<line>)",
            R"(notice modbusSerial vx::str("", m_config.dataBits):bits7 toolkit.cpp:<line>)",
            R"(notice modbusSerial vx::str("", m_config.parity):odd toolkit.cpp:<line>)",
            "notice modbusSerial Modbus serial device connecting serialDevice:/dev/ttymxc2 "
            "baud:57600 parity:O dataBits:7 stopBits:2 toolkit.cpp:<line>",
            "error modbusSerial RS485 could not be configured serialDevice:/dev/ttymxc2 "
            "toolkit.cpp:<line>"));
}

TEST_F(SerialBus, dataBits7WithStopBits2YieldsEightDataBitsAndTwoStopBits) {
    reconnect({"/dev/any", BaudRateType::baud9600, Parity::none, DataBits::bits7, StopBits::bits2});

    // A pseudo terminal has eight data bits whatever it is told, and no parity, so the call itself
    // is looked at. The library takes 2 data bits for eight.
    EXPECT_THAT(recorded_bus::take(), ElementsAre("modbus_new_rtu /dev/ttymxc2 9600 N 2 2"));
    const termios settings = settingsOf(line.masterEnd());
    EXPECT_NE(settings.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialBus, dataBits7WithStopBits1YieldsEightDataBitsAndOneStopBit) {
    reconnect({"/dev/any", BaudRateType::baud9600, Parity::none, DataBits::bits7, StopBits::bits1});

    EXPECT_THAT(recorded_bus::take(), ElementsAre("modbus_new_rtu /dev/ttymxc2 9600 N 1 1"));
}

TEST_F(SerialBus, theLibraryGetsTheParitysFirstLetterAsACapital) {
    const std::vector<std::pair<Parity, std::string>> calls = {
        {Parity::uninitilzed, "modbus_new_rtu /dev/ttymxc2 19200 U 1 1"},
        {Parity::none, "modbus_new_rtu /dev/ttymxc2 19200 N 1 1"},
        {Parity::even, "modbus_new_rtu /dev/ttymxc2 19200 E 1 1"},
        {Parity::odd, "modbus_new_rtu /dev/ttymxc2 19200 O 1 1"}};
    for (const auto& [parity, call] : calls) {
        SerialPortConfig config = serialConfig();
        config.parity = parity;

        reconnect(config);

        EXPECT_THAT(recorded_bus::take(), ElementsAre(call));
    }
}

TEST_F(SerialBus, theServersDeviceNameOpensNothing) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    SerialPortConfig config = serialConfig();

    for (const char* name : {"/dev/a", "/dev/b"}) {
        config.serialDevice = name;
        reconnect(config);

        EXPECT_THAT(of("connecting", log.take()),
                    ElementsAre("notice modbusSerial Modbus serial device connecting "
                                "serialDevice:/dev/ttymxc2 baud:19200 parity:E dataBits:8 "
                                "stopBits:1 toolkit.cpp:<line>"));
        EXPECT_TRUE(canReadMeter(reader));
    }
    EXPECT_EQ(recorded_ioctl::rs485Calls().size(), 2);
}

TEST_F(SerialBus, baudRateAndStopBitsComeFromTheirNames) {
    const std::vector<std::pair<BaudRateType, speed_t>> speeds = {
        {BaudRateType::baud9600, B9600},
        {BaudRateType::baud19200, B19200},
        {BaudRateType::baud38400, B38400},
        {BaudRateType::baud57600, B57600},
        {BaudRateType::baud115200, B115200}};
    for (const auto& [baudRate, speed] : speeds) {
        SerialPortConfig config = serialConfig();
        config.baudRate = baudRate;
        reconnect(config);
        const termios settings = settingsOf(line.masterEnd());
        EXPECT_EQ(cfgetospeed(&settings), speed);
        EXPECT_EQ(settings.c_cflag & CSTOPB, 0U);
    }
}

TEST_F(SerialBus, rs485IsSetUpWithRtsOnSendAndNoDelays) {
    recorded_ioctl::letRs485Succeed();

    reconnect(serialConfig());

    ASSERT_EQ(recorded_ioctl::rs485Calls().size(), 1);
    EXPECT_EQ(recorded_ioctl::rs485Calls().front().accessMode, O_RDWR);
    const serial_rs485& conf = recorded_ioctl::rs485Calls().front().conf;
    EXPECT_EQ(conf.flags, 3U);
    EXPECT_EQ(conf.delay_rts_before_send, 0U);
    EXPECT_EQ(conf.delay_rts_after_send, 0U);
    EXPECT_THAT(of("RS485", log.take()), IsEmpty());
}

TEST_F(SerialBus, rs485IsSetUpAfterTheOldConnectionIsClosedAndBeforeTheNewOneIsOpened) {
    reconnect(serialConfig());
    EXPECT_EQ(descriptorsAtTheLastSetUp(), 1);

    reconnect(serialConfig());

    // The one that stays of the first setting up and the one that is being set up.
    EXPECT_EQ(descriptorsAtTheLastSetUp(), 2);
}

TEST_F(SerialBus, theRs485DescriptorStaysOpenAndEachReconnectAddsOne) {
    recorded_ioctl::letRs485Succeed();

    for (std::size_t reconnects = 1; reconnects <= 3; ++reconnects) {
        reconnect(serialConfig());
        // Beside the library's own one.
        EXPECT_EQ(descriptors(), reconnects + 1);
    }
}

TEST_F(SerialBus, theRs485DescriptorStaysOpenAlsoWhenTheSettingFails) {
    reconnect(serialConfig());

    EXPECT_EQ(recorded_ioctl::rs485Calls().size(), 1);
    EXPECT_EQ(descriptors(), 2);
}

TEST_F(SerialBus, aFailedRs485SettingIsAnErrorAndTheConnectionIsMadeAllTheSame) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);

    reconnect(serialConfig());

    EXPECT_THAT(of("RS485", log.take()),
                ElementsAre("error modbusSerial RS485 could not be configured "
                            "serialDevice:/dev/ttymxc2 toolkit.cpp:<line>"));
    EXPECT_TRUE(canReadMeter(reader));
}

TEST_F(SerialBus, aMissingPortCostsAnErrorAndAWarning) {
    std::filesystem::remove("/dev/ttymxc2");

    reconnect(serialConfig());

    const auto lines = log.take();
    EXPECT_THAT(of("RS485", lines), ElementsAre("error modbusSerial RS485 could not be configured "
                                                "serialDevice:/dev/ttymxc2 toolkit.cpp:<line>"));
    EXPECT_EQ(lines.back(), "warning modbusSerial Could not connect serial "
                            "strerror((*__errno_location ())):No such file or directory "
                            "toolkit.cpp:<line>");
}

TEST_F(SerialBus, anUnsetParityIsRefusedByTheLibraryAndReadsFail) {
    SerialPortConfig config = serialConfig();
    config.parity = Parity::uninitilzed;

    reconnect(config);

    EXPECT_THAT(of("Could not connect", log.take()),
                ElementsAre("warning modbusSerial Could not connect serial "
                            "strerror((*__errno_location ())):Invalid argument "
                            "toolkit.cpp:<line>"));
    EXPECT_FALSE(canReadMeter(reader));
}

TEST_F(SerialBus, baudRateNoneLeavesARunningConnectionAloneWithoutAWord) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());
    const auto before = descriptors();
    log.take();

    SerialPortConfig noBaudRate = serialConfig();
    noBaudRate.baudRate = BaudRateType::none;
    SerialPortConfig noDataBits = serialConfig();
    noDataBits.dataBits = DataBits::none;
    SerialPortConfig noStopBits = serialConfig();
    noStopBits.stopBits = StopBits::none;
    for (const SerialPortConfig& incomplete : {noBaudRate, noDataBits, noStopBits})
        reconnect(incomplete);

    const auto lines = log.take();
    EXPECT_EQ(lines.size(), 9); // "doReconnect" and the two lines of the file, each time
    EXPECT_THAT(of("modbusSerial", lines), testing::SizeIs(3));
    EXPECT_EQ(descriptors(), before);
    EXPECT_TRUE(canReadMeter(reader));
}

TEST_F(SerialBus, theSameReadGoesOverTheSerialLine) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());

    EXPECT_TRUE(canReadMeter(reader));

    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(TcpBus, theFilesServerIsConnectedAndTheSerialSideIsLeftAlone) {
    const house::PtyPair line;
    line.linkMasterEnd("/dev/ttymxc2");
    const auto descriptors = openDescriptorsOf(line.masterEnd());
    liveOn(slave);
    useTcp(slave);

    reader.connection.doReconnect();

    EXPECT_THAT(recorded_ioctl::rs485Calls(), IsEmpty());
    EXPECT_EQ(openDescriptorsOf(line.masterEnd()), descriptors);
    EXPECT_THAT(
        of("modbusSerial", log.take()),
        ElementsAre("notice modbusSerial doReconnect m_config:{} toolkit.cpp:<line>",
                    vx::str(R"(notice modbusSerial Connecting TCP config:{)"
                            R"("modbusMiscConfig":{"modbusTCPServer":127.0.0.1,"port":)",
                            slave.port(), R"(,"timeoutResponseSec":1}} toolkit.cpp:<line>)")));
    EXPECT_TRUE(canReadMeter(reader));
}

TEST_F(TcpBus, aRefusedConnectionIsAWarningAndReadsFail) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1}})");

    reader.connection.doReconnect();

    EXPECT_EQ(log.take().back(), "warning modbusSerial Could not connect TCP "
                                 "strerror((*__errno_location ())):Connection refused "
                                 "toolkit.cpp:<line>");
    EXPECT_FALSE(canReadMeter(reader));
}

TEST_F(TcpBus, aHostWithoutAPortMeansPortZero) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1"}})");

    reader.connection.doReconnect();

    EXPECT_THAT(recorded_bus::take(), ElementsAre("modbus_new_tcp 127.0.0.1 0"));
}

TEST_F(TcpBus, hostAndPortReachTheLibraryUnchecked) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"meter-gateway","port":-70000}})");

    reader.connection.doReconnect();

    EXPECT_THAT(recorded_bus::take(), ElementsAre("modbus_new_tcp meter-gateway -70000"));
}

TEST_F(TcpBus, aReconnectClosesTheOldConnection) {
    useTcp(slave);
    reader.connection.doReconnect();
    EXPECT_EQ(connectionsTo(slave.port()), 1);
    house::ModbusSlave other{house::TcpPort{}};
    liveOn(other);
    useTcp(other);

    reader.connection.doReconnect();

    EXPECT_EQ(connectionsTo(slave.port()), 0);
    EXPECT_TRUE(canReadMeter(reader));
    EXPECT_EQ(slave.transcript(), "");
    EXPECT_EQ(other.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(TcpBus, aDroppedConnectionStaysFailed) {
    liveOn(slave);
    useTcp(slave);
    reader.connection.doReconnect();
    EXPECT_TRUE(canReadMeter(reader));

    slave.dropConnections();

    EXPECT_FALSE(canReadMeter(reader));
    EXPECT_FALSE(canReadMeter(reader));
}

TEST_F(TcpBus, aBrokenFileLeavesTheOldConnectionUntouched) {
    liveOn(slave);
    useTcp(slave);
    reader.connection.doReconnect();
    writeConfigFile("{broken");

    EXPECT_THROW(reader.connection.doReconnect(), vx::Exception);

    EXPECT_TRUE(canReadMeter(reader));
}

TEST_F(TcpBus, readIntervalOfTheFileShowsInTheLogButThePauseStays) {
    writeConfigFile(vx::str(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)",
                            slave.port(), R"(,"readIntervalUSec":1000}})"));

    reader.connection.doReconnect();

    EXPECT_THAT(of("Connecting TCP", log.take()),
                ElementsAre(testing::HasSubstr(R"("readIntervalUSec":1000)")));
    EXPECT_EQ(reader.connection.m_readIntervalUSec, 20000);
}

using Timeouts = std::vector<recorded_timeouts::Call>;

TEST_F(TcpBus, timeoutsOfZeroYieldFiveSeconds) {
    writeConfigFile(vx::str(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)",
                            slave.port(), R"(,"timeoutResponseSec":0}})"));

    reader.connection.doReconnect();

    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 5, 0}, {"indication", 5, 0}}));
}

TEST_F(TcpBus, timeoutsOfTheFileAreTakenInWholeSecondsAlsoWhenTheConnectFailed) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1,)"
                    R"("timeoutResponseSec":1,"timeoutIndicationSec":7}})");

    reader.connection.doReconnect();

    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 1, 0}, {"indication", 7, 0}}));
}

TEST_F(TcpBus, negativeTimeoutsReachTheLibraryAsTheyAre) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1,)"
                    R"("timeoutResponseSec":-1,"timeoutIndicationSec":-4}})");

    reader.connection.doReconnect();

    EXPECT_EQ(recorded_timeouts::take(),
              (Timeouts{{"response", 4294967295U, 0}, {"indication", 4294967292U, 0}}));
}

TEST_F(SerialBus, withoutAFileOrWithAnEmptyOneTimeoutsAreFiveSeconds) {
    reconnect(serialConfig());
    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 5, 0}, {"indication", 5, 0}}));
    writeConfigFile("{}");

    reconnect(serialConfig());

    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 5, 0}, {"indication", 5, 0}}));
}

TEST_F(SerialBus, timeoutsAreSetOnTheSerialLineTooAlsoWithoutAPort) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":2}})");
    reconnect(serialConfig());
    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 2, 0}, {"indication", 5, 0}}));
    std::filesystem::remove("/dev/ttymxc2");

    reconnect(serialConfig());

    EXPECT_EQ(recorded_timeouts::take(), (Timeouts{{"response", 2, 0}, {"indication", 5, 0}}));
}

TEST_F(TcpBus, aResponseTimeoutOfOneMakesASilentMeterCostOneSecond) {
    slave.unit(7).failAlways(Fault::silence);
    useTcp(slave);
    reader.connection.doReconnect();
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_FALSE(canReadMeter(reader));

    const auto passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed, std::chrono::milliseconds(990));
    EXPECT_LT(passed, std::chrono::milliseconds(4500));
}
