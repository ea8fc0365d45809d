#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/enum-names.h"
#include "inspector/daemon/register-row.h"
#include "inspector/daemon/serials.h"
#include "inspector/input/notation.h"
#include "inspector/input/pointer.h"
#include "inspector/map/checks.h"
#include "inspector/output/number-text.h"

#include <modbus/modbus.h>

#include <cmath>
#include <string>
#include <string_view>

namespace inspector {
namespace {

using vxModel::ModbusDataType;
using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

constexpr int addressSpace = 65536;

std::string roughly(double number) {
    return rounded(number, 6);
}

/// To the values of a register. There are many registers, and few of them have findings.
class RegisterPath {
public:
    RegisterPath(const std::string& list, std::size_t index) : m_list(list), m_index(index) {}

    std::string to(std::string_view key) const {
        return pointerTo(pointerTo(m_list, m_index), key);
    }

private:
    const std::string& m_list;
    std::size_t m_index;
};

bool isMeasured(const ModbusRegister& x) {
    return !factsOf(x.fieldType).unit.empty();
}

void checkRequest(const ModbusRegister& x, const RegisterPath& path, const Reporter& report) {
    const int words = wordsOf(x);
    if (words == 0)
        report("no-words", Severity::error, path.to("length"),
               "The daemon asks the meter for no words, which every meter refuses.",
               "Set \"length\" to 1, or for a text to the number of its words.");
    if (words > MODBUS_MAX_READ_REGISTERS) {
        report("too-many-words", Severity::error, path.to("length"),
               "The daemon would need " + std::to_string(words) + " words, and one request has " +
                   std::to_string(MODBUS_MAX_READ_REGISTERS) + " at most, so each read fails.",
               "Make \"length\" smaller: a number needs 1.");
    } else if (x.address + words > addressSpace) {
        report("beyond-address-space", Severity::error, path.to("address"),
               "The daemon asks for words behind address 65535, which every meter refuses.",
               "Correct \"address\" or \"length\".");
    }
    if (x.length > 1 && hasEffect(x.modbusDataType, x.fieldType) && hasNumber(x.modbusDataType)) {
        report("unused-words", Severity::warning, path.to("length"),
               "The daemon reads " + std::to_string(words) + " words and uses the first " +
                   std::to_string(words / x.length) + ".",
               "Set \"length\" to 1: it counts numbers, not words.");
    }
}

void checkType(const ModbusRegister& x, const RegisterPath& path, const Reporter& report) {
    // What is dropped anyway may have any type.
    if (factsOf(x.fieldType).member.empty() || hasEffect(x.modbusDataType, x.fieldType))
        return;
    const std::string typePath = path.to("modbusDataType");
    const std::string type = quoted(nameOf(x.modbusDataType));
    const std::string field = quoted(nameOf(x.fieldType));
    const bool isText = x.modbusDataType == ModbusDataType::ascii;
    if (x.fieldType == ModbusFieldType::tariffEnabled && (isText || hasNumber(x.modbusDataType))) {
        report("tariff-not-uint16", Severity::error, typePath,
               "The daemon takes " + field + " from a \"uint16\" alone and drops this " + type +
                   ".",
               "Take \"uint16\".");
    } else if (isText) {
        report("text-for-number", Severity::error, typePath,
               "The daemon reads a text for the number " + field + " and drops it.",
               "Take the type of the number that the meter's description names.");
    } else if (!hasNumber(x.modbusDataType)) {
        report("no-decoder", Severity::error, typePath,
               "The daemon reads a register of type " + type +
                   " and drops it, as it can't decode it.",
               x.modbusDataType == ModbusDataType::int16
                   ? "Take \"uint16\" if the value is never negative, or another register."
                   : "Take the type of the value that the meter's description names.");
    } else {
        report("number-for-text", Severity::error, typePath,
               "The daemon takes " + field + " from \"ascii\" or \"uint32\" alone and drops this " +
                   type + ".",
               "Take \"ascii\" for a text, or \"uint32\" for a number.");
    }
}

// In kilowatt-hours. Counters of a home stand between the first two; meters count in steps from a
// watt-second to less than a megawatt-hour.
constexpr double leastCounter = 1;
constexpr double mostCounter = 200000;
constexpr double smallestUnit = 1e-7;
constexpr double largestUnit = 1000;

std::string tooLarge(double unit) {
    if (!std::isfinite(unit)) {
        return "Each 1 that the meter counts is more than the message can hold, where a counter "
               "has "
               "1 to " +
               roughly(mostCounter) + " kWh in all.";
    }
    return "Each 1 that the meter counts becomes " + roughly(unit) +
           " kWh in the message, where a counter has 1 to " + roughly(mostCounter) + " kWh in all.";
}

std::string tooSmall(double unit, double largest, bool isFloat) {
    const std::string counted =
        "A count of 1000000 becomes " + roughly(unit * 1e6) + " kWh in the message";
    return isFloat ? counted + "."
                   : counted + ", and the largest one " + roughly(largest) + " kWh.";
}

void checkEnergy(const ModbusRegister& x, const RegisterRow& row, const RegisterPath& path,
                 const Reporter& report) {
    const bool isFloat = x.modbusDataType == ModbusDataType::float32;
    const double unit = std::abs(row.kilowattHoursOfOne);
    const double largest = row.range.largest / 3600000;
    const bool isTooLarge = isFloat ? unit > largestUnit : unit >= largestUnit;
    const bool isTooSmall = largest < leastCounter || unit < smallestUnit;
    if (isTooLarge || isTooSmall)
        report("absurd-energy", Severity::warning, path.to("scaleValue"),
               isTooLarge ? tooLarge(unit) : tooSmall(unit, largest, isFloat),
               "The scale takes the meter's number to kilowatt-hours: 0.001 for watt-hours.");
}

void checkScale(const ModbusRegister& x, RegisterRows& rows, const RegisterPath& path,
                const Reporter& report) {
    if (!isMeasured(x))
        return;
    if (!std::isfinite(x.scaleValue)) {
        report("scale-not-finite", Severity::error, path.to("scaleValue"),
               "The daemon sends null for every value of this register.", "Correct the scale.");
        return;
    }
    if (x.scaleValue == 0) {
        report("scale-zero", Severity::error, path.to("scaleValue"),
               "Every value becomes zero, and the daemon leaves a zero out of the message.",
               "Give it the meter's factor, or 1.");
        return;
    }
    if (x.scaleValue < 0) {
        report("scale-negative", Severity::warning, path.to("scaleValue"),
               "The daemon turns the sign of every value: " +
                   std::string(x.fieldType == ModbusFieldType::powerImport
                                   ? "what the meter imports goes out as production."
                                   : "it goes out negative."),
               "Take a positive scale, or keep it if the meter counts the other way round.");
    }
    if (factsOf(x.fieldType).unit == "Ws" && hasEffect(x.modbusDataType, x.fieldType))
        checkEnergy(x, rows.of(x), path, report);
}

void checkNotation(const ModbusRegister& x, const RegisterPath& path, const Reporter& report) {
    const auto notation = notationOf(x.address);
    if (!notation)
        return;
    const std::string wire = std::to_string(notation->address);
    report("looks-like-notation", Severity::warning, path.to("address"),
           "The daemon puts " + std::to_string(x.address) +
               " on the wire as it stands, but it looks like the notation of " + notation->space +
               " register " + wire + ".",
           "If the description counts so, take the address " + wire +
               " and \"registerType\": " + quoted(notation->space) + ".");
}

} // namespace

void checkRegisters(const Installation& installation, Findings& findings) {
    if (!installation.models)
        return;
    const Reporter report("supported", findings);
    const Serials serials(installation);
    RegisterRows rows;
    for (const auto& [model, modelPath] : *installation.models) {
        const std::string listPath = pointerTo(modelPath, "registers");
        const bool needsSerial = serials.needsRegister(model);
        for (std::size_t i = 0; i < model.registers.size(); ++i) {
            const ModbusRegister& aRegister = model.registers[i];
            const RegisterPath path(listPath, i);
            // It isn't read at all.
            if (aRegister.fieldType == ModbusFieldType::serial && !needsSerial)
                continue;
            checkRequest(aRegister, path, report);
            checkType(aRegister, path, report);
            checkScale(aRegister, rows, path, report);
            checkNotation(aRegister, path, report);
        }
    }
}

} // namespace inspector
