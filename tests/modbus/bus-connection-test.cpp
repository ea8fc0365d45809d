#include "modbus/bus-connection.h"
#include "vx/enum.h"
#include "vx/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using vxModel::BaudRateType;
using vxModel::DataBits;
using vxModel::Parity;
using vxModel::SerialPortConfig;
using vxModel::StopBits;

namespace {

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

/// The warning of the meter's register.
std::string unreadable(const std::string& reason) {
    return "warning modbusSerial Could not read register strerror((*__errno_location ())):" +
           reason +
           R"( aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,)"
           R"("length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>)";
}

} // namespace

TEST_F(SerialBus, logsEachNameAndTheResultBeforeTheConnection) {
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
    EXPECT_THAT(of("modbus_new", recorded_bus::take()),
                ElementsAre("modbus_new_rtu /dev/ttymxc2 9600 N 2 2"));
    const termios settings = settingsOf(line.masterEnd());
    EXPECT_NE(settings.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialBus, dataBits7WithStopBits1YieldsEightDataBitsAndOneStopBit) {
    reconnect({"/dev/any", BaudRateType::baud9600, Parity::none, DataBits::bits7, StopBits::bits1});

    EXPECT_THAT(of("modbus_new", recorded_bus::take()),
                ElementsAre("modbus_new_rtu /dev/ttymxc2 9600 N 1 1"));
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

        EXPECT_THAT(of("modbus_new", recorded_bus::take()), ElementsAre(call));
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

TEST_F(SerialBus, aMissingPortCostsAnErrorAndAWarningAndReadsFailOnTheClosedContext) {
    std::filesystem::remove("/dev/ttymxc2");

    reconnect(serialConfig());

    const auto lines = log.take();
    EXPECT_THAT(of("RS485", lines), ElementsAre("error modbusSerial RS485 could not be configured "
                                                "serialDevice:/dev/ttymxc2 toolkit.cpp:<line>"));
    EXPECT_EQ(lines.back(), "warning modbusSerial Could not connect serial "
                            "strerror((*__errno_location ())):No such file or directory "
                            "toolkit.cpp:<line>");
    EXPECT_FALSE(canReadMeter(reader));
    EXPECT_THAT(log.take(), Contains(unreadable("Bad file descriptor")));
}

TEST_F(SerialBus, anUnsetParityIsRefusedByTheLibraryAndReadsFailForWantOfAContext) {
    SerialPortConfig config = serialConfig();
    config.parity = Parity::uninitilzed;

    reconnect(config);

    EXPECT_THAT(of("Could not connect", log.take()),
                ElementsAre("warning modbusSerial Could not connect serial "
                            "strerror((*__errno_location ())):Invalid argument "
                            "toolkit.cpp:<line>"));
    EXPECT_FALSE(canReadMeter(reader));
    EXPECT_THAT(log.take(), Contains(unreadable("Invalid argument")));
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

TEST_F(SerialBus, aParityWithoutANameLeavesARunningConnectionAloneToo) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());
    SerialPortConfig unknown = serialConfig();
    unknown.parity = static_cast<Parity>(4);
    recorded_bus::take();

    reconnect(unknown);

    EXPECT_THAT(recorded_bus::take(), IsEmpty());
    EXPECT_TRUE(canReadMeter(reader));
}

TEST_F(SerialBus, theSameReadGoesOverTheSerialLine) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());

    EXPECT_TRUE(canReadMeter(reader));

    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, aFirstSlaveAddressThatTheLibraryRefusesFailsTheReadWithoutATouchOfTheBus) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());
    log.take();
    recorded_bus::take();

    for (const int refused : {-1, 248, 7 + 256}) {
        reader.connection.readMeter(refused, meterConfig());

        EXPECT_THAT(of("warning", log.take()), ElementsAre(unreadable("Invalid argument")));
        EXPECT_THAT(recorded_bus::take(),
                    ElementsAre(vx::str("modbus_set_slave ", refused), "usleep 20000"));
    }

    EXPECT_TRUE(canReadMeter(reader));
    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, aLaterSlaveAddressThatTheLibraryRefusesReadsTheMeterAheadOfIt) {
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    liveOn(slave);
    reconnect(serialConfig());
    ASSERT_TRUE(canReadMeter(reader));
    slave.clearTranscript();

    reader.connection.readMeter(300, meterConfig());

    EXPECT_EQ(slave.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
    EXPECT_EQ(reader.connection.m_readings.at(300 - 256).powerConsumed, 5.0);
}

TEST_F(SerialBus, anAnswerThatComesTooLateIsTakenForTheNextRequests) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");
    house::ModbusSlave slave(house::Tty{line.slaveEnd()});
    slave.unit(7).holding(10, {100}).holding(20, {200}).failNext(
        10, house::Fault::late(std::chrono::milliseconds(1300)));
    reconnect(serialConfig());
    vxModel::ElectricityMeterConfig config = meterConfig();
    config.registers.push_back(config.registers.front());
    config.registers.back().address = 20;

    reader.connection.readMeter(7, config);

    EXPECT_THAT(of("Could not read register", log.take()),
                ElementsAre(testing::HasSubstr(":Connection timed out aRegister:")));
    EXPECT_EQ(reader.connection.m_readings.at(7).powerConsumed, 100.0);
}

TEST_F(SerialBus, readsFailForWantOfAContextAfterAReconnectThatThrewHalfWay) {
    reconnect(serialConfig());
    // The line of the port's failed setting comes when the old context is gone.
    vx::Logger::instance().setLogFunction(
        [](const char*, vx::LogSeverity severity, const std::string&) {
            if (severity == vx::LogSeverity::error)
                throw std::bad_alloc();
        });
    EXPECT_THROW(reader.connection.doReconnect(), std::bad_alloc);
    LogCapture after{LogCapture::Mode::lenient};

    reader.connection.readMeter(7, meterConfig());

    EXPECT_THAT(after.take(), Contains(unreadable("Invalid argument")));
}

TEST_F(SerialBus, theNamesAreRenderedBeforeTheFileIsLoaded) {
    vx::enumLogChannel();
    vx::system();
    const ChannelSeverity debug("vxEnum", vx::LogSeverity::debug);
    SerialPortConfig config = serialConfig();
    config.baudRate = static_cast<BaudRateType>(6);

    reconnect(config);

    const std::string unknown =
        "debug vxEnum Unknown ::vxModel::BaudRateType enum value 6 .cpp:<line>";
    EXPECT_THAT(log.take(),
                ElementsAre(unknown, testing::StartsWith("notice modbusSerial doReconnect "),
                            unknown,
                            testing::StartsWith("notice orvMODBUSConfigFile Load configuration "),
                            testing::StartsWith("notice orvMODBUSConfigFile File not found. ")));
}

TEST_F(TcpBus, theNamesAreRenderedBeforeTheFileIsLoadedThoughNoneIsUsed) {
    vx::enumLogChannel();
    vx::system();
    const ChannelSeverity debug("vxEnum", vx::LogSeverity::debug);
    useTcp(slave);
    reader.connection.m_config = serialConfig();
    reader.connection.m_config.stopBits = static_cast<StopBits>(3);

    reader.connection.doReconnect();

    const std::string unknown = "debug vxEnum Unknown ::vxModel::StopBits enum value 3 .cpp:<line>";
    EXPECT_THAT(log.take(),
                ElementsAre(unknown, testing::StartsWith("notice modbusSerial doReconnect "),
                            unknown,
                            testing::StartsWith("notice orvMODBUSConfigFile Load configuration "),
                            testing::StartsWith("notice modbusSerial Connecting TCP ")));
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

TEST_F(TcpBus, aRefusedConnectionIsAWarningAndReadsFailOnTheClosedContext) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1}})");

    reader.connection.doReconnect();

    EXPECT_EQ(log.take().back(), "warning modbusSerial Could not connect TCP "
                                 "strerror((*__errno_location ())):Connection refused "
                                 "toolkit.cpp:<line>");
    EXPECT_FALSE(canReadMeter(reader));
    EXPECT_THAT(log.take(), Contains(unreadable("Bad file descriptor")));
}

TEST_F(TcpBus, aHostWithoutAPortMeansPortZero) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1"}})");

    reader.connection.doReconnect();

    EXPECT_THAT(of("modbus_new", recorded_bus::take()), ElementsAre("modbus_new_tcp 127.0.0.1 0"));
}

TEST_F(TcpBus, hostAndPortReachTheLibraryUnchecked) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"meter-gateway","port":-70000}})");

    reader.connection.doReconnect();

    EXPECT_THAT(of("modbus_new", recorded_bus::take()),
                ElementsAre("modbus_new_tcp meter-gateway -70000"));
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
