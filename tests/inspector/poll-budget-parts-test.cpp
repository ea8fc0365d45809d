#include "inspector-program.h"
#include "running-reader.h"
#include "vx/date-time.h"
#include "vx/json.h"

#include <gtest/gtest.h>
#include <string>

// What `map` says of a dead meter, of the age of a reading and of Modbus TCP, beside the real
// reader.

namespace {

const std::string line =
    R"({"data":{"baudRate":"baud19200","parity":"even","dataBits":"bits8","stopBits":"bits1"}})";

const std::string attached = R"({"data":[{"configId":"a","name":"A","slaveAddress":1},)"
                             R"({"configId":"b","name":"B","slaveAddress":2,"serial":"B-2"}]})";

const std::string supported =
    R"({"data":[{"id":"a","registers":[)"
    R"({"address":0,"fieldType":"serial","modbusDataType":"ascii","length":60},)"
    R"({"address":200,"fieldType":"powerImport","modbusDataType":"float32","length":1}]},)"
    R"({"id":"b","registers":[)"
    R"({"address":0,"fieldType":"serial","modbusDataType":"ascii","length":120},)"
    R"({"address":200,"fieldType":"energyExport","modbusDataType":"uint32","length":1}]}]})";

const std::string description = R"({"server":{"rtuconfig":)" + line + R"(,"attached":)" + attached +
                                R"(,"supported":)" + supported +
                                R"(},"behaviour":{"startHour":0,"wireTime":true,)"
                                R"("signals":{"x":{"kind":"constant","value":1000}},"units":{)"
                                R"("1":{"holding 0":{"text":"A-1"},"holding 200":"x"},)"
                                R"("2":{"holding 0":{"text":"B-2"},"holding 200":"x"}}}})";

std::string configWith(const std::string& members) {
    return R"({"modbusMiscConfig":{)" + members + "}}";
}

struct Predicted {
    double poll;
    /// Of the first meter.
    double age;
    /// Of the second meter.
    double dead;
};

Predicted predicted(const std::string& config, const std::string& list = attached) {
    const TemporaryDirectory files;
    const auto result =
        inspector::run({"map", "--json", "--supported", files.write("supported", supported),
                        "--attached", files.write("attached", list), "--serial",
                        files.write("serial", line), "--config", files.write("config", config)});
    const auto map = vx::parseJsonFragment(result.standardOutput.c_str());
    json_object* budget = json_object_object_get(map.get(), "budget");
    json_object* meters = json_object_object_get(budget, "meters");
    const auto number = [](json_object* object, const char* key) {
        return json_object_get_double(json_object_object_get(object, key));
    };
    return {number(budget, "seconds"), number(json_object_array_get_idx(meters, 0), "ageSeconds"),
            number(json_object_array_get_idx(meters, 1), "deadSeconds")};
}

/// Seconds from the start of the read of meter 1 to the last write of its message, by the log.
double ageOfLastReading(const std::vector<std::string>& log) {
    std::string last;
    for (const std::string& entry : log)
        if (entry.find(R"("slaveAddress":1,)") != std::string::npos)
            last = entry;
    const std::string key = R"("lastChanged":")";
    const std::size_t begin = last.find(key) + key.size();
    const auto read = vx::toDateTime(last.substr(begin, last.find('"', begin) - begin));
    const auto written = vx::toDateTime(last.substr(1, last.find('+') - 1) + "Z");
    return std::chrono::duration<double>(written - read).count();
}

} // namespace

TEST(PollBudget, predictsWhatADeadMeterAdds) {
    const std::string config = configWith(R"("timeoutResponseSec":1)");
    const Predicted budget = predicted(config);
    RunningReader reader(description, config);
    reader.bus().unit(2).failAlways(house::Fault::silence);
    reader.start();

    expectLeast(budget.poll + budget.dead, [&] { return reader.poll(); });
}

TEST(PollBudget, predictsTheAgeOfAReadingAtItsDelivery) {
    const std::string config = configWith(R"("timeoutResponseSec":1)");
    RunningReader reader(description, config);
    reader.start();

    expectLeast(predicted(config).age, [&] {
        reader.poll();
        return ageOfLastReading(reader.log());
    });
}

TEST(PollBudget, predictsThePollOfAnAddressThatNobodyAnswersOrNobodyIsAskedAt) {
    const std::string config = configWith(R"("timeoutResponseSec":1)");
    for (const char* address : {"0", "300"}) {
        const std::string list =
            R"({"data":[{"configId":"a","slaveAddress":)" + std::string(address) + "}]}";
        RunningReader reader(description, config);
        reader.server().serve(house::LocalServer::attachedPath, list);
        reader.start();

        expectLeast(predicted(config, list).poll, [&] { return reader.poll(); });
    }
}

TEST(PollBudget, predictsTheLeastPollOnModbusTcp) {
    const std::string config = configWith(R"("modbusTCPServer":"127.0.0.1","port":1502)");
    RunningReader reader(description, config);
    reader.start();

    expectLeast(predicted(config).poll, [&] { return reader.poll(); });
}
