// Answers that are taken for those of later requests: which reads fail, which readings are false
// under a fresh time, and what puts them into their places again.

#include "e2e/hostile-bus.h"

#include "house/rtu-line.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

using house::Bytes;
using house::Fault;
using house::Query;

namespace {

/// Keeps the first answer back until the next request has come, long after its time-out.
house::BusLine::Sender firstAnswerComesLate() {
    const auto kept = std::make_shared<Bytes>();
    const auto answers = std::make_shared<int>(0);
    return [=](const Query&, const Bytes& frame, const house::BusLine::Send& send) {
        ++*answers;
        if (*answers == 1) {
            *kept = frame;
            return;
        }
        if (*answers == 2)
            send(*kept);
        send(frame);
    };
}

/// On TCP, where the number of a transaction tells that an answer is not the one that is due.
const std::string pollsBehindMoreThanAskedFor = R"(poll
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 710 W, 1 kWh
  S-8 800 W, 2 kWh
poll
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 710 W, 1 kWh
  S-8 800 W, 2 kWh
)";
const std::string pollOfALateAnswer = R"(poll
  register 10: Connection timed out
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)";

} // namespace

// An answer whose rest is left for the next request

TEST_F(HostileTcp, aByteCountBelowWhatComesFailsAllReadsOfItsPoll) {
    sendFirstBy([](Bytes frame, const Send& send) {
        frame[8] = 0;
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), pollOfOldValues("Unknown error 112345691") + goodPoll);
}

TEST_F(HostileRtu, aByteCountBelowWhatComesFailsTheReadsUntilOneWaitsInVain) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send(house::rtuFrame({frame[0], frame[1], 0, frame[3], frame[4]}));
    });

    EXPECT_EQ(pollsUpTo(3), R"(poll
  register 10: Unknown error 112345690
  register 11: Unknown error 112345695
  register 10: Connection timed out
  S-7 700 W, 1 kWh
  S-8 800 W, 4 kWh
)" + goodPoll);
}

TEST_F(HostileTcp, aByteCountAboveEveryFrameFailsAllReadsOfItsPoll) {
    sendFirstBy([](Bytes frame, const Send& send) {
        frame[8] = 255;
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), pollOfOldValues("Unknown error 112345691") + goodPoll);
}

// A single damaged byte is enough.
TEST_F(HostileRtu, aByteCountAboveEveryFrameFailsAllReadsUntilTheBusFallsSilent) {
    sendFirstBy([](Bytes frame, const Send& send) {
        frame[2] = 255;
        send(frame);
    });
    sendBy(keepSilent, 4);
    sendBy(asItShouldBe, 5);

    EXPECT_EQ(pollsUpTo(5), R"(poll
  register 10: Unknown error 112345691
  register 11: Unknown error 112345695
  register 10: Unknown error 112345695
  register 11: Unknown error 112345695
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + pollOfOldValues("Unknown error 112345695") +
                                R"(poll
  register 10: Unknown error 112345695
  register 11: Unknown error 112345695
  register 10: Connection timed out
  register 11: Connection timed out
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + goodPoll);
}

// More than was asked for

TEST_F(HostileTcp, anAnswerThatComesTwiceFailsAllLaterReadsUntilANewConnection) {
    sendFirstBy([](const Bytes& frame, const Send& send) { send(repeated(frame, 2)); });
    inPoll(3, [this] { nameAnotherDevice(); });

    EXPECT_EQ(pollsUpTo(4), pollsBehindMoreThanAskedFor + goodPollAnew);
}

TEST_F(HostileRtu, anAnswerThatComesTwiceShiftsTheValuesUntilARequestIsNotAnswered) {
    sendFirstBy([](const Bytes& frame, const Send& send) { send(repeated(frame, 2)); });
    sendBy(firstAnswerIsMissing(8, 11), 4);

    EXPECT_EQ(pollsUpTo(5), R"(poll
  register 10: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  register 10: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  register 10: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
)" + goodPoll);
}

TEST_F(HostileTcp, aFloodOfAnswersFailsAllLaterReadsUntilANewConnection) {
    sendFirstBy([](const Bytes& frame, const Send& send) { send(repeated(frame, 5000)); });
    inPoll(3, [this] { nameAnotherDevice(); });

    EXPECT_EQ(pollsUpTo(4), pollsBehindMoreThanAskedFor + goodPollAnew);
}

TEST_F(HostileRtu, aFloodOfAnswersIsTakenForLaterOnesUntilTheBusIsSilentForAsManyReads) {
    sendFirstBy([](const Bytes& frame, const Send& send) { send(repeated(frame, 6)); });
    sendBy(keepSilent, 4);
    sendBy(asItShouldBe, 6);

    EXPECT_EQ(pollsUpTo(6), R"(poll
  register 10: Unknown error 112345695
  register 11: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 2 kWh
poll
  register 10: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  register 10: Unknown error 112345695
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  register 11: Connection timed out
  register 10: Connection timed out
  register 11: Connection timed out
  S-7 710 W, 710 kWh
  S-8 800 W, 810 kWh
)" + goodPoll);
}

// An answer to the question before

TEST_F(HostileTcp, oneLateAnswerFailsAllLaterReadsUntilANewConnection) {
    sendBy(firstAnswerComesLate(), 2);
    inPoll(3, [this] { nameAnotherDevice(); });

    EXPECT_EQ(pollsUpTo(4),
              pollOfALateAnswer + pollOfOldValues("Unknown error 112345691") + goodPollAnew);
}

TEST_F(HostileTcp, oneLateAnswerFailsAllLaterReadsUntilARequestIsNotAnswered) {
    sendBy(firstAnswerComesLate(), 2);
    sendBy(firstAnswerIsMissing(7, 11), 3);

    EXPECT_EQ(pollsUpTo(4), pollOfALateAnswer + R"(poll
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 700 W, 1 kWh
  S-8 810 W, 4 kWh
)" + goodPoll);
}

TEST_F(HostileRtu, oneLateAnswerShiftsTheValuesOfEachMeterUntilARequestIsNotAnswered) {
    sendBy(firstAnswerComesLate(), 2);
    sendBy(firstAnswerIsMissing(7, 11), 4);

    EXPECT_EQ(pollsUpTo(5), R"(poll
  register 10: Connection timed out
  register 10: Unknown error 112345695
  S-7 700 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  register 10: Unknown error 112345695
  S-7 700 W, 710 kWh
  S-8 800 W, 810 kWh
poll
  register 10: Unknown error 112345695
  S-7 700 W, 710 kWh
  S-8 810 W, 4 kWh
)" + goodPoll);
}

TEST_F(HostileRtu, oneLateAnswerShiftsTheValuesOfALoneMeterWithoutAnyLaterWarning) {
    m_meters = 1;
    serveAttached(R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7}]})");
    sendBy(firstAnswerComesLate(), 2);
    sendBy(firstAnswerIsMissing(7, 10), 5);

    EXPECT_EQ(pollsUpTo(6), R"(poll
  register 10: Connection timed out
  S-7 700 W, 710 kWh
poll
  S-7 3 W, 710 kWh
poll
  S-7 3 W, 710 kWh
poll
  S-7 3 W, 3 kWh
poll
  S-7 710 W, 3 kWh
)");
}

TEST_F(HostileRtu, aTimeOutLongerThanTheSlowestAnswerKeepsTheValuesInTheirPlaces) {
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":2}})");
    inPoll(2, [this] { bus->unit(7).failNext(10, Fault::late(std::chrono::milliseconds(1200))); });

    EXPECT_EQ(pollsUpTo(3), goodPoll + goodPoll);
}
