#include "inspector/schema-validator.h"

#include "metering/readings.h"
#include "model/modbus.h"
#include "support/temporary-directory.h"
#include "vx/str.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>

#include <limits>
#include <string>
#include <vector>

// Whole documents, good, odd and wrong ones.

using inspector::FormatText;
using inspector::mistakeOf;
using inspector::mistakesOf;
using orv::metering::readings::MeterId;
using orv::metering::readings::ModbusMeteringSystem;

namespace {

const std::string supported =
    R"({"data":[{"id":"m","displayName":"Model","model":"M","manufacturer":"Maker","registers":[)"
    R"({"address":70,"fieldType":"serial","modbusDataType":"ascii","length":6},)"
    R"({"address":100,"fieldType":"powerImport","modbusDataType":"float32","length":1,)"
    R"("scaleValue":0.5,"registerType":"input"}]}]})";
const std::string attached =
    R"({"data":[{"id":"m1","configId":"m","model":"M","manufacturer":"Maker","serial":"S-1",)"
    R"("name":"Solar","tariffEnabled":true,"isGlobal":false,"slaveAddress":7,)"
    R"("application":"solar"}]})";
const std::string serial =
    R"({"data":{"serialDevice":"/dev/ttymxc2","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})";
const std::string config =
    R"({"modbusMiscConfig":{"modbusTCPServer":"192.0.2.7","port":502,"readIntervalUSec":20000,)"
    R"("timeoutResponseSec":3,"timeoutIndicationSec":3}})";
const std::string soundMessage =
    R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus",)"
    R"("lastChanged":"2026-11-14T03:24:08.123Z","tariffEnabled":true,"powerConsumed":1500.5,)"
    R"("energyConsumed":12345.25})";

/// One mistake: what stands in its place in a good document, and what the validator says.
struct Mistake {
    std::string good;
    std::string wrong;
    std::string said;
};

/// Puts each mistake into the good document alone.
void expectMistakes(const std::string& format, const std::string& good,
                    const std::vector<Mistake>& mistakes) {
    std::vector<FormatText> documents = {{format, good}};
    for (const Mistake& x : mistakes) {
        documents.push_back({format, boost::replace_first_copy(good, x.good, x.wrong)});
        EXPECT_NE(documents.back().text, good) << x.good;
    }
    const std::vector<std::string> said = mistakesOf(documents);
    EXPECT_EQ(said[0], "");
    for (std::size_t i = 0; i < mistakes.size(); ++i)
        EXPECT_EQ(said[i + 1], mistakes[i].said) << documents[i + 1].text;
}

void expectGood(const std::vector<FormatText>& documents) {
    const std::vector<std::string> said = mistakesOf(documents);
    for (std::size_t i = 0; i < documents.size(); ++i)
        EXPECT_EQ(said[i], "") << documents[i].text;
}

/// A document for each name of an enumeration.
template <class E>
void addNames(std::vector<FormatText>& documents, const std::string& format,
              const std::string& begin, const std::string& end) {
    const vx::EnumTable table = vxEnum(E{});
    for (const vx::EnumRow* row = table.begin; row != table.end; ++row)
        documents.push_back({format, vx::str("", begin, "\"", row->name, "\"", end)});
}

/// The examples of a document, in their order.
std::vector<std::string> examplesOf(const std::string& file) {
    const std::string text = contentOf(SOURCE_DIRECTORY "/" + file);
    const std::string begin = "```json\n";
    std::vector<std::string> examples;
    for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
        at += begin.size();
        examples.push_back(text.substr(at, text.find("```", at) - at));
    }
    return examples;
}

} // namespace

TEST(SchemaDocuments, refuseAWrongListOfModelsAtTheMistake) {
    const std::string first = "/data/0/registers/0/";
    const std::string second = "/data/0/registers/1/";
    expectMistakes("supported", supported,
                   {{supported, "[]", " type"},
                    {supported, "7", " type"},
                    {supported.substr(8, supported.size() - 9), "{}", "/data type"},
                    {supported.substr(9, supported.size() - 11), "[]", "/data/0 type"},
                    {R"("m")", "7", "/data/0/id type"},
                    {R"("Model")", "true", "/data/0/displayName type"},
                    {R"("M")", "[]", "/data/0/model type"},
                    {R"("Maker")", "{}", "/data/0/manufacturer type"},
                    {"70", "65536", first + "address maximum"},
                    {"70", "-1", first + "address minimum"},
                    {"70", "70.5", first + "address type"},
                    {"70", "true", first + "address type"},
                    {"70", R"("0x46")", first + "address pattern"},
                    {"70", R"("65536")", first + "address pattern"},
                    {R"("serial")", R"("Serial")", first + "fieldType enum"},
                    {R"("serial")", "20", first + "fieldType enum"},
                    {R"("ascii")", R"("string")", first + "modbusDataType enum"},
                    {"6}", "256}", first + "length maximum"},
                    {"6}", R"("six"})", first + "length pattern"},
                    {"0.5", R"("0,5")", second + "scaleValue pattern"},
                    {"0.5", "false", second + "scaleValue type"},
                    {"0.5", "1e39", second + "scaleValue maximum"},
                    {R"("input")", R"("coil")", second + "registerType enum"}});
}

TEST(SchemaDocuments, refuseAWrongListOfMetersAtTheMistake) {
    expectMistakes("attached", attached,
                   {{attached, R"("")", " type"},
                    {R"("m1")", "1", "/data/0/id type"},
                    {R"("m")", "false", "/data/0/configId type"},
                    {R"("M")", "1", "/data/0/model type"},
                    {R"("Maker")", "1", "/data/0/manufacturer type"},
                    {R"("S-1")", "40000123", "/data/0/serial type"},
                    {R"("Solar")", "{}", "/data/0/name type"},
                    {"true", R"("true")", "/data/0/tariffEnabled type"},
                    {"false", "0", "/data/0/isGlobal type"},
                    {"7,", "2147483648,", "/data/0/slaveAddress maximum"},
                    {"7,", "-2147483649,", "/data/0/slaveAddress minimum"},
                    {"7,", "[7],", "/data/0/slaveAddress type"},
                    {R"("solar")", R"("roof")", "/data/0/application enum"}});
}

TEST(SchemaDocuments, refuseWrongSerialParametersAtTheMistake) {
    expectMistakes("serial", serial,
                   {{serial, R"({"data":[]})", "/data type"},
                    {R"("/dev/ttymxc2")", "2", "/data/serialDevice type"},
                    {R"("baud19200")", "19200", "/data/baudRate enum"},
                    {R"("baud19200")", R"("19200")", "/data/baudRate enum"},
                    {R"("even")", R"("E")", "/data/parity enum"},
                    {R"("even")", R"("uninitialized")", "/data/parity enum"},
                    {R"("bits8")", "8", "/data/dataBits enum"},
                    {R"("bits1")", R"("bits3")", "/data/stopBits enum"}});
}

TEST(SchemaDocuments, refuseAWrongConfigurationFileAtTheMistake) {
    const std::string section = "/modbusMiscConfig/";
    expectMistakes("config", config,
                   {{config, R"({"modbusMiscConfig":"192.0.2.7"})", "/modbusMiscConfig type"},
                    {R"("192.0.2.7")", "192", section + "modbusTCPServer type"},
                    {"502", R"("502/tcp")", section + "port pattern"},
                    {"502", "4294967296", section + "port maximum"},
                    {"20000", "0.02", section + "readIntervalUSec type"},
                    {R"("timeoutResponseSec":3)", R"("timeoutResponseSec":0.5)",
                     section + "timeoutResponseSec type"},
                    {R"("timeoutIndicationSec":3)", R"("timeoutIndicationSec":"3s")",
                     section + "timeoutIndicationSec pattern"}});
}

TEST(SchemaDocuments, refuseAWrongMessageAtTheMistake) {
    const std::string moment = R"("2026-11-14T03:24:08.123Z")";
    expectMistakes("message", soundMessage,
                   {{soundMessage, "null", " type"},
                    {soundMessage, "[" + soundMessage + "]", " type"},
                    {R"("id":"S-1",)", "", " required"},
                    {R"("meteringType":"modbus",)", "", " required"},
                    {R"("lastChanged":)" + moment + ",", "", " required"},
                    {R"("id")", R"("serial":"S-1","id")", " additionalProperties"},
                    {R"("S-1")", R"("")", "/id minLength"},
                    {R"("S-1")", "null", "/id type"},
                    {R"("S-1")", "40000123", "/id type"},
                    {"7", "0", "/slaveAddress not"},
                    {"7", "256", "/slaveAddress maximum"},
                    {"7", "-1", "/slaveAddress minimum"},
                    {"7", R"("7")", "/slaveAddress type"},
                    {R"("modbus")", R"("Modbus")", "/meteringType const"},
                    {moment, R"("2026-11-14T03:24:08Z")", "/lastChanged pattern"},
                    {moment, R"("2026-11-14T03:24:08.123+01:00")", "/lastChanged pattern"},
                    {moment, "1794626648123", "/lastChanged type"},
                    {"true", "false", "/tariffEnabled const"},
                    {"true", "1", "/tariffEnabled const"},
                    {"1500.5", "0", "/powerConsumed not"},
                    {"1500.5", "-0.0", "/powerConsumed not"},
                    {"1500.5", R"("1500.5")", "/powerConsumed type"},
                    {"12345.25", "0.0", "/energyConsumed not"},
                    {"12345.25", "false", "/energyConsumed type"}});
}

TEST(SchemaDocuments, allowOddOnesThatTheDaemonReads) {
    expectGood({{"supported", "null"},
                {"supported", "{}"},
                {"supported", R"({"data":null})"},
                {"supported", R"({"data":[null,{},{"registers":[null,{}]}]})"},
                {"supported", R"({"version":3,"data":[{"id":"m","colour":"red"}]})"},
                {"supported", R"({"data":[{"registers":[{"address":"100","length":1.0,)"
                              R"("scaleValue":".001","registerType":null}]}]})"},
                {"attached", "null"},
                {"attached", R"({"data":[{"slaveAddress":"+7","serial":null}]})"},
                {"attached", R"({"data":[{"slaveAddress":-5},{"slaveAddress":300}]})"},
                {"serial", "null"},
                {"serial", R"({"data":{"parity":null}})"},
                {"serial", R"({"data":{"baudRate":"none","parity":"uninitilzed"},"ok":true})"},
                {"config", "null"},
                {"config", R"({"modbusMiscConfig":null})"},
                {"config", R"({"other":[1,2],"modbusMiscConfig":{"port":"502","x":{}}})"},
                {"config", R"({"modbusMiscConfig":{"timeoutResponseSec":-1}})"}});
}

TEST(SchemaDocuments, allowEachNameOfEachEnumeration) {
    std::vector<FormatText> documents;
    const auto addOfRegister = [&]<class E>(E, const std::string& key) {
        addNames<E>(documents, "supported", R"({"data":[{"registers":[{")" + key + "\":", "}]}]}");
    };
    const auto addOfLine = [&]<class E>(E, const std::string& key) {
        addNames<E>(documents, "serial", R"({"data":{")" + key + "\":", "}}");
    };
    addOfRegister(vxModel::ModbusFieldType(), "fieldType");
    addOfRegister(vxModel::ModbusDataType(), "modbusDataType");
    addOfRegister(vxModel::ModbusRegisterType(), "registerType");
    addOfLine(vxModel::BaudRateType(), "baudRate");
    addOfLine(vxModel::Parity(), "parity");
    addOfLine(vxModel::DataBits(), "dataBits");
    addOfLine(vxModel::StopBits(), "stopBits");
    addNames<vxModel::MeterApplication>(documents, "attached", R"({"data":[{"application":)",
                                        "}]}");

    expectGood(documents);
}

TEST(SchemaDocuments, allowTheKeysOfAMessageInAnyOrder) {
    EXPECT_EQ(mistakeOf("message", R"({"lastChanged":"2026-11-14T03:24:08.123Z",)"
                                   R"("powerProduced":null,"meteringType":"modbus","id":"S-1"})"),
              "");
}

TEST(SchemaDocuments, allowEachValueThatARecordCanHold) {
    using Limits = std::numeric_limits<double>;
    std::vector<FormatText> messages;
    for (const double number :
         {0.0, -0.0, 1.0, -1.0, 0.10000000149011612, Limits::denorm_min(), Limits::max(),
          Limits::lowest(), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}) {
        for (const int address : {0, 1, 255}) {
            ModbusMeteringSystem record;
            record.id = MeterId("S-\"1\"/\xC3\xA4");
            record.slaveAddress = static_cast<std::uint8_t>(address);
            record.meteringType = "modbus";
            record.lastChanged = std::chrono::system_clock::now();
            record.tariffEnabled = address == 1;
            record.powerConsumed = number;
            record.energyProduced = number;
            record.t6EnergyProduced = number;
            messages.push_back({"message", vx::toJson(vx::toJsonFragment(record))});
        }
    }
    expectGood(messages);
}

TEST(SchemaDocuments, allowTheExamplesOfTheDocumentsAndThePackage) {
    std::vector<FormatText> documents = {
        {"config", contentOf(SOURCE_DIRECTORY "/packaging/modbus-config.json")}};
    const std::vector<std::string> examples = examplesOf("docs/interfaces.md");
    const std::vector<std::string> formats = {"serial", "attached", "supported", "message",
                                              "config"};
    ASSERT_EQ(examples.size(), formats.size());
    for (std::size_t i = 0; i < formats.size(); ++i)
        documents.push_back({formats[i], examples[i]});

    expectGood(documents);
}
