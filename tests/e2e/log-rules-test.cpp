#include "e2e/process-world.h"
#include "support/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* alive = "debug modbusSerial Main loop is alive toolkit.cpp:<line>";

void writeSettings(const std::string& text) {
    std::ofstream("/etc/libvx") << text;
}

/// A home without meters, where nothing of a meter is told.
class LogRules : public ProcessWorld {
protected:
    LogRules() { serveAttached(R"({"data":[]})"); }

    /// The log of the first poll, up to its last line.
    std::vector<std::string> logOfPoll() { return logUntil("Cycling meters"); }
};

} // namespace

TEST_F(LogRules, theEnvironmentRaisesTheNamedChannelAlone) {
    start({"VX_LOG=modbusSerial:D"});

    const auto lines = logOfPoll();

    EXPECT_THAT(linesWith(lines, "debug"), ElementsAre(alive));
}

TEST_F(LogRules, theFileRaisesTheNamedChannelAlone) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    start();

    const auto lines = logOfPoll();

    EXPECT_THAT(linesWith(lines, "debug"), ElementsAre(alive));
}

TEST_F(LogRules, debugOfTheHttpClientShowsANewHandleForEachRequest) {
    start({"VX_LOG=HttpClient:D"});

    const std::string fresh = "debug HttpClient create new handle";
    EXPECT_THAT(linesWith(logOfPoll(), "handle"), ElementsAre(fresh, fresh, fresh));
}

TEST_F(LogRules, theEnvironmentWinsOverTheWholeFile) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    start({"VX_LOG=HttpClient:D"});

    const auto lines = logOfPoll();

    EXPECT_THAT(lines, Contains("debug HttpClient create new handle"));
    EXPECT_THAT(linesWith(lines, "debug modbusSerial"), IsEmpty());
}

TEST_F(LogRules, anEmptyVariableFallsThroughToTheFile) {
    writeSettings("VX_LOG=modbusSerial:D\n");
    start({"VX_LOG="});

    const auto lines = logOfPoll();

    EXPECT_THAT(linesWith(lines, "debug"), ElementsAre(alive));
}

TEST_F(LogRules, aLineOfTheBareNameIsReportedAndLeavesTheDefaults) {
    writeSettings("VX_LOG\nVX_LOG=modbusSerial:D\n");
    start();

    const auto lines = logOfPoll();

    EXPECT_EQ(lines.front(),
              "Failed to parse /etc/libvx, error:basic_string::at: __n (which is 6) >= "
              "this->size() (which is 6)");
    EXPECT_THAT(linesWith(lines, "debug"), IsEmpty());
}

TEST_F(LogRules, coloursAreOffInAFileAndOnByOrder) {
    start();
    waitForLog("Starting");
    const std::string plain = reader->rawLog().front();
    end();
    start({"VX_LOG_COLORS=yes"});
    waitForLog("Starting");

    EXPECT_THAT(plain, MatchesRegex("\\[.*\\] +[0-9]+ NOTIC modbusreaderMain Starting .*"));
    EXPECT_THAT(reader->rawLog().front(),
                MatchesRegex("\\[.*\\] +[0-9]+ \x1B\\[36mNOTIC\x1B\\[0m modbusreaderMain "
                             "Starting .*"));
}
