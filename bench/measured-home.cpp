#include "measured-home.h"

#include <array>
#include <bit>
#include <cstddef>
#include <functional>

namespace {

using house::Space;

struct Model {
    const char* id;
    const char* displayName;
    const char* model;
    const char* manufacturer;
};

constexpr std::array models = {
    Model{"em-000", "EM 310 three-phase", "EM310", "Northwind Metering"},
    Model{"sol-001", "Solar Counter 2", "SC-2", "Helion"},
    Model{"wb-002", "Wallbox Meter W1", "W1", "Voltaro"},
    Model{"bat-003", "Storage Monitor", "SM-40", "Akkuwerk"},
};
constexpr std::array applications = {"none", "solar", "wallbox", "battery"};

constexpr std::array fields = {
    "powerImport",         "energyImport",        "energyExport",        "powerExport",
    "tariffEnabled",       "energyImportTariff1", "energyExportTariff1", "energyImportTariff2",
    "energyExportTariff2", "energyImportTariff3", "energyExportTariff3", "energyImportTariff4",
    "energyExportTariff4", "energyImportTariff5", "energyExportTariff5", "energyImportTariff6",
    "energyExportTariff6",
};
constexpr std::size_t tariffEnabled = 4;

/// The word @p index, 0 for the most significant, of a number of @p count words.
std::uint16_t wordOf(std::uint64_t number, int index, int count) {
    return static_cast<std::uint16_t>(number >> (16 * (count - 1 - index)));
}

/// Registers of a type lie apart from those of the others, four addresses each. The value tells its
/// unit and its address.
struct DataType {
    const char* name;
    const char* scale;
    int firstAddress;
    int words;
    std::uint64_t (*value)(unsigned unit, unsigned offset);
};

constexpr std::array dataTypes = {
    DataType{"float32", "1.0", 0x0000, 2,
             [](unsigned unit, unsigned offset) -> std::uint64_t {
                 return std::bit_cast<std::uint32_t>(230.0F +
                                                     1.5F * static_cast<float>(offset / 2) +
                                                     0.25F * static_cast<float>(unit));
             }},
    DataType{"uint64", "0.001", 0x2000, 4,
             [](unsigned unit, unsigned offset) -> std::uint64_t {
                 return 5000000000U + 1000003U * unit + 257U * (offset / 4);
             }},
    DataType{"uint32", "0.01", 0x1000, 2,
             [](unsigned unit, unsigned offset) -> std::uint64_t {
                 return 100000U * unit + 17U * (offset / 2) + 70000U;
             }},
    DataType{
        "uint16", "0.1", 0x3000, 1,
        [](unsigned unit, unsigned offset) -> std::uint64_t { return 1 + (offset + unit) % 1000; }},
};
constexpr std::size_t uint16 = 3;

/// The register @p index of the model @p model.
struct Register {
    Register(int model, int index)
        : field(static_cast<std::size_t>(index) % fields.size()),
          type(dataTypes.at(field == tariffEnabled
                                ? uint16
                                : static_cast<std::size_t>(index + model) % dataTypes.size())),
          offset(4 * index),
          space((index + model) % 3 != 0 ? Space::input : Space::holding) {}

    std::string json() const {
        return R"({"address":)" + std::to_string(type.firstAddress + offset) + R"(,"fieldType":")" +
               fields.at(field) + R"(","modbusDataType":")" + type.name +
               R"(","length":1,"scaleValue":)" + type.scale + R"(,"registerType":")" +
               (space == Space::input ? "input" : "holding") + R"("})";
    }

    house::Words words(int unit) const {
        const std::uint64_t value =
            type.value(static_cast<unsigned>(unit), static_cast<unsigned>(offset));
        house::Words result;
        for (int i = 0; i < type.words; ++i)
            result.push_back(wordOf(value, i, type.words));
        return result;
    }

    std::size_t field;
    DataType type;
    int offset;
    Space space;
};

std::string joined(int count, const std::function<std::string(int)>& element) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += (i == 0 ? "" : ",") + element(i);
    return text;
}

std::string fourDigits(int number) {
    const std::string digits = std::to_string(number);
    return std::string(4 - digits.size(), '0') + digits;
}

int modelOf(int meter) {
    return meter % static_cast<int>(models.size());
}

int unitOf(int meter) {
    return meter + 1;
}

const char* json(bool value) {
    return value ? "true" : "false";
}

std::string meterJson(int meter) {
    const auto model = static_cast<std::size_t>(modelOf(meter));
    return R"({"id":"metering-)" + fourDigits(meter) + R"(","configId":")" + models.at(model).id +
           R"(","model":")" + models.at(model).model + R"(","manufacturer":")" +
           models.at(model).manufacturer + R"(","serial":")" + std::to_string(40000123 + meter) +
           R"(","name":"Meter )" + std::to_string(meter + 1) + R"(","tariffEnabled":)" +
           json(meter % 2 == 0) + R"(,"isGlobal":)" + json(meter == 0) + R"(,"slaveAddress":)" +
           std::to_string(unitOf(meter)) + R"(,"application":")" + applications.at(model) + R"("})";
}

std::string modelJson(int number, int registers) {
    const Model& model = models.at(static_cast<std::size_t>(number));
    return R"({"id":")" + std::string(model.id) + R"(","displayName":")" + model.displayName +
           R"(","model":")" + model.model + R"(","manufacturer":")" + model.manufacturer +
           R"(","registers":[{"address":8176,"fieldType":"serial","modbusDataType":"uint32",)" +
           R"("length":1,"scaleValue":1.0,"registerType":"holding"},)" +
           joined(registers, [number](int i) { return Register(number, i).json(); }) + "]}";
}

std::string replyOf(const std::string& data) {
    return R"({"data":)" + data + "}";
}

} // namespace

MeasuredHome::MeasuredHome(int meters, int registersPerMeter)
    : m_meters(meters), m_registersPerMeter(registersPerMeter) {}

std::string MeasuredHome::rtuConfig() const {
    return replyOf(R"({"serialDevice":"/dev/ttymxc2","baudRate":"baud9600","parity":"even",)"
                   R"("dataBits":"bits8","stopBits":"bits1"})");
}

std::string MeasuredHome::attached() const {
    return replyOf("[" + joined(m_meters, meterJson) + "]");
}

std::string MeasuredHome::supported() const {
    const auto model = [this](int number) { return modelJson(number, m_registersPerMeter); };
    return replyOf("[" + joined(static_cast<int>(models.size()), model) + "]");
}

std::string MeasuredHome::configFile(std::uint16_t port) const {
    return R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)" + std::to_string(port) +
           R"(,"timeoutResponseSec":3,"timeoutIndicationSec":3}})";
}

void MeasuredHome::furnish(house::ModbusSlave& bus) const {
    for (int meter = 0; meter < m_meters; ++meter) {
        for (int i = 0; i < m_registersPerMeter; ++i) {
            const Register r(modelOf(meter), i);
            bus.unit(unitOf(meter))
                .set(r.space, r.type.firstAddress + r.offset, r.words(unitOf(meter)));
        }
    }
}
