#include "house/modbus-exchange.h"

#include <array>
#include <cstdio>

#include <modbus/modbus.h>

namespace house {

namespace {

std::string hexadecimal(const Words& words) {
    std::string result;
    for (const std::uint16_t word : words) {
        std::array<char, 8> digits{};
        std::snprintf(digits.data(), digits.size(), " %04X", static_cast<unsigned>(word));
        result += digits.data();
    }
    return result;
}

/// What the transcript says of an answer that comes with a fault.
std::string remark(const Fault& fault) {
    switch (fault.kind()) {
    case Fault::Kind::shortAnswer:
        return " short";
    case Fault::Kind::late:
        return " late";
    case Fault::Kind::garbled:
        return " garbled";
    case Fault::Kind::otherUnit:
        return " unit " + std::to_string(fault.unit());
    case Fault::Kind::silence:
    case Fault::Kind::hangUp:
    case Fault::Kind::exception:
        break;
    }
    return {};
}

} // namespace

Query Query::in(const std::uint8_t* message) {
    return {message[0], message[1], message[2] << 8 | message[3], message[4] << 8 | message[5]};
}

bool Query::reads() const {
    return function == MODBUS_FC_READ_HOLDING_REGISTERS ||
           function == MODBUS_FC_READ_INPUT_REGISTERS;
}

Space Query::space() const {
    return function == MODBUS_FC_READ_INPUT_REGISTERS ? Space::input : Space::holding;
}

std::string Query::text() const {
    const std::string head = ">> unit " + std::to_string(unit) + "  ";
    if (!reads())
        return head + "function " + std::to_string(function) + "\n";
    return head + (space() == Space::input ? "read input " : "read holding ") +
           std::to_string(address) + " x" + std::to_string(count) + "\n";
}

Bytes Reply::message(const Query& query) const {
    const auto unit = has(Fault::Kind::otherUnit) ? static_cast<std::uint8_t>(fault->unit())
                                                  : static_cast<std::uint8_t>(query.unit);
    const auto function = static_cast<std::uint8_t>(query.function);
    if (exception) {
        constexpr unsigned failed = 0x80;
        return {unit, static_cast<std::uint8_t>(function | failed),
                static_cast<std::uint8_t>(*exception)};
    }
    Bytes result{unit, function, static_cast<std::uint8_t>(2 * words.size())};
    for (const std::uint16_t word : words)
        result.insert(result.end(), {highByte(word), lowByte(word)});
    return result;
}

std::string Reply::text() const {
    if (has(Fault::Kind::silence))
        return "<< silence\n";
    if (has(Fault::Kind::hangUp))
        return "<< hang-up\n";
    const std::string head = "<<" + (fault ? remark(*fault) : "");
    return head + (exception ? " exception " + std::to_string(*exception) : hexadecimal(words)) +
           "\n";
}

} // namespace house
