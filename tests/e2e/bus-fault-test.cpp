#include "e2e/process-world.h"

#include <gtest/gtest.h>

using house::Answer;
using house::Fault;

namespace {

class BusFault : public ProcessWorld {
protected:
    /// Four polls, of which three find a meter with a fault of its own. What the first could not
    /// read is missing; what a later one could not read is the value of the poll before.
    std::string threePolls() {
        server->answerNext(LocalServer::attachedPath, Answer::withBody(oneMeter.attached), 3);
        serveAttached(R"({"data":[]})");
        whenRequested([this](const house::Request& request) {
            if (request.path == LocalServer::supportedPath)
                prepare(server->requestCount(LocalServer::supportedPath));
        });
        start();
        return transcriptUntil("retry timer", 4);
    }

private:
    void prepare(std::size_t poll) {
        house::ModbusSlave::Unit unit = bus->unit(7);
        if (poll == 1)
            unit.failNext(10, Fault::exception(2));
        if (poll == 2)
            unit.holding(20, {0, 9}).failNext(20, Fault::silence);
        if (poll == 3)
            unit.input(10, {99}).holding(20, {0, 3}).failNext(10, Fault::exception(4));
    }
};

} // namespace

TEST_F(BusFault, anExceptionAndASilenceOverTcpLeaveTheValuesOfThePollBefore) {
    expectTranscriptOfFile(threePolls());
}

TEST_F(BusFault, anExceptionAndASilenceOverRtuLeaveTheValuesOfThePollBefore) {
    useLine();
    connectMeter();
    // One second for the silence instead of five.
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");

    expectTranscriptOfFile(threePolls());
}

TEST_F(BusFault, aLineThatHangsUpDoesNotEndAReaderThatLeadsItsSession) {
    layLine();
    whenRequested([this](const house::Request& request) {
        // The line is connected by then.
        if (request.path == LocalServer::supportedPath)
            serialLine.reset();
    });
    // As the service manager starts it: the terminal that it opens first could become its own.
    start({}, {}, {"/usr/bin/setsid"});

    const std::string twoPolls = transcriptUntil("retry timer", 2);

    EXPECT_TRUE(reader->running());
    end();
    expectTranscriptOfFile(twoPolls);
}

TEST_F(BusFault, aFirstSlaveAddressThatTheLibraryRefusesEndsNeitherTheProcessNorThePoll) {
    useLine();
    connectMeter();
    serveAttached(R"({"data":[{"configId":"c1","serial":"S-300","slaveAddress":300},)"
                  R"({"configId":"c1","serial":"S-1","slaveAddress":7}]})");
    start();

    const std::string poll = transcriptUntil("retry timer");

    EXPECT_TRUE(reader->running());
    end();
    expectTranscriptOfFile(poll);
}
