#include "e2e/reader-process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* alive = "DEBUG modbusSerial Main loop is alive toolkit.cpp:<line>";

void writeSettings(const std::string& text) {
    std::ofstream("/etc/libvx") << text;
}

/// The log of the first poll.
std::vector<std::string> firstPoll(const ReaderProcess& reader) {
    reader.waitForLog("config/supported");
    return reader.log();
}

} // namespace

TEST(LogRules, theEnvironmentRaisesTheNamedChannelAlone) {
    ReaderProcess reader({"VX_LOG=modbusSerial:D"});

    const auto lines = firstPoll(reader);

    EXPECT_THAT(linesWith(lines, "DEBUG"), ElementsAre(alive));
}

TEST(LogRules, theFileRaisesTheNamedChannelAlone) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    ReaderProcess reader;

    const auto lines = firstPoll(reader);

    EXPECT_THAT(linesWith(lines, "DEBUG"), ElementsAre(alive));
}

TEST(LogRules, debugOfTheHttpClientShowsANewHandleForEachRequest) {
    ReaderProcess reader({"VX_LOG=HttpClient:D"});

    reader.waitForLog("retry timer");

    const std::string fresh = "DEBUG HttpClient create new handle";
    EXPECT_THAT(linesWith(linesBetween(reader.log(), "", "retry timer"), "handle"),
                ElementsAre(fresh, fresh, fresh));
}

TEST(LogRules, theEnvironmentWinsOverTheWholeFile) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    ReaderProcess reader({"VX_LOG=HttpClient:D"});

    const auto lines = firstPoll(reader);

    EXPECT_THAT(lines, Contains("DEBUG HttpClient create new handle"));
    EXPECT_THAT(linesWith(lines, "DEBUG modbusSerial"), IsEmpty());
}

TEST(LogRules, anEmptyVariableFallsThroughToTheFile) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    ReaderProcess reader({"VX_LOG="});

    const auto lines = firstPoll(reader);

    EXPECT_THAT(linesWith(lines, "DEBUG"), ElementsAre(alive));
}

TEST(LogRules, aLineOfTheBareNameIsReportedAndLeavesTheDefaults) {
    writeSettings("VX_LOG\nVX_LOG=modbusSerial:D\n");
    ReaderProcess reader;

    const auto lines = firstPoll(reader);

    EXPECT_EQ(lines.front(),
              "Failed to parse /etc/libvx, error:basic_string::at: __n (which is 6) >= "
              "this->size() (which is 6)");
    EXPECT_THAT(linesWith(lines, "DEBUG"), IsEmpty());
}

TEST(LogRules, coloursAreOffInAFileAndOnByOrder) {
    ReaderProcess plain;
    ReaderProcess coloured({"VX_LOG_COLORS=yes"});

    plain.waitForLog("Starting");
    coloured.waitForLog("Starting");

    EXPECT_THAT(plain.log().front(), StartsWith("NOTIC modbusreaderMain"));
    EXPECT_THAT(coloured.log().front(), StartsWith("\x1B[36mNOTIC\x1B[0m modbusreaderMain"));
}
