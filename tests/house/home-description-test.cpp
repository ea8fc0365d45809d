#include "example-home.h"
#include "house/home.h"
#include "support/temporary-directory.h"
#include "support/thrown-by.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace house;

namespace {

/// What a home of this text complains of, behind the name of its file.
std::string complaintAboutText(const std::string& text) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("home.json", text);
    const std::string thrown = thrownBy([&] { Home{file}; });
    return thrown.starts_with(file + ": ") ? thrown.substr(file.size() + 2) : thrown;
}

/// What the example complains of, in which @p right reads @p wrong.
std::string complaint(const std::string& right, const std::string& wrong) {
    std::string text = exampleHome();
    const std::size_t at = text.find(right);
    if (at == std::string::npos)
        throw std::invalid_argument("The example does not hold " + right);
    return complaintAboutText(text.replace(at, right.size(), wrong));
}

} // namespace

TEST(HomeDescription, theExampleOfTheDocumentIsAHome) {
    const TemporaryDirectory directory;
    const Home home(directory.write("home.json", exampleHome()));

    ASSERT_EQ(home.meters().size(), 2U);
    EXPECT_EQ(home.meters()[0].name, "Grid");
    EXPECT_EQ(home.meters()[1].slaveAddress, 2);
    EXPECT_GT(home.value("roof"), 1000.0);
    EXPECT_EQ(home.value("harvest"), 4000.0);
}

TEST(HomeDescription, aFileThatCannotBeReadIsNamed) {
    const TemporaryDirectory directory;
    const std::string folder = directory.path();

    EXPECT_EQ(thrownBy([&] { Home{folder + "/none"}; }),
              folder + "/none: No such file or directory");
    EXPECT_EQ(thrownBy([&] { Home{folder}; }), folder + ": Is a directory");
}

TEST(HomeDescription, anEndlessFileIsGivenUp) {
    EXPECT_EQ(thrownBy([] { Home{"/dev/zero"}; }), "/dev/zero: Larger than 16 MB");
}

TEST(HomeDescription, aTextThatIsNoJsonIsRefusedWithItsLine) {
    EXPECT_EQ(complaintAboutText(""), "No JSON in line 1: unexpected end of data");
    EXPECT_EQ(complaintAboutText("{\n\"server\": x}\n"), "No JSON in line 2: unexpected character");
    EXPECT_EQ(complaintAboutText("{\n\"server\": {\n"),
              "No JSON in line 3: unexpected end of data");
}

TEST(HomeDescription, aTextBehindTheJsonIsRefused) {
    EXPECT_EQ(complaintAboutText("{}\n\nrest"), "No JSON in line 3: unexpected character");
}

TEST(HomeDescription, aTextThatIsNoObjectIsRefused) {
    EXPECT_EQ(complaintAboutText("[]"), "server: Missing");
    EXPECT_EQ(complaintAboutText("null"), "server: Missing");
    EXPECT_EQ(complaintAboutText("3"), "server: Missing");
}

TEST(HomeDescription, anUnknownKeyIsRefused) {
    EXPECT_EQ(complaint(R"("behaviour": {)", R"("colour": 1, "behaviour": {)"),
              "colour: No such key");
    EXPECT_EQ(complaint(R"("speed": 60)", R"("sped": 60)"), "behaviour / sped: No such key");
    EXPECT_EQ(complaint(R"("rtuconfig")", R"("serial": {}, "rtuconfig")"),
              "server / serial: No such key");
}

TEST(HomeDescription, anUnknownKeyThatTheReaderWouldPassOverIsRefused) {
    EXPECT_EQ(complaint(R"("baudRate")", R"("baudrate")"),
              "server / rtuconfig / data / baudrate: No such key");
    EXPECT_EQ(complaint(R"("application": "none")", R"("aplication": "none")"),
              "server / attached / data / 0 / aplication: No such key");
    EXPECT_EQ(complaint(R"("id": "grid-meter",
                    "registers")",
                        R"("id": "grid-meter", "colour": 1,
                    "registers")"),
              "server / supported / data / 0 / colour: No such key");
    EXPECT_EQ(complaint(R"("registerType": "input", "fieldType": "powerImport")",
                        R"("registertype": "input", "fieldType": "powerImport")"),
              "server / supported / data / 0 / registers / 1 / registertype: No such key");
}

TEST(HomeDescription, anUnknownNameOfTheSerialLineOrTheApplicationIsRefused) {
    EXPECT_EQ(complaint(R"("baud19200")", R"("baud1920")"),
              "server / rtuconfig / data / baudRate: No such name: baud1920");
    EXPECT_EQ(complaint(R"("parity": "even")", R"("parity": "evn")"),
              "server / rtuconfig / data / parity: No such name: evn");
    EXPECT_EQ(complaint(R"("bits8")", R"("bit8")"),
              "server / rtuconfig / data / dataBits: No such name: bit8");
    EXPECT_EQ(complaint(R"("bits1")", R"("bits3")"),
              "server / rtuconfig / data / stopBits: No such name: bits3");
    EXPECT_EQ(complaint(R"("application": "solar")", R"("application": "sun")"),
              "server / attached / data / 1 / application: No such name: sun");
}

TEST(HomeDescription, anUnknownKeyOfASignalIsRefused) {
    EXPECT_EQ(complaint(R"("clouds")", R"("cloud")"),
              "behaviour / signals / roof / cloud: No such key");
    EXPECT_EQ(complaint(R"("watts": 1800)", R"("watts": 1800, "watt": 1)"),
              "behaviour / signals / family / humps / 0 / watt: No such key");
    EXPECT_EQ(complaint(R"("factor")", R"("times")"),
              "behaviour / signals / grid / terms / 1 / times: No such key");
}

TEST(HomeDescription, aMissingKeyIsNamed) {
    EXPECT_EQ(complaint(R"("startHour": 11.5,)", ""), "behaviour / startHour: Missing");
    EXPECT_EQ(complaint(R"(, "input 4": "sold")", ""), "behaviour / units / 1 / input 4: Missing");
    EXPECT_EQ(complaint(R"("name": "Grid", )", ""), "server / attached / data / 0 / name: Missing");
}

TEST(HomeDescription, anUnknownKindOfSignalIsRefused) {
    EXPECT_EQ(
        complaint(R"("kind": "solar")", R"("kind": "solr")"),
        "behaviour / signals / roof / kind: No such kind of signal: solr; there are constant, "
        "calendar, solar, load, sessions, sum, import, export, energy");
}

TEST(HomeDescription, anUnknownSignalIsRefused) {
    EXPECT_EQ(complaint(R"({"of": "family"})", R"({"of": "familie"})"),
              "behaviour / signals / grid / terms / 0 / of: No such signal: familie");
    EXPECT_EQ(complaint(R"("input 0": "grid")", R"("input 0": "grit")"),
              "behaviour / units / 1 / input 0: No such signal: grit");
}

TEST(HomeDescription, anHourOutsideTheDayIsRefused) {
    EXPECT_EQ(complaint(R"("startHour": 11.5)", R"("startHour": 24)"),
              "behaviour / startHour: No hour of the day");
    EXPECT_EQ(complaint(R"("startHour": 11.5)", R"("startHour": -0.5)"),
              "behaviour / startHour: No hour of the day");
    EXPECT_EQ(complaint(R"("sunset": 20)", R"("sunset": 25)"),
              "behaviour / signals / roof / sunset: No hour of the day");
    EXPECT_EQ(complaint(R"("sunrise": 6)", R"("sunrise": -1)"),
              "behaviour / signals / roof / sunrise: No hour of the day");
    EXPECT_EQ(complaint(R"("sunset": 20)", R"("sunset": 5)"),
              "behaviour / signals / roof / sunset: Not later than sunrise");
}

TEST(HomeDescription, aHumpWithoutWidthIsRefused) {
    EXPECT_EQ(complaint(R"("width": 0.5)", R"("width": 0)"),
              "behaviour / signals / family / humps / 0 / width: Not above 0");
}

TEST(HomeDescription, aSpeedThatIsNoneIsRefused) {
    for (const std::string speed : {"0", "-1", "3601"})
        EXPECT_EQ(complaint(R"("speed": 60)", R"("speed": )" + speed),
                  "behaviour / speed: Neither above 0 nor up to 3600");
    EXPECT_EQ(complaint(R"("speed": 60)", R"("speed": 1e999)"),
              "behaviour / speed: No finite number");
    EXPECT_EQ(complaint(R"("speed": 60)", R"("speed": "60")"), "behaviour / speed: No number");
}

TEST(HomeDescription, aWireTimeThatIsNoneIsRefused) {
    EXPECT_EQ(complaint(R"("speed": 60)", R"("wireTime": 1)"),
              "behaviour / wireTime: Neither true nor false");
}

TEST(HomeDescription, aWireTimeOfAnUnknownLineIsRefused) {
    const std::string speed = R"("speed": 60)";
    const auto lineComplaint = [&](const std::string& right, const std::string& wrong) {
        std::string text = exampleHome();
        text.replace(text.find(speed), speed.size(), R"("wireTime": true)");
        return complaintAboutText(text.replace(text.find(right), right.size(), wrong));
    };
    const std::string line = "server / rtuconfig / data / ";
    EXPECT_EQ(lineComplaint(R"("baudRate": "baud19200",)", ""), line + "baudRate: Missing");
    EXPECT_EQ(lineComplaint(R"("parity": "even",)", ""), line + "parity: Missing");
    EXPECT_EQ(lineComplaint(R"("parity": "even")", R"("parity": "uninitilzed")"),
              line + "parity: Not set");
    EXPECT_EQ(lineComplaint(R"("bits1")", R"("none")"), line + "stopBits: Not set");
}

TEST(HomeDescription, aSlaveAddressOutsideTheBusIsRefused) {
    for (const std::string address : {"0", "248", "-1", "1.5", "1e300"})
        EXPECT_EQ(complaint(R"("slaveAddress": 1)", R"("slaveAddress": )" + address),
                  "server / attached / data / 0 / slaveAddress: No whole number from 1 to 247");
}

TEST(HomeDescription, aSlaveAddressOfTwoMetersIsRefused) {
    EXPECT_EQ(complaint(R"("slaveAddress": 2)", R"("slaveAddress": 1)"),
              "server / attached / data / 1 / slaveAddress: Already that of the meter Grid");
}

TEST(HomeDescription, aNameWithControlCharactersIsRefused) {
    EXPECT_EQ(complaint(R"("name": "Grid")", R"("name": "Gr\u001b[2Jid")"),
              "server / attached / data / 0 / name: Holds control characters");
}

TEST(HomeDescription, aMeterWithoutAModelIsRefused) {
    EXPECT_EQ(complaint(R"("configId": "roof-meter")", R"("configId": "ruf-meter")"),
              "server / attached / data / 1 / configId: No such model: ruf-meter");
}

TEST(HomeDescription, anUnknownTypeOfARegisterIsRefused) {
    const std::string grid = "server / supported / data / 0 / registers / 1 / ";
    EXPECT_EQ(complaint(R"("powerImport")", R"("powerImprt")"),
              grid + "fieldType: No such field type: powerImprt");
    EXPECT_EQ(complaint(R"("int32")", R"("int23")"),
              grid + "modbusDataType: No such data type: int23");
    EXPECT_EQ(complaint(R"("registerType": "input")", R"("registerType": "coil")"),
              grid + "registerType: No such register type: coil");
}

TEST(HomeDescription, aRegisterOutsideItsSpaceIsRefused) {
    const std::string grid = "server / supported / data / 0 / registers / 1 / ";
    for (const std::string address : {"-1", "65536", "0.5"})
        EXPECT_EQ(complaint(R"("address": 0)", R"("address": )" + address),
                  grid + "address: No whole number from 0 to 65535");
    EXPECT_EQ(complaint(R"("address": 0)", R"("address": 65535)"),
              grid + "length: Reaches beyond the last address, 65535");
}

TEST(HomeDescription, aRegisterThatNoReadCanTakeIsRefused) {
    const std::string grid = "server / supported / data / 0 / registers / 1 / ";
    const std::string power = R"("int32", "length": 1)";
    const auto withLength = [](const std::string& length) {
        return R"("int32", "length": )" + length;
    };
    for (const std::string length : {"0", "-1", "126"})
        EXPECT_EQ(complaint(power, withLength(length)),
                  grid + "length: No whole number from 1 to 125");
    EXPECT_EQ(complaint(power, withLength("63")),
              grid + "length: No read takes more than 125 words");
}

TEST(HomeDescription, aScaleOfZeroIsRefused) {
    EXPECT_EQ(complaint(R"("scaleValue": 0.01)", R"("scaleValue": 0)"),
              "server / supported / data / 0 / registers / 2 / scaleValue: "
              "Values are divided by it, so it cannot be 0");
}

TEST(HomeDescription, aBehaviourThatNoMeterHasIsRefused) {
    EXPECT_EQ(complaint(R"("2": {"holding 10")", R"("3": {}, "2": {"holding 10")"),
              "behaviour / units / 3: No meter has this slave address");
    EXPECT_EQ(complaint(R"("input 0": "grid")", R"("input 0": "grid", "input 1": "grid")"),
              "behaviour / units / 1 / input 1: The meter has no such register");
}

TEST(HomeDescription, aTextInARegisterOfNumbersIsRefused) {
    EXPECT_EQ(complaint(R"("input 20": "roof")", R"("input 20": {"text": "roof"})"),
              "behaviour / units / 2 / input 20: "
              "Only a register of the data type ascii shows a text");
    EXPECT_EQ(complaint(R"({"text": "ROOF0001"})", R"({"txt": "ROOF0001"})"),
              "behaviour / units / 2 / holding 10 / txt: No such key");
}
