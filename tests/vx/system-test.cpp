#include "vx/system.h"

#include "entered.h"
#include "support/log-capture.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"
#include "vx/conf.h"
#include "vx/exception.h"

#include <boost/filesystem.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <type_traits>

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
    DebugCapture log("vxSystem");

    system->readFile(file);
    system->readFileIfExists(file);

    const std::string leave =
        "debug vxSystem Leave (static |)std::string .*readFileImpl\\(.*\\).* filename:" + file +
        " result:content .cpp:<line>";
    EXPECT_THAT(
        log.take(),
        ElementsAre(entered("vxSystem", " vx::SystemImpl::readFile", "filename:" + file),
                    MatchesRegex(leave),
                    entered("vxSystem", " vx::SystemImpl::readFileIfExists", "filename:" + file),
                    MatchesRegex(leave)));
}

TEST_F(SystemRead, missingFileLogsNoLeave) {
    DebugCapture log("vxSystem");

    system->readFileIfExists("/no");
    EXPECT_THROW(system->readFile("/no"), vx::Exception);

    EXPECT_THAT(
        log.take(),
        ElementsAre(entered("vxSystem", " vx::SystemImpl::readFileIfExists", "filename:/no"),
                    entered("vxSystem", " vx::SystemImpl::readFile", "filename:/no")));
}

TEST_F(SystemRead, exceptionOutOfTheLogFunctionIsNoFailureToRead) {
    const std::string file = directory.write("f", "content");
    const DebugCapture log("vxSystem");
    vx::Logger::instance().setLogFunction([](const char*, LogSeverity, const std::string& message) {
        if (message.starts_with("Leave"))
            throw std::bad_function_call();
    });

    EXPECT_THROW(system->readFile(file), std::bad_function_call);
}

TEST_F(SystemRead, pathThatCannotBeFollowedThrows) {
    std::filesystem::create_symlink("loop", path("loop"));

    EXPECT_THROW(system->readFileIfExists(path("loop")), boost::filesystem::filesystem_error);
}

TEST_F(SystemTest, isAnInterfaceThatIsNotCopied) {
    static_assert(std::is_abstract_v<vx::System>);
    static_assert(!std::is_copy_constructible_v<vx::System>);
    SUCCEED();
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
    DebugCapture log("vxSystem");

    system->writeToFile(path("f"), "text");

    EXPECT_THAT(log.take(), ElementsAre(entered("vxSystem", " vx::SystemImpl::writeToFile",
                                                "filename:" + path("f") + " data:text")));
}

TEST_F(SystemWrite, failureIsLoggedTheSame) {
    DebugCapture log("vxSystem");

    EXPECT_THROW(system->writeToFile("/no/such/file", "text"), vx::Exception);

    EXPECT_THAT(log.take(), ElementsAre(entered("vxSystem", " vx::SystemImpl::writeToFile",
                                                "filename:/no/such/file data:text")));
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

TEST_F(SystemExists, logsThePathAtDebugBeforeLooking) {
    DebugCapture log("vxSystem");
    std::filesystem::create_symlink("loop", path("loop"));

    system->exists("/dev/null");
    EXPECT_THROW(system->exists(path("loop")), boost::filesystem::filesystem_error);

    const auto enter = [](const std::string& path) {
        return entered("vxSystem", "bool vx::SystemImpl::exists", "path:" + path);
    };
    EXPECT_THAT(log.take(), ElementsAre(enter("/dev/null"), enter(path("loop"))));
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

TEST_F(SystemLsRegularFiles, anExtensionWithoutItsDotGivesNone) {
    directory.write("a.json", "");

    EXPECT_THAT(system->lsRegularFiles(directory.path().string(), "json"), ElementsAre());
}

TEST_F(SystemLsRegularFiles, aNameThatBeginsWithItsOnlyDotIsAnExtension) {
    directory.write(".json", "");

    EXPECT_THAT(system->lsRegularFiles(directory.path().string(), ".json"),
                ElementsAre(path(".json")));
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

TEST_F(SystemLsRegularFiles, entryThatCannotBeFollowedThrows) {
    std::filesystem::create_symlink("loop.json", path("loop.json"));
    const std::string name = directory.path().string();

    EXPECT_EQ(thrownText([&] { system->lsRegularFiles(name, ".json"); }),
              "Failed to iterate files path:" + name +
                  " e.what():boost::filesystem::status: Too many levels of symbolic links: \"" +
                  path("loop.json") + "\" vx/system.cpp:<line>");
}

TEST_F(SystemLsRegularFiles, logsPathAndExtensionAtDebug) {
    DebugCapture log("vxSystem");

    system->lsRegularFiles("/no", ".json");

    EXPECT_THAT(log.take(), ElementsAre(entered("vxSystem", " vx::SystemImpl::lsRegularFiles",
                                                "path:/no extension:.json")));
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
    DebugCapture log("vxSystem");

    EXPECT_ANY_THROW(system->rename("/no", "/new"));

    EXPECT_THAT(log.take(), ElementsAre(entered("vxSystem", "void vx::SystemImpl::rename",
                                                "old_p:/no new_p:/new")));
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
    DebugCapture log("vxSystem");

    system->remove("/no");

    EXPECT_THAT(log.take(),
                ElementsAre(entered("vxSystem", "void vx::SystemImpl::remove", "path:/no")));
}

TEST_F(SystemRemove, failureIsLoggedTheSame) {
    directory.write("f", "");
    const std::string name = directory.path().string();
    DebugCapture log("vxSystem");

    EXPECT_ANY_THROW(system->remove(name));

    EXPECT_THAT(log.take(),
                ElementsAre(entered("vxSystem", "void vx::SystemImpl::remove", "path:" + name)));
}
