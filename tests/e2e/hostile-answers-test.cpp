// What it costs that a slave answers as none should, or that a line brings what nobody sent: which
// reads fail, and what ends it.

#include "e2e/hostile-bus.h"

#include "house/rtu-line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

using house::Bytes;
using house::Fault;
using testing::AnyOf;

namespace {

enum class Line { tcp, rtu };

/// What costs the same on both lines.
class HostileSlave : public HostileBus, public testing::WithParamInterface<Line> {
protected:
    HostileSlave() {
        if (GetParam() == Line::rtu)
            useSerialLine();
    }

    using Change = std::function<void(Bytes& message)>;

    /// Sends the first answer of the second poll with a changed message, in a frame that is right.
    void changeFirst(const Change& change) {
        sendFirstBy([change](const Bytes& frame, const Send& send) {
            send(GetParam() == Line::rtu ? changedOnRtu(frame, change)
                                         : changedOnTcp(frame, change));
        });
    }

private:
    static Bytes changedOnRtu(const Bytes& frame, const Change& change) {
        Bytes message(frame.begin(), frame.end() - 2);
        change(message);
        return house::rtuFrame(message);
    }

    static Bytes changedOnTcp(const Bytes& frame, const Change& change) {
        constexpr int headerLength = 6;
        Bytes header(frame.begin(), frame.begin() + headerLength);
        Bytes message(frame.begin() + headerLength, frame.end());
        change(message);
        header.back() = static_cast<std::uint8_t>(message.size());
        header.insert(header.end(), message.begin(), message.end());
        return header;
    }
};

INSTANTIATE_TEST_SUITE_P(On, HostileSlave, testing::Values(Line::tcp, Line::rtu),
                         [](const testing::TestParamInfo<Line>& line) {
                             return line.param == Line::tcp ? "Tcp" : "Rtu";
                         });

} // namespace

// An answer that is wrong in itself

// Its message is a unit, a function, the count of the bytes behind it, and these.

TEST_P(HostileSlave, anAnswerWithAnotherFunctionFailsItsRegisterAlone) {
    changeFirst([](Bytes& answer) { answer[1] = 4; });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Unknown error 112345691") + goodPoll);
}

TEST_P(HostileSlave, anAnswerWithMoreWordsThanAskedForFailsItsRegisterAlone) {
    changeFirst([](Bytes& answer) {
        answer[2] = 4;
        answer.insert(answer.end(), {1, 2});
    });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Unknown error 112345691") + goodPoll);
}

TEST_P(HostileSlave, aByteCountAboveWhatComesFailsItsRegisterAlone) {
    changeFirst([](Bytes& answer) { answer[2] = 4; });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Connection timed out") + goodPoll);
}

TEST_P(HostileSlave, anAnswerThatStopsInMidFrameFailsItsRegisterAlone) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send({frame.begin(), frame.end() - 3});
    });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Connection timed out") + goodPoll);
}

TEST_F(HostileTcp, anAnswerWithAnotherTransactionFailsItsRegisterAlone) {
    sendFirstBy([](Bytes frame, const Send& send) {
        ++frame[1];
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Unknown error 112345691") + goodPoll);
}

TEST_F(HostileTcp, anAnswerInTheNameOfAnotherUnitIsTaken) {
    bus->unit(7).failNext(11, Fault::fromUnit(9), 3);

    EXPECT_EQ(pollsUpTo(3), goodPoll + goodPoll);
}

TEST_F(HostileTcp, theLengthInAHeaderIsNotLookedAt) {
    sendFirstBy([](Bytes frame, const Send& send) {
        frame[5] = 200;
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), goodPoll + goodPoll);
}

TEST_F(HostileRtu, anAnswerInTheNameOfAnotherUnitFailsItsRegisterAlone) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send(house::rtuFrame({9, frame[1], frame[2], frame[3], frame[4]}));
    });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Unknown error 112345695") + goodPoll);
}

// Noise

TEST_F(HostileTcp, aFewBytesOfNoiseAheadOfAnAnswerFailTheReadsUntilTheyAreTaken) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send({0xFF, 0x00, 0x55, 0x01, 0x02});
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), R"(poll
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  S-7 700 W, 1 kWh
  S-8 800 W, 4 kWh
)" + goodPoll);
}

TEST_F(HostileRtu, aFewBytesOfNoiseAheadOfAnAnswerFailItsRegisterAlone) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send({0xFF, 0x00, 0x55, 0x01, 0x02});
        send(frame);
    });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Connection timed out") + goodPoll);
}

TEST_F(HostileRtu, aBurstOfNoiseLeavesOldValuesUntilTheBusWasSilentForSeveralPolls) {
    sendFirstBy([](const Bytes& frame, const Send& send) {
        send(Bytes(42, 0xFF));
        send(frame);
    });
    sendBy(keepSilent, 4);
    sendBy(asItShouldBe, 7);

    EXPECT_EQ(pollsUpTo(7), repeated(pollOfOldValues("Unknown error 112345695"), 4) + R"(poll
  register 10: Unknown error 112345695
  register 11: Unknown error 112345695
  register 10: Connection timed out
  register 11: Connection timed out
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + goodPoll);
}

// A line that hangs up

TEST_F(HostileTcp, aHangUpInMidFrameFailsAllLaterReadsUntilANewConnection) {
    sendFirstBy([this](const Bytes& frame, const Send& send) {
        send({frame.begin(), frame.end() - 3});
        bus->dropConnections();
    });
    inPoll(3, [this] { nameAnotherDevice(); });

    EXPECT_EQ(pollsUpTo(4), R"(poll
  register 10: Connection reset by peer
  register 11: Connection reset by peer
  register 10: Broken pipe
  register 11: Broken pipe
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + pollOfOldValues("Broken pipe") +
                                goodPollAnew);
}

TEST_F(HostileRtu, aHangUpInMidFrameFailsAllLaterReadsUntilANewConnection) {
    sendFirstBy([this](const Bytes& frame, const Send& send) {
        send({frame.begin(), frame.end() - 3});
        serialLine.reset();
    });
    inPoll(3, [this] {
        useSerialLine();
        nameAnotherDevice();
    });

    const std::string account = pollsUpTo(4);

    const std::string later = R"(
  register 11: Input/output error
  register 10: Input/output error
  register 11: Input/output error
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + pollOfOldValues("Input/output error") +
                              goodPollAnew;
    // The second one if the reader looks while the kernel is still at the hanging up.
    EXPECT_THAT(account, AnyOf("poll\n  register 10: Connection reset by peer" + later,
                               "poll\n  register 10: Input/output error" + later));
}

// An address that the library refuses

TEST_P(HostileSlave, aRefusedAddressAfterAGoodOneReadsTheMeterAheadOfItUnderItsOwnName) {
    serveAttached(R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
                  R"({"configId":"c","serial":"S-300","slaveAddress":300}]})");

    EXPECT_EQ(pollsUpTo(2), R"(poll
  S-7 710 W, 3 kWh
  S-300 710 W, 3 kWh
)");
}
