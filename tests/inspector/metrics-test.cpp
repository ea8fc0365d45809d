#include "inspector/live/live-home.h"
#include "inspector/web/metrics.h"
#include "support/transcript.h"
#include "vx/date-time.h"

#include <gmock/gmock.h>

#include <regex>
#include <string>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

/// 2026-11-14T10:00:00Z.
constexpr Moment firstTime = 1794650400000;

/// A log of two processes in which everything happens that is counted, as it is looked at a moment
/// after the last line.
class Metrics : public testing::Test {
protected:
    LiveHome m_home{firstTime};
    Moment m_time = firstTime;
    std::string m_thread = "411";

    Metrics() {
        m_home.endPast();
        pollOfAll(R"(,"powerConsumed":1500.5)", 4000000000);
        tick();
        m_home.add(parseLine("Assertion failed.  condition:x a.cpp:1  void f()"));
        m_thread = "412";
        later(1000);
        line("WARN  modbusSerial", "Error requesting from server code:503 result:");
        line("WARN  HttpClient", "What nobody knows");
        // Counters jump, and one runs backwards.
        pollOfAll(R"(,"powerConsumed":1501.0)", 4100000000);
        pollOfAll(R"(,"powerProduced":20.5)", 3900000000);
        later(2000);
        pollWithFailures();
        tick();
    }

    void later(Moment milliseconds) { m_time += milliseconds; }
    void line(const std::string& head, const std::string& text) {
        std::string time = utc(m_time);
        time.replace(time.size() - 1, 1, "+00:00");
        m_home.add(
            parseLine("[" + time + "]   " + m_thread + " " + head + " " + text + " a.cpp:1"));
    }
    void tick() { line("NOTIC modbusreaderMain", "callback ec:Success"); }
    void message(int slaveAddress, const std::string& id, const std::string& values) {
        const std::string text =
            R"({"id":")" + id + R"(","slaveAddress":)" + std::to_string(slaveAddress) +
            R"(,"meteringType":"modbus","lastChanged":")" + utc(m_time) + "\"" + values + "}";
        const std::string size = std::to_string(text.size());
        line("NOTIC modbusreaderSocketWriter", "Writing  m_buffer:" + text);
        line("NOTIC modbusreaderSocketWriter",
             "TRANSFERRED  self->m_buffer.size():" + size + " size:" + size);
    }
    void begin(int slaveAddress) {
        later(500);
        line("NOTIC modbusSerial",
             "Reading meter now slaveAddress:" + std::to_string(slaveAddress));
    }
    void failure(const std::string& words, const std::string& fieldType) {
        line("WARN  modbusSerial",
             "Could not read register strerror((*__errno_location ())):" + words +
                 R"( aRegister:{"address":10,"fieldType":)" + fieldType +
                 R"(,"modbusDataType":uint16,"length":1,)"
                 R"("registerType":input})");
    }
    void beginPoll() {
        later(1000);
        tick();
        line("NOTIC modbusSerial",
             R"(Attached Meters result:{"data":[{"configId":"acme-3p","name":"Apartment",)"
             R"("serial":"40000123AB","slaveAddress":1},{"configId":"acme-pv","name":"",)"
             R"("serial":"PV20261107","slaveAddress":2},{"configId":"acme-3p",)"
             R"("name":"a \"quoted\\name\nof two lines","serial":"S-3","slaveAddress":3}]})");
    }
    void messageOfFirst(const std::string& power, Moment consumed, Moment produced) {
        message(1, "40000123AB",
                power + ",\"energyConsumed\":" + std::to_string(consumed) +
                    ".0,\"energyProduced\":" + std::to_string(produced) +
                    R"(.0,"t1EnergyConsumed":2444200000.0,"t1EnergyProduced":8450000000.0,)"
                    R"("t2EnergyConsumed":2000000000.0)");
    }
    void pollOfAll(const std::string& power, Moment consumed) {
        beginPoll();
        begin(1);
        messageOfFirst(power, consumed, 8450000000);
        begin(2);
        message(2, "PV20261107", R"(,"powerProduced":3125.0,"energyProduced":14400000000.0)");
        begin(3);
        failure("Connection timed out", "serial");
    }
    void pollWithFailures() {
        beginPoll();
        begin(1);
        messageOfFirst("", 3900000000, 9450000000);
        begin(2);
        failure("Unknown error 112345680", "powerExport");
        failure("What nobody knows", "energyExport");
        message(2, "PV20261107", R"(,"energyProduced":14400000000.0)");
        line("WARN  modbusreaderSocketWriter",
             "Could not connect ec:Permission denied self->m_endpoint.path():/run/x");
        later(500);
    }
    std::string text(Exposition::Format format) {
        const std::string text = m_home.look(
            m_time + 1312, [&](const HomeView& view) { return metricsOf(view, format); });
        // It grows with each release.
        static const std::regex version(R"(version="[^"]*")");
        return std::regex_replace(text, version, R"(version="<version>")");
    }

private:
    static std::string utc(Moment time) {
        return vx::toString(vx::DateTime(std::chrono::milliseconds(time)));
    }
};

} // namespace

TEST_F(Metrics, ofALogInThePlainFormat) {
    expectTranscriptOfFile(text(Exposition::Format::plain));
}

TEST_F(Metrics, ofALogInOpenMetrics) {
    expectTranscriptOfFile(text(Exposition::Format::openMetrics));
}

TEST_F(Metrics, readingsOfAMeterThatAnswersNothingAreNone) {
    for (int i = 0; i < 2; ++i) {
        beginPoll();
        begin(2);
        failure("Connection timed out", "powerExport");
        failure("Connection timed out", "energyExport");
        // What stands in for both.
        message(2, "PV20261107", R"(,"powerProduced":3125.0,"energyProduced":14400000000.0)");
        later(500000);
        tick();
    }

    const std::string metrics = text(Exposition::Format::plain);
    EXPECT_THAT(metrics, HasSubstr(R"(modbus_meter_reading_age_seconds{slave_address="2",)"
                                   R"(meter="PV20261107"} 1004.812)"));
    EXPECT_THAT(metrics, Not(HasSubstr(R"(energy_export_joules_total{slave_address="2")")));
}
