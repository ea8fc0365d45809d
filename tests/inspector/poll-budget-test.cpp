#include "e2e/reader-process.h"
#include "house/home.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/pty-pair.h"
#include "inspector-program.h"
#include "support/temporary-directory.h"
#include "vx/json.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// The least poll as `map` predicts it, beside the polls of the real reader on a line that takes its
// time.

using house::LocalServer;

namespace {

const std::string attached = R"({"data":[{"configId":"a","name":"A","slaveAddress":1},)"
                             R"({"configId":"b","name":"B","slaveAddress":2,"serial":"B-2"}]})";

/// Long texts, so that the wire has its share.
const std::string supported =
    R"({"data":[{"id":"a","registers":[)"
    R"({"address":0,"fieldType":"serial","modbusDataType":"ascii","length":8},)"
    R"({"address":10,"fieldType":"model","modbusDataType":"ascii","length":100},)"
    R"({"address":200,"fieldType":"powerImport","modbusDataType":"float32","length":1},)"
    R"({"address":202,"fieldType":"energyImport","modbusDataType":"uint64","length":1}]},)"
    R"({"id":"b","registers":[)"
    R"({"address":0,"fieldType":"serial","modbusDataType":"ascii","length":120},)"
    R"({"address":200,"fieldType":"manufacturer","modbusDataType":"ascii","length":125},)"
    R"({"address":400,"fieldType":"energyExport","modbusDataType":"uint32","length":1}]}]})";

const std::string behaviour =
    R"({"startHour":0,"wireTime":true,"signals":{"x":{"kind":"constant","value":1000}},"units":{)"
    R"("1":{"holding 0":{"text":"A-1"},"holding 10":{"text":"A"},"holding 200":"x","holding 202":"x"},)"
    R"("2":{"holding 0":{"text":"B-2"},"holding 200":{"text":"B"},"holding 400":"x"}}})";

std::string descriptionWith(const std::string& line) {
    return R"({"server":{"rtuconfig":)" + line + R"(,"attached":)" + attached + R"(,"supported":)" +
           supported + R"(},"behaviour":)" + behaviour + "}";
}

double predicted(const std::string& line) {
    const TemporaryDirectory directory;
    const auto result = inspector::run({"map", "--budget", "--json", "--supported",
                                        directory.write("supported", supported), "--attached",
                                        directory.write("attached", attached), "--serial",
                                        directory.write("serial", line)});
    const auto map = vx::parseJsonFragment(result.standardOutput.c_str());
    json_object* budget = json_object_object_get(map.get(), "budget");
    return json_object_get_double(json_object_object_get(budget, "seconds"));
}

/// The real reader with its house, on a line that keeps its wire time.
class RunningReader {
public:
    explicit RunningReader(const std::string& line)
        : m_home(m_directory.write("home.json", descriptionWith(line))),
          m_bus(house::Tty{m_wire.slaveEnd(), m_home.wireTime()}) {
        m_wire.linkMasterEnd("/dev/ttymxc2");
        m_home.serveOn(m_server);
        m_home.liveOn(m_bus);
        m_reader = std::make_unique<ReaderProcess>(std::vector<std::string>{"VX_LOG=W"});
        // Two seconds pass behind the first poll before the timer starts.
        awaitPoll();
        awaitPoll();
    }

    /// The seconds of the next poll, from its first request to that of the poll after it.
    double poll() {
        const auto begin = m_last;
        awaitPoll();
        return std::chrono::duration<double>(m_last - begin).count();
    }

private:
    void awaitPoll() {
        EXPECT_TRUE(m_server.waitForRequests(LocalServer::rtuConfigPath, ++m_polls));
        m_last = m_server.requests(LocalServer::rtuConfigPath).back().arrived;
    }

    TemporaryDirectory m_directory;
    house::Home m_home;
    LocalServer m_server;
    house::PtyPair m_wire;
    house::ModbusSlave m_bus;
    house::MeteringService m_service;
    std::unique_ptr<ReaderProcess> m_reader;
    std::size_t m_polls = 0;
    std::chrono::system_clock::time_point m_last;
};

/// A busy machine makes polls longer and none shorter. So the shortest of three counts, or of more
/// as long as all of them are too long.
void expectAgreement(const std::string& line) {
    constexpr int fewest = 3;
    constexpr int most = 20;
    const double seconds = predicted(line);
    const double tolerance = 0.02 * seconds;
    RunningReader reader(line);
    double shortest = reader.poll();
    for (int i = 1; i < fewest || (i < most && shortest > seconds + tolerance); ++i)
        shortest = std::min(shortest, reader.poll());
    EXPECT_NEAR(shortest, seconds, tolerance);
}

} // namespace

TEST(PollBudget, predictsTheLeastPollAt9600BaudWithParity) {
    expectAgreement(
        R"({"data":{"baudRate":"baud9600","parity":"even","dataBits":"bits8","stopBits":"bits1"}})");
}

TEST(PollBudget, predictsTheLeastPollAt19200BaudWithoutParity) {
    expectAgreement(
        R"({"data":{"baudRate":"baud19200","parity":"none","dataBits":"bits8","stopBits":"bits1"}})");
}
