#include "inspector/reading/reading-report.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/enum-names.h"
#include "inspector/output/number-text.h"
#include "inspector/output/text-table.h"
#include "vx/date-time.h"
#include "vx/json.h"
#include "vx/record.h"
#include "vx/str.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace inspector {
namespace {

std::string wordsText(const Answer& answer) {
    std::string text;
    for (const std::uint16_t word : answer.words) {
        std::array<char, 8> hex;
        std::snprintf(hex.data(), hex.size(), "%04X", word);
        text.append(text.empty() ? "" : " ").append(hex.data());
    }
    return text;
}

std::string momentText(std::chrono::system_clock::time_point moment) {
    return vx::toString(std::chrono::time_point_cast<vx::DateTime::duration>(moment));
}

std::string milliseconds(const Answer& answer) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.1f ms", answer.time.count() * 1000);
    return text.data();
}

std::string spaceOf(const vxModel::ModbusRegister& entry) {
    return entry.registerType == vxModel::ModbusRegisterType::input ? "input" : "holding";
}

/// What became of a register, for a person.
std::string outcomeOf(const RegisterReading& x) {
    if (!x.answer)
        return "not read, the serial is known";
    if (!x.answer->isGood())
        return x.answer->failure();
    if (x.member.empty())
        return "dropped";
    const std::string unit = factsOf(x.entry.fieldType).unit;
    return x.member + " " + x.value + (unit.empty() ? "" : " " + unit);
}

/// Of what a record has: members that are texts, numbers and flags.
void writeJson(JsonOutput& output, json_object* json) {
    switch (json_object_get_type(json)) {
    case json_type_object:
        output.beginObject();
        for (auto member = json_object_iter_begin(json), end = json_object_iter_end(json);
             json_object_iter_equal(&member, &end) == 0; json_object_iter_next(&member)) {
            output.key(json_object_iter_peek_name(&member));
            writeJson(output, json_object_iter_peek_value(&member));
        }
        output.endObject();
        break;
    case json_type_string:
        output.value(std::string_view(json_object_get_string(json),
                                      static_cast<std::size_t>(json_object_get_string_len(json))));
        break;
    case json_type_boolean:
        output.value(json_object_get_boolean(json) != 0);
        break;
    case json_type_int:
        output.value(json_object_get_int64(json));
        break;
    case json_type_null:
        output.null();
        break;
    default:
        output.value(json_object_get_double(json));
    }
}

void writeAnswer(JsonOutput& output, const RegisterReading& x) {
    output.member("asked", wordsOf(x.entry));
    output.member("time", momentText(x.moment));
    output.member("milliseconds", x.answer->time.count() * 1000);
    output.key("words");
    output.beginList();
    for (const std::uint16_t word : x.answer->words)
        output.value(word);
    output.endList();
    if (!x.answer->isGood())
        output.member("failure", x.answer->failure());
    if (const auto exception = x.answer->exception())
        output.member("exception", *exception);
}

void writeRegister(JsonOutput& output, const RegisterReading& x) {
    output.beginObject();
    output.member("space", spaceOf(x.entry));
    output.member("address", x.entry.address);
    output.member("dataType", nameOf(x.entry.modbusDataType));
    output.member("scale", writtenScale(x.entry.scaleValue));
    output.member("fieldType", nameOf(x.entry.fieldType));
    output.member("read", x.answer.has_value());
    if (x.answer)
        writeAnswer(output, x);
    if (!x.member.empty()) {
        output.member("member", x.member);
        output.key("value");
        writeJson(output, vx::parseJsonFragment(x.value.c_str()).get());
        output.member("unit", factsOf(x.entry.fieldType).unit);
    }
    output.endObject();
}

} // namespace

void printReading(Terminal& terminal, const MeterReading& reading) {
    using enum TextTable::Side;
    terminal.line(terminal.bold("Meter " + std::to_string(reading.slaveAddress)));
    TextTable table({{"space"},
                     {"address", right},
                     {"type"},
                     {"time", left, 3},
                     {"took", right, 2},
                     {"value under the map"},
                     {"words", left, 1}});
    for (const RegisterReading& x : reading.registers) {
        table.add({spaceOf(x.entry), std::to_string(x.entry.address),
                   nameOf(x.entry.modbusDataType), x.answer ? momentText(x.moment) : "",
                   x.answer ? milliseconds(*x.answer) : "", outcomeOf(x),
                   x.answer ? wordsText(*x.answer) : ""});
    }
    table.print(terminal, 2);
    terminal.line("Record:  " + vx::str("", reading.record));
    terminal.line("Message: " + (reading.isEnded ? "none, as the reading was ended"
                                 : reading.message.empty()
                                     ? "none, as the serial of the meter isn't known"
                                     : reading.message));
}

void writeReading(JsonOutput& output, const MeterReading& reading) {
    output.beginObject();
    output.member("slaveAddress", reading.slaveAddress);
    output.key("registers");
    output.beginList();
    for (const RegisterReading& x : reading.registers)
        writeRegister(output, x);
    output.endList();
    output.key("record");
    writeJson(output, vx::toJsonFragment(reading.record).get());
    output.key("message");
    if (reading.message.empty())
        output.null();
    else
        output.value(reading.message);
    if (reading.isEnded)
        output.member("ended", true);
    output.endObject();
}

} // namespace inspector
