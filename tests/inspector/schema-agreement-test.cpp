#include "inspector/schema-validator.h"

#include "modbus/config-file.h"
#include "modbus/server-replies.h"
#include "vx/str.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string/finder.hpp>
#include <boost/algorithm/string/iter_find.hpp>

#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The same values in every kind of member, once for the daemon's own conversion and once for the
// validator.

using inspector::FormatText;
using orv::modbus::ConfigFile;
using orv::modbusreader::AttachedMetersReply;
using orv::modbusreader::MeterConfigReply;
using orv::modbusreader::SerialPortConfigReply;

namespace {

/// Of each type of JSON; numbers, and numbers as texts; texts that are no number to their end, and
/// names.
const std::string valuesText =
    R"(null | true | false | [] | {} | {"other":[1]} | [null] | [1] | [{}] | [[]] | )"
    R"({"data":null} | {"data":7} | {"modbusMiscConfig":null} | {"modbusMiscConfig":[]} | 0 | )"
    R"(-0 | 1 | 12 | 12.0 | 1.2e1 | 12.5 | -0.5 | -1 | 255 | 255.5 | 256 | 65535 | 65536 | )"
    R"(2147483647 | 2147483648 | -2147483648 | -2147483649 | 9223372036854775808 | 1e38 | )"
    R"(1e39 | -1e39 | 1e300 | "0" | "-0" | "12" | "+12" | "-12" | "0012" | " \t12" | "12.0" | )"
    R"("12.5" | "1.2e1" | ".5" | "5." | "255" | "256" | "65535" | "65536" | "2147483647" | )"
    R"("2147483648" | "-2147483648" | "-2147483649" | "99999999999999999999" | "" | " " | )"
    R"("abc" | "12abc" | "12 " | "0,1" | "0x10" | "inf" | "nan" | "- 12" | "--12" | "none" | )"
    R"("None" | "none " | "serial" | "baud9600" | "true" | "null")";

std::vector<std::string> valuesOf(const std::string& text) {
    std::vector<std::string> values;
    boost::iter_split(values, text, boost::first_finder(" | "));
    return values;
}

const std::vector<std::string> values = valuesOf(valuesText);

/// Text of what the daemon reads; nothing if it refuses the document.
template <class T, class Member>
std::optional<std::string> read(const std::string& document, Member member) {
    try {
        return vx::str("", member(vx::fromJson<T>(document.c_str())));
    } catch (const vx::Exception&) {
        return std::nullopt;
    }
}

/// A kind of member: where it stands, and how the daemon reads it.
struct Kind {
    std::string name;
    std::string format;
    std::string before;
    std::string behind;
    std::function<std::optional<std::string>(const std::string& document)> read;
};

Kind ofRegister(const std::string& key,
                const std::function<std::string(const vxModel::ModbusRegister&)>& member) {
    return {key, "supported", R"({"data":[{"registers":[{")" + key + "\":", "}]}]}",
            [member](const std::string& document) {
                return read<MeterConfigReply>(document, [&](const MeterConfigReply& reply) {
                    return member(reply.data.at(0).registers.at(0));
                });
            }};
}

Kind ofMeter(const std::string& key,
             const std::function<std::string(const vxModel::ModbusMeter&)>& member) {
    return {key, "attached", R"({"data":[{")" + key + "\":", "}]}",
            [member](const std::string& document) {
                return read<AttachedMetersReply>(document, [&](const AttachedMetersReply& reply) {
                    return member(reply.data.at(0));
                });
            }};
}

template <class T>
Kind ofDocument(const std::string& format, const std::string& before = "",
                const std::string& behind = "") {
    return {before.empty() ? format : format + " " + before, format, before, behind,
            [](const std::string& document) {
                return read<T>(document, [](const T& whole) { return vx::str("", whole); });
            }};
}

std::vector<Kind> kinds() {
    return {
        ofRegister("length", [](const auto& x) { return vx::str("", x.length); }),
        ofRegister("address", [](const auto& x) { return vx::str("", x.address); }),
        ofRegister("scaleValue", [](const auto& x) { return vx::str("", x.scaleValue); }),
        ofRegister("fieldType", [](const auto& x) { return vx::str("", x.fieldType); }),
        ofMeter("slaveAddress", [](const auto& x) { return vx::str("", x.slaveAddress); }),
        ofMeter("tariffEnabled", [](const auto& x) { return vx::str("", x.tariffEnabled); }),
        ofMeter("id", [](const auto& x) { return vx::str("", x.id); }),
        ofMeter("serial", [](const auto& x) { return vx::str("", x.serial); }),
        ofDocument<MeterConfigReply>("supported"),
        ofDocument<MeterConfigReply>("supported", R"({"data":)", "}"),
        ofDocument<MeterConfigReply>("supported", R"({"data":[{"registers":)", "}]}"),
        ofDocument<AttachedMetersReply>("attached"),
        ofDocument<SerialPortConfigReply>("serial"),
        ofDocument<SerialPortConfigReply>("serial", R"({"data":)", "}"),
        ofDocument<ConfigFile>("config"),
        ofDocument<ConfigFile>("config", R"({"modbusMiscConfig":)", "}"),
    };
}

struct Verdict {
    std::string kind;
    std::string value;
    /// By the daemon; nothing if it refuses it.
    std::optional<std::string> read;
    bool isAllowed = false;
};

std::vector<Verdict> verdictsOfAll() {
    std::vector<Verdict> verdicts;
    std::vector<FormatText> documents;
    for (const Kind& kind : kinds())
        for (const std::string& value : values) {
            documents.push_back({kind.format, kind.before + value + kind.behind});
            verdicts.push_back({kind.name, value, kind.read(documents.back().text)});
        }
    const std::vector<std::string> mistakes = inspector::mistakesOf(documents);
    for (std::size_t i = 0; i < verdicts.size(); ++i)
        verdicts[i].isAllowed = mistakes[i].empty();
    return verdicts;
}

const std::vector<Verdict>& verdicts() {
    static const std::vector<Verdict> all = verdictsOfAll();
    return all;
}

/// The values that the daemon takes and the schema refuses, with what they are read as.
std::string takenByTheDaemonAlone(const std::string& kind) {
    std::string lines;
    for (const Verdict& x : verdicts())
        if (x.kind == kind && x.read && !x.isAllowed)
            lines += x.value + " is " + *x.read + "\n";
    return lines;
}

} // namespace

TEST(SchemaAgreement, whatTheDaemonRefusesTheSchemaRefuses) {
    for (const Verdict& x : verdicts())
        EXPECT_TRUE(x.read || !x.isAllowed) << x.kind << " " << x.value;
}

TEST(SchemaAgreement, whatTheDaemonTakesIsAllowedButForFractionsAndTextsThatAreNoWholeNumber) {
    for (const std::string kind : {"length", "address", "slaveAddress"}) {
        EXPECT_EQ(takenByTheDaemonAlone(kind), R"(12.5 is 12
-0.5 is 0
255.5 is 255
"12.5" is 12
"1.2e1" is 1
".5" is 0
"" is 0
" " is 0
"abc" is 0
"12abc" is 12
"12 " is 12
"0,1" is 0
"0x10" is 0
"inf" is 0
"nan" is 0
"- 12" is 0
"--12" is 0
"none" is 0
"None" is 0
"none " is 0
"serial" is 0
"baud9600" is 0
"true" is 0
"null" is 0
)") << kind;
    }
}

TEST(SchemaAgreement, whatTheDaemonTakesIsAllowedButForInfiniteScalesAndTextsThatAreNoNumber) {
    EXPECT_EQ(takenByTheDaemonAlone("scaleValue"), R"(1e39 is inf
-1e39 is -inf
1e300 is inf
"" is 0
" " is 0
"abc" is 0
"12abc" is 0
"12 " is 0
"0,1" is 0
"0x10" is 16
"inf" is inf
"nan" is nan
"- 12" is 0
"--12" is 0
"none" is 0
"None" is 0
"none " is 0
"serial" is 0
"baud9600" is 0
"true" is 0
"null" is 0
)");
}

TEST(SchemaAgreement, whatTheDaemonTakesIsAllowedButForTextsThatAreNoName) {
    std::string texts;
    for (const std::string& value : values)
        if (value.starts_with('"') && value != R"("none")" && value != R"("serial")")
            texts += value + " is none\n";
    EXPECT_EQ(takenByTheDaemonAlone("fieldType"), texts);
}

TEST(SchemaAgreement, whatTheDaemonTakesOfAllElseIsAllowed) {
    const std::set<std::string> others = {"length", "address", "slaveAddress", "scaleValue",
                                          "fieldType"};
    for (const Verdict& x : verdicts())
        EXPECT_TRUE(others.contains(x.kind) || x.read.has_value() == x.isAllowed)
            << x.kind << " " << x.value;
}

TEST(SchemaAgreement, theSchemaCannotSeeThatATextEndsAtItsFirstNul) {
    const std::string document = R"({"data":[{"serial":"4000\u00000123"}]})";

    EXPECT_EQ(vx::fromJson<AttachedMetersReply>(document.c_str()).data.front().serial, "4000");
    EXPECT_EQ(inspector::mistakeOf("attached", document), "");
}

TEST(SchemaAgreement, theSchemaCannotSeeThatAWholeNumberBeyond64BitsIsCutToThem) {
    const std::string document =
        R"({"data":[{"registers":[{"scaleValue":100000000000000000000}]}]})";

    EXPECT_EQ(vx::fromJson<MeterConfigReply>(document.c_str()).data[0].registers[0].scaleValue,
              18446744073709551616.0F);
    EXPECT_EQ(inspector::mistakeOf("supported", document), "");
}

TEST(SchemaAgreement, theSchemaCannotSeeThatATextIsANumberBeyondSinglePrecision) {
    const std::string document = R"({"data":[{"registers":[{"scaleValue":"1e39"}]}]})";

    EXPECT_EQ(vx::fromJson<MeterConfigReply>(document.c_str()).data[0].registers[0].scaleValue,
              std::numeric_limits<float>::infinity());
    EXPECT_EQ(inspector::mistakeOf("supported", document), "");
}

TEST(SchemaAgreement, theSchemaCannotSeeThatAnUnknownKeyNestsTooDeep) {
    constexpr int depth = 32;
    const std::string document =
        R"({"other":)" + std::string(depth, '[') + std::string(depth, ']') + "}";

    EXPECT_THROW(vx::fromJson<AttachedMetersReply>(document.c_str()), vx::Exception);
    EXPECT_EQ(inspector::mistakeOf("attached", document), "");
}
