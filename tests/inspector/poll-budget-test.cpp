#include "inspector-program.h"
#include "running-reader.h"
#include "vx/json.h"

#include <gtest/gtest.h>
#include <string>

// The least poll as `map` predicts it, beside the polls of the real reader on a line that takes its
// time.

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

void expectAgreement(const std::string& line) {
    RunningReader reader(descriptionWith(line));
    reader.start();
    expectLeast(predicted(line), [&] { return reader.poll(); });
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
