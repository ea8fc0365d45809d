#include "meter-on-bus.h"

#include "house/home.h"
#include "house/local-server.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

// Where `read` takes the map, the meters and the bus from.

using namespace inspector;
using house::LocalServer;

namespace {

constexpr const char* description = R"({
    "server": {
        "rtuconfig": {"data": {"baudRate": "baud19200", "parity": "even", "dataBits": "bits8",
                               "stopBits": "bits1"}},
        "attached": {"data": [
            {"configId": "a", "name": "Apartment", "slaveAddress": 7},
            {"configId": "b", "name": "Solar", "slaveAddress": 9, "serial": "PV-9"}]},
        "supported": {"data": [
            {"id": "a", "registers": [
                {"address": 0, "fieldType": "serial", "modbusDataType": "ascii", "length": 2},
                {"address": 10, "fieldType": "energyImport", "modbusDataType": "uint32",
                 "length": 1, "scaleValue": 0.1}]},
            {"id": "b", "registers": [
                {"address": 0, "fieldType": "serial", "modbusDataType": "ascii", "length": 2},
                {"address": 10, "fieldType": "powerExport", "modbusDataType": "uint16",
                 "length": 1, "registerType": "input"}]}]}},
    "behaviour": {
        "startHour": 12,
        "signals": {"energy": {"kind": "constant", "value": 0.5},
                    "power": {"kind": "constant", "value": 4200}},
        "units": {"7": {"holding 0": {"text": "A-7"}, "holding 10": "energy"},
                  "9": {"holding 0": {"text": "B-9"}, "input 10": "power"}}}})";

/// A house whose server, configuration file and bus are those of this machine.
class ReadByTheServer : public testing::TestWithParam<BusKind> {
protected:
    ReadByTheServer() : m_home(files.write("home.json", description)) {
        m_home.serveOn(m_server);
        if (GetParam() == BusKind::tcp) {
            m_bus = std::make_unique<house::ModbusSlave>(house::TcpPort{});
            std::ofstream(configFile) << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1",)"
                                      << R"("port":)" << m_bus->port() << "}}";
        } else {
            m_line = std::make_unique<house::PtyPair>();
            m_line->linkMasterEnd("/dev/ttymxc2");
            m_bus = std::make_unique<house::ModbusSlave>(house::Tty{m_line->slaveEnd()});
        }
        m_home.liveOn(*m_bus);
    }
    ~ReadByTheServer() override { std::filesystem::remove(configFile); }

    static constexpr const char* configFile = "/etc/modbus-config.json";
    TemporaryDirectory files;

private:
    house::Home m_home;
    LocalServer m_server;
    std::unique_ptr<house::PtyPair> m_line;
    std::unique_ptr<house::ModbusSlave> m_bus;
};

std::string complaintAbout(const std::vector<std::string>& arguments) {
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.status, 2);
    return result.standardError;
}

} // namespace

INSPECTOR_ON_BOTH_LINES(ReadByTheServer);

TEST_P(ReadByTheServer, readsAllMetersAsTheDaemonWould) {
    const ProgramResult result = run({"read", "--server"});

    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(withoutTimes(result.standardOutput), R"(Meter 7
  space  address  type  time  took  value under the map  words
  holding  0  ascii  MOMENT  TIME  id "A-7"  412D 3700
  holding  10  uint32  MOMENT  TIME  energyConsumed 1800000.0 Ws  0000 0005
Record:  {"id":A-7,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT,"energyConsumed":1.8e+06}
Message: {"id":"A-7","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","energyConsumed":1800000.0}
Meter 9
  space  address  type  time  took  value under the map  words
  holding  0  ascii  not read, the serial is known
  input  10  uint16  MOMENT  TIME  powerProduced 4200.0 W  1068
Record:  {"id":PV-9,"slaveAddress":9,"meteringType":modbus,"lastChanged":MOMENT,"powerProduced":4200}
Message: {"id":"PV-9","slaveAddress":9,"meteringType":"modbus","lastChanged":"MOMENT","powerProduced":4200.0}
)");
    EXPECT_EQ(result.status, 0);
}

TEST_P(ReadByTheServer, readsOneOfTheMeters) {
    EXPECT_EQ(withoutTimes(run({"read", "--server", "--slave", "9"}).standardOutput).substr(0, 8),
              "Meter 9\n");
}

TEST_P(ReadByTheServer, leavesTheBusOfThisMachineAloneIfTheServerIsAnothers) {
    // Where nobody has this address, it leads here.
    EXPECT_EQ(complaintAbout({"read", "--server", "http://0.0.0.0:8088"}),
              "modbus-inspector: The server is another machine's, and so is its serial line: give "
              "--tcp or --rtu, or its configuration file by --config\n");
}

TEST_P(ReadByTheServer, takesTheBusOfTheGivenConfigurationFileWhereverTheServerIs) {
    if (GetParam() == BusKind::serial)
        return;

    const ProgramResult result =
        run({"read", "--server", "http://0.0.0.0:8088", "--config", configFile});

    EXPECT_EQ(result.status, 0);
}

TEST(ReadByFiles, saysWhyTheDaemonTakesNothingOfADocument) {
    const TemporaryDirectory files;
    const std::string garbage = files.write("garbage", "garbage");
    const std::string number =
        files.write("number", R"({"data":[{"id":"a","registers":[{"address":70000}]}]})");
    const auto complaint = [](const std::string& file) {
        return complaintAbout({"read", "--supported", file, "--slave", "7", "--rtu", "/dev/null"});
    };

    EXPECT_EQ(complaint(garbage),
              "modbus-inspector: supported: The daemon takes nothing of this document: Failed to "
              "parse json. unexpected character condition:object vx/json.cpp:33\n");
    EXPECT_EQ(
        complaint(number),
        "modbus-inspector: supported /data/0/registers/0/address: The daemon takes nothing of "
        "this document: Narrowing error. t:4464 u:70000 condition:static_cast<U>(t) == u && (t < "
        "0) "
        "== (u < 0) vx/record.h:146 / address / 0 / registers / 0 / data\n");
}

TEST(ReadByFiles, saysWhatIsMissing) {
    const TemporaryDirectory files;
    const std::string none = files.write("none", R"({"data":[]})");
    const std::string two = files.write("two", R"({"data":[{"id":"a"},{"id":"b"}]})");
    const std::string listed =
        files.write("listed", R"({"data":[{"configId":"c","slaveAddress":7}]})");

    EXPECT_EQ(complaintAbout({"read", "--supported", none, "--slave", "7"}),
              "modbus-inspector: There is no model: give --supported or --server\n");
    EXPECT_EQ(complaintAbout({"read", "--supported", two, "--slave", "7"}),
              "modbus-inspector: There is more than one model: name one by --model\n");
    EXPECT_EQ(complaintAbout({"read", "--supported", two, "--slave", "7", "--model", "c"}),
              "modbus-inspector: No model has the id \"c\"\n");
    EXPECT_EQ(complaintAbout({"read", "--supported", two}),
              "modbus-inspector: No meter to read: give --slave, --attached or --server\n");
    EXPECT_EQ(complaintAbout({"read", "--supported", two, "--attached", listed, "--slave", "7"}),
              "modbus-inspector: No attached meter with a model has the address 7: name its model "
              "by --model\n");
    EXPECT_EQ(complaintAbout({"read", "--supported", two, "--slave", "7", "--model", "a"}),
              "modbus-inspector: There is no bus: give --tcp, --rtu or --server\n");
}

TEST(ReadByFiles, refusesWhereTheDaemonReadsNothing) {
    const TemporaryDirectory files;
    const std::string model = files.write("model", R"({"id":"a"})");
    const auto complaint = [&](const std::string& config, const std::string& serial) {
        return complaintAbout({"read", "--supported", model, "--slave", "7", "--config",
                               files.write("config", config), "--serial",
                               files.write("serial", serial)});
    };
    const auto tcp = [](const std::string& server, const std::string& port) {
        return R"({"modbusMiscConfig":{"modbusTCPServer":")" + server + R"(","port":)" + port +
               "}}";
    };
    const std::string line = R"({"baudRate":"baud9600","parity":"even","stopBits":"bits1"})";
    const std::string closed = "the daemon opens no serial line, and all reads fail.\n";

    EXPECT_EQ(complaint("{}", line),
              "modbus-inspector: serial /dataBits: Without \"dataBits\" " + closed);
    EXPECT_EQ(complaint("{}", R"({"dataBits":"bits8"})"),
              "modbus-inspector: serial /baudRate: Without \"baudRate\" " + closed);
    EXPECT_EQ(
        complaint(tcp("192.168.1.5", "502"), R"({"data":{}})"),
        "modbus-inspector: serial /data: Without any serial parameter the daemon opens no bus, not "
        "even over TCP, and all reads fail.\n");
    for (const std::string server : {"meters.local", "::1"})
        EXPECT_EQ(complaint(tcp(server, "502"), line),
                  "modbus-inspector: config /modbusMiscConfig/modbusTCPServer: The daemon looks up "
                  "no names, so it gets no connection to \"" +
                      server + "\".\n");
    EXPECT_EQ(complaint(tcp("127.0.0.1", "0"), line),
              "modbus-inspector: config /modbusMiscConfig/port: The daemon gets no connection to "
              "port 0 and knows no other one.\n");
    // Of these it takes the low 16 bits.
    EXPECT_EQ(complaint(tcp("127.0.0.1", "-1"), line),
              "modbus-inspector: 127.0.0.1:65535: Connection refused\n");
    EXPECT_EQ(complaint(tcp("127.0.0.1", "70000"), line),
              "modbus-inspector: 127.0.0.1:4464: Connection refused\n");
}
