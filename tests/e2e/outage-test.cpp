#include "e2e/process-world.h"
#include "support/lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::IsEmpty;

namespace {

class Outage : public ProcessWorld {
protected:
    /// Opens the metering service at the beginning of the @p poll'th poll that finds the server.
    void openServiceInPoll(std::size_t poll) {
        whenRequested([this, poll](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath &&
                server->requestCount(request.path) == poll)
                openService();
        });
    }
};

} // namespace

TEST_F(Outage, aServerThatFallsSilentCostsThreeWarningsPerPollAndNoMeterIsRead) {
    // In the first poll, which has asked it everything by then.
    bus->beforeAnswer([this] { closeServer(); });
    start();
    std::string account = transcriptUntil("retry timer", 3);

    bus->beforeAnswer({});
    openServer();
    // Back again without a restart, over the connection that was there.
    EXPECT_THAT(linesWith(logUntil("Reading meter now"), "doReconnect"), IsEmpty());
    account += "(the server is back)\n" + transcriptUntil("retry timer", 2);

    expectTranscriptOfFile(account);
}

TEST_F(Outage, withoutMeteringServiceEachMessageCostsOneLineOfEqualSignsAndOneWarning) {
    closeService();
    openServiceInPoll(3);
    start();

    expectTranscriptOfFile(transcriptUntil("retry timer", 4));
}

// The library's own error numbers, here EMBXILADD (illegal data address), have no text in the C
// library.
TEST_F(Outage, everyRegisterFailingStillDeliversARecord) {
    bus->unit(7).failAlways(house::Fault::exception(2));
    start();

    const std::string poll = transcriptUntil("retry timer");

    end();
    expectTranscriptOfFile(poll);
}

TEST_F(Outage, aBrokenConfigurationFileIsReportedOnceAndLeavesNoConnection) {
    writeConfigFile("{broken");
    start();

    const std::string twoPolls = transcriptUntil("retry timer", 2);

    // The parameters count as accepted, so the second poll doesn't try again.
    end();
    expectTranscriptOfFile(twoPolls);
}

TEST_F(Outage, allAtOnceTheDaemonLivesOnAndRecovers) {
    closeService();
    writeConfigFile("<not json>");
    start();
    // The first tick is three seconds away.
    std::string account = transcriptUntil("Cycling meters");
    closeServer();
    account += transcriptUntil("retry timer", 3);

    // All is mended, and the server names another device: the only sign to reconnect. The service
    // gets nothing of a poll that finds the server half-way.
    useTcp();
    openServiceInPoll(1);
    serveRtuConfig(R"({"data":{"serialDevice":"/dev/ttyS2"}})");
    openServer();
    logUntil("doReconnect");
    account += "(all is mended)\n" + transcriptUntil("retry timer", 2);

    expectTranscriptOfFile(account);
}
