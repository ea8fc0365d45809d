#include "meter-on-bus.h"

#include <regex>
#include <utility>

namespace inspector {
namespace {

constexpr const char* modelWithThreeRegisters = R"({"id": "em", "registers": [
    {"address": 0, "fieldType": "serial", "modbusDataType": "ascii", "length": 2},
    {"address": 10, "fieldType": "powerImport", "modbusDataType": "uint16", "length": 1,
     "registerType": "input"},
    {"address": 20, "fieldType": "energyImport", "modbusDataType": "uint32", "length": 1,
     "scaleValue": 0.1}]})";

} // namespace

MeterOnBus::MeterOnBus() : map(files.write("map.json", modelWithThreeRegisters)) {
    if (GetParam() == BusKind::tcp) {
        m_bus = std::make_unique<house::ModbusSlave>(house::TcpPort{});
    } else {
        m_serialLine = std::make_unique<house::PtyPair>();
        m_bus = std::make_unique<house::ModbusSlave>(house::Tty{m_serialLine->slaveEnd()});
    }
    meter().holding(0, {0x532D, 0x3100}).input(10, {1250}).holding(20, {0, 5});
}

std::vector<std::string> MeterOnBus::onBus(std::vector<std::string> arguments) const {
    if (isSerial())
        arguments.insert(arguments.end(), {"--rtu", device(), "--baud", "19200"});
    else
        arguments.insert(arguments.end(), {"--tcp", "127.0.0.1:" + std::to_string(m_bus->port())});
    return arguments;
}

ProgramResult MeterOnBus::runOnBus(std::vector<std::string> arguments) const {
    return run(onBus(std::move(arguments)));
}

ProgramResult MeterOnBus::readMeter(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"read", "--supported", map, "--slave", "7"});
    return runOnBus(std::move(arguments));
}

std::string withoutTimes(const std::string& text) {
    static const std::regex moment(R"(\d{4}-\d\d-\d\dT[\d:.]+Z)");
    static const std::regex duration(R"(\d+\.\d ms)");
    static const std::regex blanks("  +");
    std::string result = std::regex_replace(text, moment, "MOMENT");
    result = std::regex_replace(result, duration, "TIME");
    return std::regex_replace(result, blanks, "  ");
}

} // namespace inspector
