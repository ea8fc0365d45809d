#include "modbus/config-file.h"

#include "support/counts-in-comparison.h"
#include "support/log-capture.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using orv::modbus::ConfigFile;
using orv::modbus::loadConfigFile;
using orv::modbus::ModbusMiscConfig;
using testing::ElementsAre;

namespace {

class LoadConfigFile : public testing::Test {
protected:
    ConfigFile load() {
        const auto system = vx::makeSystem({directory.path().string(), "/usr/share"});
        return loadConfigFile(*system);
    }

    ConfigFile loadText(const std::string& text) {
        directory.write("modbus-config.json", text);
        return load();
    }

    ConfigFile loadSection(const std::string& section) {
        return loadText(R"({"modbusMiscConfig":)" + section + "}");
    }

    std::string failureOfSection(const std::string& section) {
        return thrownText([&] { loadSection(section); });
    }

    /// The line that tells where the file is looked for.
    std::string loading() const {
        return "notice orvMODBUSConfigFile Load configuration filePath.string():" +
               directory.path().string() + "/modbus-config.json modbus/config-file.cpp:<line>";
    }

    TemporaryDirectory directory;
    LogCapture log{LogCapture::Mode::lenient};
};

} // namespace

TEST_F(LoadConfigFile, noFileGivesTheDefaultsAndANotice) {
    EXPECT_EQ(load(), ConfigFile());

    EXPECT_THAT(log.takeFrom("orvMODBUSConfigFile"),
                ElementsAre(loading(), "notice orvMODBUSConfigFile File not found. Load default "
                                       "configuration. modbus/config-file.cpp:<line>"));
}

TEST_F(LoadConfigFile, defaultsAreZeroAndEmpty) {
    EXPECT_EQ(ConfigFile().modbusMiscConfig, (ModbusMiscConfig{"", 0, 0, 0, 0}));
}

TEST_F(LoadConfigFile, anEmptyObjectGivesTheDefaultsWithoutTheSecondLine) {
    EXPECT_EQ(loadText("{}"), ConfigFile());

    EXPECT_THAT(log.takeFrom("orvMODBUSConfigFile"), ElementsAre(loading()));
}

TEST_F(LoadConfigFile, theTextNullGivesTheDefaults) {
    EXPECT_EQ(loadText("null"), ConfigFile());
}

TEST_F(LoadConfigFile, aSectionOfNullGivesTheDefaults) {
    EXPECT_EQ(loadSection("null"), ConfigFile());
}

TEST_F(LoadConfigFile, aDirectoryThatEndsInASlashGetsNoSecondOne) {
    const auto system = vx::makeSystem({directory.path().string() + "/", "/usr/share"});

    loadConfigFile(*system);

    EXPECT_EQ(log.takeFrom("orvMODBUSConfigFile").front(), loading());
}

TEST(ConfigFileComparison, countsEveryField) {
    using C = ModbusMiscConfig;
    const C config{"h", 502, 1000, 3, 4};

    EXPECT_TRUE(countsInComparison(config, &C::modbusTCPServer, "H"));
    EXPECT_TRUE(countsInComparison(config, &C::port, 503));
    EXPECT_TRUE(countsInComparison(config, &C::readIntervalUSec, 1001));
    EXPECT_TRUE(countsInComparison(config, &C::timeoutResponseSec, 5));
    EXPECT_TRUE(countsInComparison(config, &C::timeoutIndicationSec, 5));
    EXPECT_TRUE(countsInComparison(ConfigFile{config}, &ConfigFile::modbusMiscConfig, C()));
}

TEST_F(LoadConfigFile, allKeysAreRead) {
    EXPECT_EQ(
        loadSection(R"({"modbusTCPServer":"meter-gateway","port":502,"readIntervalUSec":1000,)"
                    R"("timeoutResponseSec":3,"timeoutIndicationSec":-4,"other":[]})"),
        (ConfigFile{{"meter-gateway", 502, 1000, 3, -4}}));
}

TEST_F(LoadConfigFile, aPortGivenAsAStringIsAccepted) {
    EXPECT_EQ(loadSection(R"({"port":"502"})").modbusMiscConfig.port, 502);
}

TEST_F(LoadConfigFile, aPortGivenAsADoubleIsAccepted) {
    EXPECT_EQ(loadSection(R"({"port":502.0})").modbusMiscConfig.port, 502);
}

TEST_F(LoadConfigFile, aPortBeyond32BitsThrows) {
    EXPECT_EQ(failureOfSection(R"({"port":5000000000})"),
              "Narrowing error. t:705032704 u:5000000000 condition:static_cast<U>(t) == u && (t < "
              "0) == (u < 0) vx/record.h:<line> / port / modbusMiscConfig");
}

TEST_F(LoadConfigFile, eachOtherNumberBeyond32BitsThrowsToo) {
    for (const std::string key : {"readIntervalUSec", "timeoutResponseSec", "timeoutIndicationSec"})
        EXPECT_EQ(failureOfSection("{\"" + key + "\":5000000000}"),
                  "Narrowing error. t:705032704 u:5000000000 condition:static_cast<U>(t) == u && "
                  "(t < 0) == (u < 0) vx/record.h:<line> / " +
                      key + " / modbusMiscConfig");
}

TEST_F(LoadConfigFile, noOtherPlaceIsSearched) {
    const TemporaryDirectory share;
    const TemporaryDirectory working;
    const std::string text = R"({"modbusMiscConfig":{"port":502}})";
    share.write("modbus-config.json", text);
    working.write("modbus-config.json", text);
    const auto before = std::filesystem::current_path();
    const auto system = vx::makeSystem({directory.path().string(), share.path().string()});

    std::filesystem::current_path(working.path());
    EXPECT_EQ(loadConfigFile(*system), ConfigFile());
    std::filesystem::current_path(before);
}

TEST_F(LoadConfigFile, aHostThatIsNoStringThrows) {
    EXPECT_EQ(failureOfSection(R"({"modbusTCPServer":5})"),
              "Expecting json string type:3 condition:type == json_type_string vx/record.h:<line> "
              "/ modbusTCPServer / modbusMiscConfig");
}

TEST_F(LoadConfigFile, aTimeoutOfAWrongTypeThrows) {
    EXPECT_EQ(failureOfSection(R"({"timeoutResponseSec":[]})"),
              "Expecting json number / string. type:5 condition:type == json_type_string || type "
              "== json_type_int || type == json_type_double vx/record.h:<line> / "
              "timeoutResponseSec / modbusMiscConfig");
}

TEST_F(LoadConfigFile, aSectionThatIsNoObjectThrows) {
    EXPECT_EQ(failureOfSection("5"), "Expecting json object. jsonType:3 condition:jsonType == "
                                     "json_type_object vx/record.h:<line> / modbusMiscConfig");
}

TEST_F(LoadConfigFile, aFileThatIsNoJsonThrows) {
    EXPECT_EQ(thrownText([&] { loadText("<xml/>"); }),
              "Failed to parse json. unexpected character condition:object vx/json.cpp:<line>");
}

TEST_F(LoadConfigFile, aFileThatCannotBeReadThrowsAndIsNotTakenForAbsent) {
    const auto name = directory.path() / "modbus-config.json";
    std::filesystem::create_directory(name);

    EXPECT_THAT(thrownText([&] { load(); }),
                testing::StartsWith("Failed to read file filename:" + name.string() + " e:"));

    EXPECT_THAT(log.takeFrom("orvMODBUSConfigFile"), ElementsAre(loading()));
}

TEST_F(LoadConfigFile, theFileIsReadAnewOnEachCall) {
    EXPECT_EQ(loadSection(R"({"port":1})").modbusMiscConfig.port, 1);
    EXPECT_EQ(loadSection(R"({"port":2})").modbusMiscConfig.port, 2);
}

TEST_F(LoadConfigFile, logFormAndJsonLeaveOutZeros) {
    const ConfigFile config{{"h", 502, 0, 0, 5}};

    EXPECT_EQ(vx::str(config), R"({"modbusMiscConfig":{"modbusTCPServer":h,"port":502,)"
                               R"("timeoutIndicationSec":5}})");
    EXPECT_EQ(
        vx::toJson(vx::toJsonFragment(config)),
        R"({"modbusMiscConfig":{"modbusTCPServer":"h","port":502,"timeoutIndicationSec":5}})");
}
