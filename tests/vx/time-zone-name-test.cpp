#include "child-process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

/// What `vx::System::timeZoneName` gives where the shell commands @p preparation have made
/// "/etc/localtime", and a line end.
std::string nameIn(const std::string& preparation) {
    return runInPrivateWorld(preparation, "time-zone-name").standardOutput;
}

} // namespace

TEST(TimeZoneName, isTheRestOfTheLinksTarget) {
    const auto nameBehind = [](const std::string& target) {
        return nameIn("ln -s " + target + " /etc/localtime");
    };

    EXPECT_EQ(nameBehind("/usr/share/zoneinfo/Europe/Berlin"), "Europe/Berlin\n");
    EXPECT_EQ(nameBehind("../usr/share/zoneinfo/Asia/Kathmandu"), "Asia/Kathmandu\n");
    EXPECT_EQ(nameBehind("/usr/share/zoneinfo/"), "\n");
    EXPECT_EQ(nameBehind("/elsewhere/usr/share/zoneinfo/UTC"), "\n");
    EXPECT_EQ(nameBehind("../../usr/share/zoneinfo/UTC"), "\n");
}

TEST(TimeZoneName, isEmptyForAPlainFileOrNone) {
    EXPECT_EQ(nameIn("echo x >/etc/localtime"), "\n");
    EXPECT_EQ(nameIn(""), "\n");
}

TEST(TimeZoneName, logsItsEntryAtDebug) {
    const ChildResult result =
        runInPrivateWorld("", "time-zone-name", {.environment = {"VX_LOG=vxSystem:D"}});

    EXPECT_THAT(result.standardError,
                testing::ContainsRegex(" DEBUG vxSystem Enter virtual .* "
                                       "vx::SystemImpl::timeZoneName\\(\\) const \\.cpp:[0-9]+\n"));
}
