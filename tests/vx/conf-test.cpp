#include "vx/conf.h"

#include "entered.h"
#include "support/log-capture.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"
#include "vx/exception.h"
#include "vx/json.h"
#include "vx/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using testing::ElementsAre;
using testing::MatchesRegex;
using vx::LogSeverity;

namespace {

class ConfTest : public testing::Test {
protected:
    void writeFile(const std::string& key, const std::string& content) const {
        std::filesystem::create_directory(confDirectory());
        directory.write("etc/vx-conf/" + key + ".json", content);
    }

    std::filesystem::path etc() const { return directory.path() / "etc"; }
    std::filesystem::path confDirectory() const { return etc() / "vx-conf"; }

    TemporaryDirectory directory;
    std::unique_ptr<vx::System> system = [this] {
        std::filesystem::create_directory(etc());
        return vx::makeSystem({etc().string(), "/usr/share"});
    }();
    std::unique_ptr<vx::Conf> conf = vx::makeConf(*system);
};

} // namespace

TEST_F(ConfTest, channelIsNamedVxConf) {
    EXPECT_EQ(vx::Conf::logChannel().name(), "vxConf");
    EXPECT_EQ(&vx::Conf::logChannel(), &vx::Conf::logChannel());
}

TEST_F(ConfTest, keyThatWasNeverWrittenGivesNothingAndCreatesNothing) {
    EXPECT_EQ(conf->readJsonIfExists("key"), std::nullopt);

    EXPECT_FALSE(std::filesystem::exists(confDirectory()));
}

TEST_F(ConfTest, readsWhatWasWritten) {
    conf->writeJson("key", R"({"a":[1,2]})");

    EXPECT_EQ(vx::toJson(conf->readJsonIfExists("key").value()), R"({"a":[1,2]})");
}

TEST_F(ConfTest, jsonNullIsAValueToo) {
    writeFile("key", "null");

    EXPECT_EQ(conf->readJsonIfExists("key"), std::optional(std::shared_ptr<json_object>()));
}

TEST_F(ConfTest, writtenJsonNullIsNoValueForItsLineEnd) {
    conf->writeJson("key", "null");

    EXPECT_EQ(thrownText([&] { conf->readJsonIfExists("key"); }),
              "Failed to parse json. success condition:object vx/json.cpp:<line>");
}

TEST_F(ConfTest, textIsStoredUncheckedWithALineEnd) {
    conf->writeJson("key", " no json\n");

    EXPECT_EQ(contentOf(confDirectory() / "key.json"), " no json\n\n");
}

TEST_F(ConfTest, eachKeyHasItsFile) {
    conf->writeJson("a", "1");
    conf->writeJson("b", "2");
    conf->writeJson("a", "3");

    EXPECT_EQ(contentOf(confDirectory() / "a.json"), "3\n");
    EXPECT_EQ(contentOf(confDirectory() / "b.json"), "2\n");
}

TEST_F(ConfTest, keyIsUsedAsItStands) {
    std::filesystem::create_directories(confDirectory() / "sub");

    conf->writeJson("sub/key", "1");

    EXPECT_EQ(contentOf(confDirectory() / "sub/key.json"), "1\n");
}

TEST_F(ConfTest, keyBelowAMissingSubdirectoryFailsInTheWrite) {
    EXPECT_EQ(thrownText([&] { conf->writeJson("sub/key", "1"); }),
              "Failed to write to file filename:" + etc().string() +
                  "/vx-conf/sub/key.json e:condition:ofs vx/system.cpp:<line> "
                  "vx/system.cpp:<line>");
}

TEST_F(ConfTest, firstWriteCreatesTheDirectory) {
    ASSERT_FALSE(std::filesystem::exists(confDirectory()));

    conf->writeJson("key", "1");

    EXPECT_TRUE(std::filesystem::is_directory(confDirectory()));
}

TEST_F(ConfTest, secondWriteDoesNotTouchTheDirectory) {
    conf->writeJson("key", "1");
    const auto created = std::filesystem::last_write_time(confDirectory());

    conf->writeJson("key", "2");

    EXPECT_EQ(std::filesystem::last_write_time(confDirectory()), created);
}

TEST_F(ConfTest, linkToADirectoryIsADirectory) {
    std::filesystem::create_directory(directory.path() / "elsewhere");
    std::filesystem::create_symlink("../elsewhere", confDirectory());

    conf->writeJson("key", "1");

    EXPECT_EQ(contentOf(directory.path() / "elsewhere/key.json"), "1\n");
}

TEST_F(ConfTest, missingParentOfTheDirectoryThrows) {
    std::filesystem::remove_all(etc());

    EXPECT_EQ(thrownText([&] { conf->writeJson("key", "1"); }),
              "Cannot create directory.  vxConfDir:" + etc().string() +
                  "/vx-conf/ vx/conf.cpp:<line>");
}

TEST_F(ConfTest, plainFileInPlaceOfTheDirectoryThrowsAndStays) {
    directory.write("etc/vx-conf", "plain");

    EXPECT_EQ(thrownText([&] { conf->writeJson("key", "1"); }),
              "Cannot create directory.  vxConfDir:" + etc().string() +
                  "/vx-conf/ vx/conf.cpp:<line>");

    EXPECT_EQ(contentOf(confDirectory()), "plain");
}

TEST_F(ConfTest, malformedFileThrowsTheParsersFailureAndStays) {
    writeFile("key", "{\"a\":");

    EXPECT_EQ(thrownText([&] { conf->readJsonIfExists("key"); }),
              "Failed to parse json. unexpected end of data condition:object vx/json.cpp:<line>");

    EXPECT_EQ(contentOf(confDirectory() / "key.json"), "{\"a\":");
}

TEST_F(ConfTest, fileOfOnlyWhiteSpaceFailsToParse) {
    writeFile("key", " \n\t\n");

    EXPECT_THAT(thrownText([&] { conf->readJsonIfExists("key"); }),
                testing::StartsWith("Failed to parse json. "));
}

TEST_F(ConfTest, fileThatCannotBeReadThrows) {
    std::filesystem::create_directories(confDirectory() / "key.json");

    EXPECT_THAT(thrownText([&] { conf->readJsonIfExists("key"); }),
                testing::StartsWith("Failed to read file filename:" + etc().string() +
                                    "/vx-conf/key.json e:"));
}

TEST_F(ConfTest, logsNothingAtNotice) {
    const LogCapture log;

    conf->writeJson("key", "1");
    conf->readJsonIfExists("key");
}

TEST_F(ConfTest, readLogsItsContentAtInfo) {
    writeFile("key", "[1]");
    const ChannelSeverity info("vxConf", LogSeverity::info);
    LogCapture log;

    conf->readJsonIfExists("key");
    conf->readJsonIfExists("other");

    EXPECT_THAT(log.take(),
                ElementsAre(MatchesRegex("info vxConf Leave virtual .* "
                                         "vx::ConfImpl::readJsonIfExists\\(.*\\) const key:key "
                                         "\\(\\*fileContent\\):\\[1\\] .cpp:<line>")));
}

TEST_F(ConfTest, malformedContentIsLoggedBeforeItsFailure) {
    writeFile("key", "{\"a\":");
    const ChannelSeverity info("vxConf", LogSeverity::info);
    LogCapture log;

    EXPECT_THROW(conf->readJsonIfExists("key"), vx::Exception);

    EXPECT_THAT(log.take(),
                ElementsAre(MatchesRegex("info vxConf Leave virtual .* "
                                         "vx::ConfImpl::readJsonIfExists\\(.*\\) const key:key "
                                         "\\(\\*fileContent\\):\\{\"a\": .cpp:<line>")));
}

TEST_F(ConfTest, readLogsItsKeyAtDebug) {
    DebugCapture log("vxConf");

    conf->readJsonIfExists("key");

    EXPECT_THAT(log.take(),
                ElementsAre(entered("vxConf", " vx::ConfImpl::readJsonIfExists", "key:key")));
}

TEST_F(ConfTest, writeLogsKeyAndTextAtDebug) {
    DebugCapture log("vxConf");

    conf->writeJson("key", "[1]");

    EXPECT_THAT(log.take(), ElementsAre(entered("vxConf", "void vx::ConfImpl::writeJson",
                                                "key:key json:\\[1\\]")));
}

TEST_F(ConfTest, writeThatFailsIsLoggedTheSame) {
    std::filesystem::remove_all(etc());
    DebugCapture log("vxConf");

    EXPECT_THROW(conf->writeJson("key", "[1]"), vx::Exception);

    EXPECT_THAT(log.take(), ElementsAre(entered("vxConf", "void vx::ConfImpl::writeJson",
                                                "key:key json:\\[1\\]")));
}
