#pragma once

#include <string>
#include <vector>

/// Documents for `map`, sound but for what a test changes.
namespace map_documents {

inline const std::string serialRegister =
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4})";
inline const std::string energyRegister =
    R"({"address":10,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.01})";
inline const std::string oneMeter = R"({"data":[{"configId":"m","slaveAddress":7}]})";

/// A reply with one model, a register in each line.
inline std::string withoutSerial(const std::vector<std::string>& registers) {
    std::string text = R"({"data":[{"id":"m","registers":[)";
    const char* separator = "\n";
    for (const std::string& aRegister : registers) {
        text += separator + aRegister;
        separator = ",\n";
    }
    return text + "]}]}";
}

/// The same with a serial register in the second line, ahead of the others.
inline std::string withRegisters(std::vector<std::string> registers) {
    registers.insert(registers.begin(), serialRegister);
    return withoutSerial(registers);
}

} // namespace map_documents
