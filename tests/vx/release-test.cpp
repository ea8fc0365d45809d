#include "vx/system.h"

#include "entered.h"
#include "support/log-capture.h"
#include "support/temporary-directory.h"
#include "vx/enum.h"
#include "vx/exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using vx::LogSeverity;
using vx::Release;

namespace {

class ReleaseTest : public testing::Test {
protected:
    std::unique_ptr<vx::System> makeSystem() const {
        return vx::makeSystem({directory.path().string(), "/usr/share"});
    }

    std::unique_ptr<vx::System> systemOfRelease(const std::string& text) const {
        directory.write("release-type", text);
        return makeSystem();
    }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(ReleaseTest, namesAndValuesAreThoseOfTheTable) {
    EXPECT_EQ(vx::fromEnum<std::string>(static_cast<Release>(0)), "devel");
    EXPECT_EQ(vx::fromEnum<std::string>(static_cast<Release>(1)), "testing");
    EXPECT_EQ(vx::fromEnum<std::string>(static_cast<Release>(2)), "fieldtest");
    EXPECT_EQ(vx::fromEnum<std::string>(static_cast<Release>(3)), "production");
    EXPECT_STREQ(vxEnum(Release::devel).name, "::vx::Release");
    EXPECT_EQ(vxEnum(Release::devel).end - vxEnum(Release::devel).begin, 4);
}

TEST_F(ReleaseTest, isReadFromItsFile) {
    EXPECT_EQ(systemOfRelease("devel")->release(), Release::devel);
    EXPECT_EQ(systemOfRelease("testing")->release(), Release::testing);
    EXPECT_EQ(systemOfRelease("fieldtest")->release(), Release::fieldtest);
    EXPECT_EQ(systemOfRelease("production")->release(), Release::production);
}

TEST_F(ReleaseTest, whiteSpaceAroundTheNameIsTrimmed) {
    EXPECT_EQ(systemOfRelease("production\n")->release(), Release::production);
    EXPECT_EQ(systemOfRelease(" \t\r\n\v\fproduction \t\r\n\v\f")->release(), Release::production);
}

TEST_F(ReleaseTest, onlyDevelAndTestingAreInternal) {
    EXPECT_TRUE(systemOfRelease("devel")->isInternalRelease());
    EXPECT_TRUE(systemOfRelease("testing")->isInternalRelease());
    EXPECT_FALSE(systemOfRelease("fieldtest")->isInternalRelease());
    EXPECT_FALSE(systemOfRelease("production")->isInternalRelease());
}

TEST_F(ReleaseTest, namesAreMatchedExactlyAndOthersReportedAtDebug) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(systemOfRelease("Production")->release(), Release::devel);

    EXPECT_THAT(log.take(), ElementsAre("debug vxEnum Unknown ::vx::Release enum option. "
                                        "value:Production .cpp:<line>"));
}

TEST_F(ReleaseTest, emptyFileMeansDevelWithADebugLine) {
    DebugCapture log(vx::enumLogChannel().name());

    const auto system = systemOfRelease("");

    EXPECT_EQ(system->release(), Release::devel);
    EXPECT_TRUE(system->isInternalRelease());
    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown ::vx::Release enum option. value: .cpp:<line>"));
}

TEST_F(ReleaseTest, missingFileMeansDevelWithTheSameDebugLine) {
    DebugCapture log(vx::enumLogChannel().name());

    EXPECT_EQ(makeSystem()->release(), Release::devel);

    EXPECT_THAT(log.take(),
                ElementsAre("debug vxEnum Unknown ::vx::Release enum option. value: .cpp:<line>"));
}

TEST_F(ReleaseTest, isReadWithTheDebugLineOfThatOperation) {
    DebugCapture log("vxSystem");

    makeSystem();

    EXPECT_THAT(log.take(),
                ElementsAre(entered("vxSystem", " vx::SystemImpl::readFileIfExists",
                                    "filename:" + directory.path().string() + "/release-type")));
}

TEST_F(ReleaseTest, isReadOnlyOnce) {
    const auto system = systemOfRelease("fieldtest");

    directory.write("release-type", "production");

    EXPECT_EQ(system->release(), Release::fieldtest);
}

TEST_F(ReleaseTest, fileThatCannotBeReadFailsTheConstruction) {
    std::filesystem::create_directory(directory.path() / "release-type");

    EXPECT_THROW(makeSystem(), vx::Exception);
}

TEST_F(ReleaseTest, isInternalReleaseLogsTheReleaseAtDebug) {
    const auto system = systemOfRelease("fieldtest");
    DebugCapture log("vxSystem");

    EXPECT_FALSE(system->isInternalRelease());

    EXPECT_THAT(log.take(),
                ElementsAre(MatchesRegex("debug vxSystem Enter virtual .*bool "
                                         "vx::SystemImpl::isInternalRelease\\(\\) const "
                                         "release\\(\\):fieldtest .cpp:<line>")));
}
