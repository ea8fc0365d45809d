#include "vx/system.h"

#include "support/log-capture.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"
#include "support/time-zone.h"
#include "system-calls.h"
#include "vx/conf.h"
#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/str.h"

#include <boost/filesystem.hpp>
#include <boost/uuid/entropy_error.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

using testing::ElementsAre;
using testing::MatchesRegex;
using vx::LogSeverity;

namespace {

class SystemTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (directory.path() / name).string(); }

    TemporaryDirectory directory;
    std::unique_ptr<vx::System> system = vx::makeSystem();
};

using SystemRead = SystemTest;
using SystemWrite = SystemTest;
using SystemLsRegularFiles = SystemTest;
using SystemRename = SystemTest;
using SystemRemove = SystemTest;
using SystemExists = SystemTest;
using SystemIdentity = SystemTest;
using SystemClock = SystemTest;

} // namespace

TEST_F(SystemTest, defaultDirectories) {
    EXPECT_EQ(system->dirs().etc, "/etc");
    EXPECT_EQ(system->dirs().share, "/usr/share");
    EXPECT_EQ(vx::system().dirs().etc, "/etc");
    EXPECT_EQ(vx::system().dirs().share, "/usr/share");
}

TEST_F(SystemTest, ofTheProcessIsOne) {
    EXPECT_EQ(&vx::system(), &vx::system());
}

TEST_F(SystemTest, canBePointedToOtherDirectories) {
    const auto other = vx::makeSystem({"/a", "/b"});

    EXPECT_EQ(other->dirs().etc, "/a");
    EXPECT_EQ(other->dirs().share, "/b");
}

TEST_F(SystemTest, hasSettingsOfItsOwn) {
    const auto other = vx::makeSystem({directory.path().string(), "/usr/share"});

    other->conf().writeJson("key", "{}");

    EXPECT_EQ(contentOf(path("vx-conf/key.json")), "{}\n");
}

TEST_F(SystemRead, givesTheFileByteForByte) {
    const std::string content("a\r\n\0b\n\n", 7);

    EXPECT_EQ(system->readFile(directory.write("f", content)), content);
    EXPECT_EQ(system->readFileIfExists(path("f")), content);
}

TEST_F(SystemRead, emptyFileGivesAnEmptyString) {
    EXPECT_EQ(system->readFile(directory.write("f", "")), "");
    EXPECT_EQ(system->readFileIfExists(path("f")), "");
}

TEST_F(SystemRead, missingFileThrows) {
    EXPECT_EQ(thrownText([&] { system->readFile("/no/such/file"); }),
              "Failed to read file filename:/no/such/file e:basic_ios::clear: iostream error "
              "vx/system.cpp:<line>");
}

TEST_F(SystemRead, missingFileIsNoFailureIfItNeedNotExist) {
    EXPECT_EQ(system->readFileIfExists("/no/such/file"), std::nullopt);
    EXPECT_EQ(system->readFileIfExists(directory.write("f", "") + "/below-a-file"), std::nullopt);
}

TEST_F(SystemRead, directoryIsAttemptedAndThrows) {
    const std::string name = directory.path().string();

    EXPECT_THAT(thrownText([&] { system->readFileIfExists(name); }),
                testing::StartsWith("Failed to read file filename:" + name + " e:"));
}

TEST_F(SystemRead, failureCarriesTheLogContext) {
    const int meter = 7;
    VX_LOG_CONTEXT(meter);

    EXPECT_EQ(thrownText([&] { system->readFile("/no"); }),
              "Failed to read file filename:/no e:basic_ios::clear: iostream error "
              "vx/system.cpp:<line> meter:7");
}

TEST_F(SystemRead, logsEnterAndLeaveWithTheContentAtDebug) {
    const std::string file = directory.write("f", "content");
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->readFile(file);
    system->readFileIfExists(file);

    const std::string leave = "debug vxSystem Leave .*readFileImpl\\(.*\\).* filename:" + file +
                              " result:content .cpp:<line>";
    EXPECT_THAT(log.take(),
                ElementsAre(MatchesRegex("debug vxSystem Enter .* vx::SystemImpl::readFile\\(.*\\) "
                                         "const filename:" +
                                         file + " .cpp:<line>"),
                            MatchesRegex(leave),
                            MatchesRegex("debug vxSystem Enter .* "
                                         "vx::SystemImpl::readFileIfExists\\(.*\\) const "
                                         "filename:" +
                                         file + " .cpp:<line>"),
                            MatchesRegex(leave)));
}

TEST_F(SystemRead, missingFileLogsNoLeave) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->readFileIfExists("/no");
    EXPECT_THROW(system->readFile("/no"), vx::Exception);

    EXPECT_THAT(log.take(), testing::Each(testing::HasSubstr(" Enter ")));
}

TEST_F(SystemTest, nothingIsLoggedAtTheInitialSeverity) {
    const LogCapture log;

    system->exists("/");
    system->writeToFile(path("f"), "x");
    system->readFile(path("f"));
    system->isInternalRelease();
    vx::makeSystem({directory.path().string(), ""});
}

TEST_F(SystemWrite, appendsALineEnd) {
    system->writeToFile(path("f"), "x");

    EXPECT_EQ(contentOf(path("f")), "x\n");
}

TEST_F(SystemWrite, appendsALineEndAlsoBehindALineEnd) {
    system->writeToFile(path("f"), std::string("a\n\0b\n", 5));

    EXPECT_EQ(contentOf(path("f")), std::string("a\n\0b\n\n", 6));
}

TEST_F(SystemWrite, replacesTheOldContent) {
    directory.write("f", "something long");

    system->writeToFile(path("f"), "");

    EXPECT_EQ(contentOf(path("f")), "\n");
}

TEST_F(SystemWrite, keepsTheFileItselfSinceItIsNotAtomic) {
    directory.write("f", "old");
    std::filesystem::create_hard_link(path("f"), path("same"));

    system->writeToFile(path("f"), "new");

    EXPECT_EQ(contentOf(path("same")), "new\n");
}

TEST_F(SystemWrite, fileThatCannotBeOpenedThrowsWithTheFailedCondition) {
    EXPECT_EQ(thrownText([&] { system->writeToFile("/no/such/file", "x"); }),
              "Failed to write to file filename:/no/such/file e:condition:ofs "
              "vx/system.cpp:<line> vx/system.cpp:<line>");
}

TEST_F(SystemWrite, contextStandsInBothOfItsTexts) {
    const int meter = 7;
    VX_LOG_CONTEXT(meter);

    EXPECT_EQ(thrownText([&] { system->writeToFile("/no/such/file", "x"); }),
              "Failed to write to file filename:/no/such/file e:condition:ofs "
              "vx/system.cpp:<line> meter:7 vx/system.cpp:<line> meter:7");
}

TEST_F(SystemWrite, failureBehindTheOpeningIsNotReported) {
    EXPECT_NO_THROW(system->writeToFile("/dev/full", "x"));
}

TEST_F(SystemWrite, logsFileAndDataAtDebug) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->writeToFile(path("f"), "text");

    EXPECT_THAT(log.take(), ElementsAre(MatchesRegex(
                                "debug vxSystem Enter .* vx::SystemImpl::writeToFile\\(.*\\) const "
                                "filename:" +
                                path("f") + " data:text .cpp:<line>")));
}

TEST_F(SystemExists, isTrueForEveryKindOfFile) {
    EXPECT_TRUE(system->exists(directory.write("f", "")));
    EXPECT_TRUE(system->exists(directory.path().string()));
    EXPECT_TRUE(system->exists("/dev/null"));
}

TEST_F(SystemExists, isFalseForWhatIsMissing) {
    std::filesystem::create_symlink("nowhere", path("dangling"));

    EXPECT_FALSE(system->exists(path("missing")));
    EXPECT_FALSE(system->exists(path("dangling")));
    EXPECT_FALSE(system->exists(""));
}

TEST_F(SystemExists, pathThatCannotBeFollowedThrows) {
    std::filesystem::create_symlink("loop", path("loop"));

    EXPECT_THROW(system->exists(path("loop")), boost::filesystem::filesystem_error);
}

TEST_F(SystemExists, logsThePathAtDebug) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->exists("/dev/null");

    EXPECT_THAT(log.take(),
                ElementsAre(MatchesRegex("debug vxSystem Enter .*bool "
                                         "vx::SystemImpl::exists\\(.*\\) const path:/dev/null "
                                         ".cpp:<line>")));
}

TEST_F(SystemLsRegularFiles, givesPathsOfExactlyTheExtension) {
    directory.write("a.json", "");
    directory.write("b.JSON", "");
    directory.write("c.json.bak", "");
    directory.write("json", "");
    std::filesystem::create_directory(path("x.json"));
    directory.write("x.json/inner.json", "");

    EXPECT_THAT(system->lsRegularFiles(directory.path().string(), ".json"),
                ElementsAre(path("a.json")));
}

TEST_F(SystemLsRegularFiles, followsSymbolicLinks) {
    std::filesystem::create_symlink(directory.write("target", ""), path("a.json"));
    std::filesystem::create_symlink(directory.path(), path("directory.json"));
    std::filesystem::create_symlink("nowhere", path("dangling.json"));

    EXPECT_THAT(system->lsRegularFiles(directory.path().string(), ".json"),
                ElementsAre(path("a.json")));
}

TEST_F(SystemLsRegularFiles, keepsTheOrderOfTheFileSystem) {
    for (int i = 0; i < 30; ++i)
        directory.write(std::to_string(i * 7919 % 1000) + ".json", "");
    std::vector<std::string> expected;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
        expected.push_back(entry.path().string());

    EXPECT_EQ(system->lsRegularFiles(directory.path().string(), ".json"), expected);
}

TEST_F(SystemLsRegularFiles, withoutExtensionGivesFilesThatHaveNone) {
    directory.write("a", "");
    directory.write("b.json", "");

    EXPECT_THAT(system->lsRegularFiles(directory.path().string(), ""), ElementsAre(path("a")));
}

TEST_F(SystemLsRegularFiles, missingDirectoryGivesNone) {
    EXPECT_TRUE(system->lsRegularFiles("/no/such/directory", ".json").empty());
}

TEST_F(SystemLsRegularFiles, whatIsNoDirectoryThrows) {
    const std::string file = directory.write("f", "");

    EXPECT_EQ(
        thrownText([&] { system->lsRegularFiles(file, ".json"); }),
        "Failed to iterate files path:" + file +
            " e.what():boost::filesystem::directory_iterator::construct: Not a directory: \"" +
            file + "\" vx/system.cpp:<line>");
}

TEST_F(SystemLsRegularFiles, pathThatCannotBeFollowedThrows) {
    std::filesystem::create_symlink("loop", path("loop"));

    EXPECT_EQ(thrownText([&] { system->lsRegularFiles(path("loop"), ".json"); }),
              "Failed to iterate files path:" + path("loop") +
                  " e.what():boost::filesystem::status: Too many levels of symbolic links: \"" +
                  path("loop") + "\" vx/system.cpp:<line>");
}

TEST_F(SystemLsRegularFiles, logsPathAndExtensionAtDebug) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->lsRegularFiles("/no", ".json");

    EXPECT_THAT(log.take(), ElementsAre(MatchesRegex(
                                "debug vxSystem Enter .* vx::SystemImpl::lsRegularFiles\\(.*\\) "
                                "const path:/no extension:.json .cpp:<line>")));
}

TEST_F(SystemRename, replacesTheTarget) {
    directory.write("old", "new content");
    directory.write("new", "old content");

    system->rename(path("old"), path("new"));

    EXPECT_EQ(contentOf(path("new")), "new content");
    EXPECT_FALSE(system->exists(path("old")));
}

TEST_F(SystemRename, failureReachesTheCallerUnchanged) {
    EXPECT_THROW(system->rename(path("missing"), path("new")), boost::filesystem::filesystem_error);
}

TEST_F(SystemRename, logsBothPathsAtDebug) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    EXPECT_ANY_THROW(system->rename("/no", "/new"));

    EXPECT_THAT(log.take(), ElementsAre(MatchesRegex(
                                "debug vxSystem Enter .*void vx::SystemImpl::rename\\(.*\\) const "
                                "old_p:/no new_p:/new .cpp:<line>")));
}

TEST_F(SystemRemove, removesAFile) {
    const std::string file = directory.write("f", "");

    system->remove(file);

    EXPECT_FALSE(system->exists(file));
}

TEST_F(SystemRemove, whatDoesNotExistIsNoFailure) {
    EXPECT_NO_THROW(system->remove(path("missing")));
}

TEST_F(SystemRemove, failureReachesTheCallerUnchanged) {
    directory.write("f", "");

    EXPECT_THROW(system->remove(directory.path().string()), boost::filesystem::filesystem_error);
}

TEST_F(SystemRemove, logsThePathAtDebug) {
    const ChannelSeverity debug("vxSystem", LogSeverity::debug);
    LogCapture log;

    system->remove("/no");

    EXPECT_THAT(log.take(), ElementsAre(MatchesRegex(
                                "debug vxSystem Enter .*void vx::SystemImpl::remove\\(.*\\) const "
                                "path:/no .cpp:<line>")));
}

TEST_F(SystemClock, nowIsTheSystemClocks) {
    const auto before = std::chrono::system_clock::now();
    const auto now = system->now();

    EXPECT_LE(before, now);
    EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST_F(SystemClock, utcOffsetIsEastOfGreenwich) {
    {
        const TimeZone zone("<+0545>-5:45");
        EXPECT_EQ(system->utcOffsetSeconds(), 20700);
    }
    const TimeZone zone("<-0330>3:30");
    EXPECT_EQ(system->utcOffsetSeconds(), -12600);
}

TEST_F(SystemClock, failingClockThrowsItsErrorText) {
    const SystemCallsReset reset;
    systemCalls.gettimeofdayError = EPERM;

    try {
        system->utcOffsetSeconds();
        FAIL() << "nothing thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Operation not permitted");
        EXPECT_EQ(dynamic_cast<const vx::Exception*>(&e), nullptr);
    }
}

TEST_F(SystemIdentity, randomIdHas16LettersAndDigits) {
    EXPECT_THAT(system->randomId(), MatchesRegex("[0-9A-Za-z]{16}"));
}

TEST_F(SystemIdentity, randomIdIsThatOfTheThreadsEngine) {
    vx::threadLocalRandomEngine().seed(1);
    const std::string id = system->randomId();
    vx::threadLocalRandomEngine().seed(1);

    EXPECT_EQ(id, vx::randomId());
}

TEST_F(SystemIdentity, randomUuidIsOfVersion4AndLowerCase) {
    for (int i = 0; i < 100; ++i)
        EXPECT_THAT(system->randomUuid(),
                    MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                 "[0-9a-f]{12}"));
    EXPECT_NE(system->randomUuid(), system->randomUuid());
}

TEST_F(SystemIdentity, randomUuidSetsVersionAndVariantOverTheDrawnBytes) {
    const SystemCallsReset reset;
    systemCalls.getrandom = [](void* data, std::size_t size) {
        std::memset(data, 0xff, size);
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(system->randomUuid(), "ffffffff-ffff-4fff-bfff-ffffffffffff");

    systemCalls.getrandom = [](void* data, std::size_t size) {
        std::memset(data, 0, size);
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(system->randomUuid(), "00000000-0000-4000-8000-000000000000");
}

TEST_F(SystemIdentity, randomUuidAsksAgainForWhatIsMissing) {
    const SystemCallsReset reset;
    std::vector<std::size_t> asked;
    systemCalls.getrandom = [&](void* data, std::size_t size) -> ssize_t {
        asked.push_back(size);
        if (asked.size() == 2)
            return -EINTR;
        const auto given = std::min<std::size_t>(size, 6);
        std::memset(data, static_cast<int>(asked.size()), given);
        return static_cast<ssize_t>(given);
    };

    EXPECT_EQ(system->randomUuid(), "01010101-0101-4303-8303-030304040404");
    EXPECT_EQ(asked, (std::vector<std::size_t>{16, 10, 10, 4}));
}

TEST_F(SystemIdentity, randomUuidThrowsWhenThereIsNoEntropy) {
    const SystemCallsReset reset;
    systemCalls.getrandom = [](void*, std::size_t) -> ssize_t { return -ENOSYS; };

    try {
        system->randomUuid();
        FAIL() << "nothing thrown";
    } catch (const boost::uuids::entropy_error& e) {
        EXPECT_STREQ(e.what(), "getrandom");
    }
}
