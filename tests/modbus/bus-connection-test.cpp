#include "modbus/bus-connection.h"
#include "support/channel-severity.h"
#include "vx/enum.h"
#include "vx/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <termios.h>
#include <unistd.h>

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using vxModel::BaudRateType;
using vxModel::DataBits;
using vxModel::Parity;
using vxModel::SerialPortConfig;
using vxModel::StopBits;

// To what, and how, a reconnect connects the reader, and what reads meet then.

namespace {

/// Settings of a serial line as the kernel has them.
termios settingsOf(const std::string& device) {
    termios settings{};
    const int fd = open(device.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_EQ(tcgetattr(fd, &settings), 0);
    close(fd);
    return settings;
}

} // namespace

TEST_F(SerialBus, logsEachNameAndTheResultBeforeTheConnection) {
    rs485Succeeds = false;
    std::vector<std::string> linesBefore;
    const auto connecting =
        modbus_calls::connect.observeBy([&](modbus_t*) { linesBefore = log(); });

    reconnect({"/dev/any", BaudRateType::baud57600, Parity::odd, DataBits::bits7, StopBits::bits2});

    EXPECT_THAT(
        linesBefore,
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
    EXPECT_THAT(calls("connect"), ElementsAre("connect rtu /dev/ttymxc2 9600 N 2 2"));
    const termios settings = settingsOf(serialLine->masterEnd());
    EXPECT_NE(settings.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST_F(SerialBus, dataBits7WithStopBits1YieldsEightDataBitsAndOneStopBit) {
    reconnect({"/dev/any", BaudRateType::baud9600, Parity::none, DataBits::bits7, StopBits::bits1});

    EXPECT_THAT(calls("connect"), ElementsAre("connect rtu /dev/ttymxc2 9600 N 1 1"));
}

TEST_F(SerialBus, theLibraryGetsTheParitysFirstLetterAsACapital) {
    SerialPortConfig config = serialConfig;
    for (const Parity parity : {Parity::uninitilzed, Parity::none, Parity::even, Parity::odd}) {
        config.parity = parity;
        reconnect(config);
    }

    EXPECT_THAT(calls("connect"), ElementsAre("connect rtu /dev/ttymxc2 19200 U 1 1",
                                              "connect rtu /dev/ttymxc2 19200 N 1 1",
                                              "connect rtu /dev/ttymxc2 19200 E 1 1",
                                              "connect rtu /dev/ttymxc2 19200 O 1 1"));
    // The one that the library doesn't know.
    EXPECT_THAT(complaints(), SizeIs(1));
}

TEST_F(SerialBus, theServersDeviceNameOpensNothing) {
    SerialPortConfig config = serialConfig;

    for (const char* name : {"/dev/a", "/dev/b"}) {
        config.serialDevice = name;
        reconnect(config);

        EXPECT_TRUE(canReadMeter());
        EXPECT_THAT(log("connecting"),
                    ElementsAre("notice modbusSerial Modbus serial device connecting "
                                "serialDevice:/dev/ttymxc2 baud:19200 parity:E dataBits:8 "
                                "stopBits:1 toolkit.cpp:<line>"));
        EXPECT_EQ(transcript(),
                  std::string(reconnection) + ">> unit 7  read holding 10 x1\n<< 0005\n");
    }
}

TEST_F(SerialBus, baudRateAndStopBitsComeFromTheirNames) {
    const std::vector<std::pair<BaudRateType, speed_t>> speeds = {
        {BaudRateType::baud9600, B9600},
        {BaudRateType::baud19200, B19200},
        {BaudRateType::baud38400, B38400},
        {BaudRateType::baud57600, B57600},
        {BaudRateType::baud115200, B115200}};
    for (const auto& [baudRate, speed] : speeds) {
        SerialPortConfig config = serialConfig;
        config.baudRate = baudRate;
        reconnect(config);
        const termios settings = settingsOf(serialLine->masterEnd());
        EXPECT_EQ(cfgetospeed(&settings), speed);
        EXPECT_EQ(settings.c_cflag & CSTOPB, 0U);
    }
}

TEST_F(SerialBus, rs485IsSetUpWithRtsOnSendAndNoDelays) {
    reconnect();

    // Enabled, with RTS on send: SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND.
    EXPECT_THAT(calls("rs485"), ElementsAre("rs485 read-write flags 3 delays 0 0"));
    EXPECT_THAT(log("RS485"), IsEmpty());
}

TEST_F(SerialBus, rs485IsSetUpAfterTheOldConnectionIsClosedAndBeforeTheNewOneIsOpened) {
    reconnect();
    forget();

    reconnect();

    EXPECT_EQ(transcript(), reconnection);
}

TEST_F(SerialBus, theRs485DescriptorStaysOpenAndEachReconnectAddsOne) {
    for (std::size_t reconnects = 1; reconnects <= 3; ++reconnects) {
        reconnect();
        // Beside the library's own one.
        EXPECT_EQ(descriptors(), reconnects + 1);
    }
}

TEST_F(SerialBus, theRs485DescriptorStaysOpenAlsoWhenTheSettingFails) {
    rs485Succeeds = false;

    reconnect();

    EXPECT_THAT(complaints(), SizeIs(1));
    EXPECT_EQ(descriptors(), 2);
}

TEST_F(SerialBus, aFailedRs485SettingIsAnErrorAndTheConnectionIsMadeAllTheSame) {
    rs485Succeeds = false;

    reconnect();

    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- rs485 read-write flags 3 delays 0 0
!! error modbusSerial RS485 could not be configured serialDevice:/dev/ttymxc2 toolkit.cpp:<line>
-- connect rtu /dev/ttymxc2 19200 E 1 1
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
>> unit 7  read holding 10 x1
<< 0005
)");
}

TEST_F(SerialBus, aMissingPortCostsAnErrorAndAWarningAndReadsFailOnTheClosedContext) {
    std::filesystem::remove("/dev/ttymxc2");

    reconnect();

    EXPECT_FALSE(canReadMeter());
    EXPECT_EQ(transcript(), R"(-- close
-- free
!! error modbusSerial RS485 could not be configured serialDevice:/dev/ttymxc2 toolkit.cpp:<line>
-- connect rtu /dev/ttymxc2 19200 E 1 1
!! warning modbusSerial Could not connect serial strerror((*__errno_location ())):No such file or directory toolkit.cpp:<line>
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Bad file descriptor aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
}

TEST_F(SerialBus, anUnsetParityIsRefusedByTheLibraryAndReadsFailForWantOfAContext) {
    SerialPortConfig config = serialConfig;
    config.parity = Parity::uninitilzed;

    reconnect(config);

    EXPECT_FALSE(canReadMeter());
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- rs485 read-write flags 3 delays 0 0
-- connect rtu /dev/ttymxc2 19200 U 1 1
!! warning modbusSerial Could not connect serial strerror((*__errno_location ())):Invalid argument toolkit.cpp:<line>
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Invalid argument aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
}

TEST_F(SerialBus, baudRateNoneLeavesARunningConnectionAloneWithoutAWord) {
    reconnect();
    const auto before = descriptors();
    forget();

    SerialPortConfig noBaudRate = serialConfig;
    noBaudRate.baudRate = BaudRateType::none;
    SerialPortConfig noDataBits = serialConfig;
    noDataBits.dataBits = DataBits::none;
    SerialPortConfig noStopBits = serialConfig;
    noStopBits.stopBits = StopBits::none;
    for (const SerialPortConfig& incomplete : {noBaudRate, noDataBits, noStopBits})
        reconnect(incomplete);

    EXPECT_THAT(log("modbusSerial"),
                AllOf(SizeIs(3), Each(StartsWith("notice modbusSerial doReconnect "))));
    EXPECT_THAT(log(), SizeIs(6)); // the two lines of the file, each time
    EXPECT_EQ(descriptors(), before);
    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, aParityWithoutANameLeavesARunningConnectionAloneToo) {
    reconnect();
    forget();
    SerialPortConfig unknown = serialConfig;
    unknown.parity = static_cast<Parity>(4);

    reconnect(unknown);

    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, theSameReadGoesOverTheSerialLine) {
    reconnect();

    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(conversation(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, aFirstSlaveAddressThatTheLibraryRefusesFailsTheReadWithoutATouchOfTheBus) {
    reconnect();

    for (const int refused : {-1, 248, 7 + 256}) {
        readMeter(refused);

        EXPECT_THAT(complaints(), ElementsAre(unreadable("Invalid argument")));
        EXPECT_THAT(steps(), ElementsAre(vx::str("set_slave ", refused), "usleep 20000"));
    }

    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(conversation(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(SerialBus, theReasonOfARefusedSlaveAddressOutlivesAnInterruptedPause) {
    reconnect();
    const auto interrupted = c_calls::usleep.replaceBy([](useconds_t) {
        errno = EINTR;
        return -1;
    });

    readMeter(300);

    EXPECT_THAT(complaints(), ElementsAre(unreadable("Invalid argument")));
}

TEST_F(SerialBus, aLaterSlaveAddressThatTheLibraryRefusesReadsTheMeterAheadOfIt) {
    reconnect();
    ASSERT_TRUE(canReadMeter());
    forget();

    readMeter(300);

    EXPECT_EQ(conversation(), ">> unit 7  read holding 10 x1\n<< 0005\n");
    EXPECT_EQ(reader.connection.m_readings.at(300 - 256).powerConsumed, 5.0);
}

TEST_F(SerialBus, anAnswerThatComesTooLateIsTakenForTheNextRequests) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");
    bus->unit(7).holding(10, {100}).holding(20, {200}).failNext(
        10, house::Fault::late(std::chrono::milliseconds(1300)));
    reconnect();

    readMeter(7, {10, 20});

    EXPECT_THAT(complaints(), ElementsAre(unreadable("Connection timed out")));
    EXPECT_EQ(reader.connection.m_readings.at(7).powerConsumed, 100.0);
}

TEST_F(SerialBus, readsFailForWantOfAContextAfterAReconnectThatThrewHalfWay) {
    reconnect();
    {
        // The old context is gone by then.
        const auto throwing = modbus_calls::new_rtu.replaceBy(
            [](const char*, int, char, int, int) -> modbus_t* { throw std::bad_alloc(); });
        EXPECT_THROW(reader.connection.doReconnect(), std::bad_alloc);
    }

    readMeter(7);

    EXPECT_THAT(complaints(), ElementsAre(unreadable("Invalid argument")));
}

TEST_F(SerialBus, theNamesAreRenderedBeforeTheFileIsLoaded) {
    vx::enumLogChannel();
    vx::system();
    const ChannelSeverity debug("vxEnum", vx::LogSeverity::debug);
    SerialPortConfig config = serialConfig;
    config.baudRate = static_cast<BaudRateType>(6);

    reconnect(config);

    const std::string unknown =
        "debug vxEnum Unknown ::vxModel::BaudRateType enum value 6 .cpp:<line>";
    EXPECT_THAT(log(), ElementsAre(unknown, StartsWith("notice modbusSerial doReconnect "), unknown,
                                   StartsWith("notice orvMODBUSConfigFile Load configuration "),
                                   StartsWith("notice orvMODBUSConfigFile File not found. ")));
}

TEST_F(TcpBus, theNamesAreRenderedBeforeTheFileIsLoadedThoughNoneIsUsed) {
    vx::enumLogChannel();
    vx::system();
    const ChannelSeverity debug("vxEnum", vx::LogSeverity::debug);
    reader.connection.m_config = serialConfig;
    reader.connection.m_config.stopBits = static_cast<StopBits>(3);

    reader.connection.doReconnect();

    const std::string unknown = "debug vxEnum Unknown ::vxModel::StopBits enum value 3 .cpp:<line>";
    EXPECT_THAT(log(), ElementsAre(unknown, StartsWith("notice modbusSerial doReconnect "), unknown,
                                   StartsWith("notice orvMODBUSConfigFile Load configuration "),
                                   StartsWith("notice modbusSerial Connecting TCP ")));
}

TEST_F(TcpBus, theFilesServerIsConnectedAndTheSerialSideIsLeftAlone) {
    const house::PtyPair line;
    line.linkMasterEnd("/dev/ttymxc2");
    const auto descriptors = openDescriptorsOf(line.masterEnd());

    reader.connection.doReconnect();

    EXPECT_THAT(log("modbusSerial"),
                ElementsAre("notice modbusSerial doReconnect m_config:{} toolkit.cpp:<line>",
                            R"(notice modbusSerial Connecting TCP config:{"modbusMiscConfig":{)"
                            R"("modbusTCPServer":127.0.0.1,"port":1502,"timeoutResponseSec":1}} )"
                            R"(toolkit.cpp:<line>)"));
    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(openDescriptorsOf(line.masterEnd()), descriptors);
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- connect tcp 127.0.0.1:1502
-- response timeout 1 s 0 us
-- indication timeout 5 s 0 us
>> unit 7  read holding 10 x1
<< 0005
)");
}

TEST_F(TcpBus, aRefusedConnectionIsAWarningAndReadsFailOnTheClosedContext) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1}})");

    reader.connection.doReconnect();

    EXPECT_FALSE(canReadMeter());
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- connect tcp 127.0.0.1:1
!! warning modbusSerial Could not connect TCP strerror((*__errno_location ())):Connection refused toolkit.cpp:<line>
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
!! warning modbusSerial Could not read register strerror((*__errno_location ())):Bad file descriptor aRegister:{"address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"scaleValue":1,"registerType":holding} toolkit.cpp:<line>
)");
}

TEST_F(TcpBus, aHostWithoutAPortMeansPortZero) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1"}})");

    reader.connection.doReconnect();

    EXPECT_EQ(transcript(), R"(-- close
-- free
-- connect tcp 127.0.0.1:0
!! warning modbusSerial Could not connect TCP strerror((*__errno_location ())):Connection refused toolkit.cpp:<line>
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
)");
}

TEST_F(TcpBus, hostAndPortReachTheLibraryUnchecked) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"meter-gateway","port":-70000}})");

    reader.connection.doReconnect();

    EXPECT_THAT(calls("connect"), ElementsAre("connect tcp meter-gateway:-70000"));
    // Why it can't be connected is the library's matter.
    EXPECT_THAT(log("Could not connect TCP"), SizeIs(1));
}

TEST_F(TcpBus, aReconnectClosesTheOldConnection) {
    modbus_t* old = nullptr;
    {
        const auto connecting =
            modbus_calls::connect.observeBy([&](modbus_t* context) { old = context; });
        reader.connection.doReconnect();
    }
    const std::string oldSocket = nameOfDescriptor(modbus_get_socket(old));
    ASSERT_EQ(openDescriptorsOf(oldSocket), 1);
    forget();
    house::ModbusSlave other{house::TcpPort{1503}};
    putMeterOn(other);
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1503}})");

    reader.connection.doReconnect();

    EXPECT_EQ(openDescriptorsOf(oldSocket), 0);
    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(transcript(), R"(-- close
-- free
-- connect tcp 127.0.0.1:1503
-- response timeout 5 s 0 us
-- indication timeout 5 s 0 us
)");
    EXPECT_EQ(other.transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(TcpBus, aDroppedConnectionStaysFailed) {
    reader.connection.doReconnect();
    EXPECT_TRUE(canReadMeter());
    forget();

    bus->dropConnections();

    EXPECT_FALSE(canReadMeter());
    EXPECT_FALSE(canReadMeter());
    EXPECT_THAT(complaints(), AllOf(SizeIs(2), Each(HasSubstr(" Could not read register "))));
    // No try to connect again.
    EXPECT_EQ(transcript(), "");
}

TEST_F(TcpBus, aBrokenFileLeavesTheOldConnectionUntouched) {
    reader.connection.doReconnect();
    forget();
    writeConfigFile("{broken");

    EXPECT_THROW(reader.connection.doReconnect(), vx::Exception);

    EXPECT_TRUE(canReadMeter());
    EXPECT_EQ(transcript(), ">> unit 7  read holding 10 x1\n<< 0005\n");
}

TEST_F(TcpBus, readIntervalOfTheFileShowsInTheLogButThePauseStays) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("readIntervalUSec":1000}})");

    reader.connection.doReconnect();

    EXPECT_THAT(log("Connecting TCP"), ElementsAre(HasSubstr(R"("readIntervalUSec":1000)")));
    EXPECT_TRUE(canReadMeter());
    EXPECT_THAT(steps(), ElementsAre("set_slave 7", "usleep 20000", "read_registers 10 x1"));
}
