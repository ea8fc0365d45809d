// What it costs that a slave answers as none should, or that a line brings what nobody sent: which
// reads fail, which readings are false, and what ends it. Pauses pass in no time, so that a poll
// takes as long as its bus does.

#include "e2e/process-world.h"
#include "support/lines.h"

#include "house/awaited-count.h"
#include "house/descriptor.h"
#include "house/patience.h"
#include "house/rtu-line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

using house::Bytes;
using house::Fault;
using house::Query;
using testing::AnyOf;
using testing::ElementsAre;
using Send = house::BusLine::Send;
using Sender = house::BusLine::Sender;

namespace {

/// Two meters of one model, "S-7" and "S-8" at the slave addresses 7 and 8: the power in watts in
/// the register 10, the energy in kilowatt hours in the register 11.
const Replies twoRegistersEach = {
    R"({"data":{"serialDevice":"/dev/a","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})",
    R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
    R"({"configId":"c","serial":"S-8","slaveAddress":8}]})",
    R"({"data":[{"id":"c","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":1},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1},)"
    R"({"address":11,"fieldType":"energyImport","modbusDataType":"uint16","length":1}]}]})"};

/// The same parameters of another device, at which the reader connects anew.
const char* const otherRtuConfig =
    R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})";

constexpr const char* configFile = "/etc/modbus-config.json";

/// The part of @p text between two others.
std::string between(const std::string& text, std::string_view first, std::string_view end) {
    const auto from = text.find(first) + first.size();
    return text.substr(from, text.find(end, from) - from);
}

/// A member of @p message; zero if it is left out.
long long memberOf(const std::string& message, const std::string& key) {
    const std::string head = '"' + key + "\":";
    const auto at = message.find(head);
    return at == std::string::npos ? 0 : std::stoll(message.substr(at + head.size()));
}

/// "S-7 710 W, 3 kWh".
std::string reading(const std::string& message) {
    constexpr long long joulesPerKilowattHour = 3600000;
    return between(message, R"("id":")", "\"") + " " +
           std::to_string(memberOf(message, "powerConsumed")) + " W, " +
           std::to_string(memberOf(message, "energyConsumed") / joulesPerKilowattHour) + " kWh";
}

/// Sends the first answer by @p first, and the others as they should be.
Sender once(const std::function<void(const Bytes& frame, const Send&)>& first) {
    const auto done = std::make_shared<bool>(false);
    return [=](const Query&, const Bytes& frame, const Send& send) {
        if (*done)
            return send(frame);
        *done = true;
        first(frame, send);
    };
}

/// Keeps the first answer back until the next request has come, long after its time-out.
Sender firstAnswerComesLate() {
    const auto kept = std::make_shared<Bytes>();
    const auto answers = std::make_shared<int>(0);
    return [=](const Query&, const Bytes& frame, const Send& send) {
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

/// As a bus that is taken off its port.
void keepSilent(const Query& /*query*/, const Bytes& /*frame*/, const Send& /*send*/) {}

/// Bytes, or a text.
template <class Sequence>
Sequence repeated(const Sequence& one, int times) {
    Sequence all;
    for (int i = 0; i < times; ++i)
        all.insert(all.end(), one.begin(), one.end());
    return all;
}

/// Keeps the first answer back that @p unit gives for @p address, as if it had not been asked.
Sender firstAnswerIsMissing(int unit, int address) {
    const auto missed = std::make_shared<bool>(false);
    return [=](const Query& query, const Bytes& frame, const Send& send) {
        if (*missed || query.unit != unit || query.address != address)
            return send(frame);
        *missed = true;
    };
}

void asItShouldBe(const Query& /*query*/, const Bytes& frame, const Send& send) {
    send(frame);
}

/// A home of two meters, whose first poll is a good one. From the second one on the meters hold
/// other values.
class HostileBus : public ProcessWorld {
protected:
    HostileBus() {
        serve(twoRegistersEach);
        putMetersOnTheBus();
        whenRequested([this](const house::Request& request) {
            if (request.path == LocalServer::rtuConfigPath)
                pollBegins(server->requestCount(request.path));
        });
    }

    void useSerialLine() {
        useLine();
        // One second for a silence instead of five.
        writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");
        putMetersOnTheBus();
    }

    /// Does @p action at the beginning of a poll, when the server has chosen its first reply.
    void inPoll(std::size_t poll, const std::function<void()>& action) { m_actions[poll] = action; }

    /// Sends the answers of a poll, and of those behind it, by @p sender. Those of the polls before
    /// are sent by then, as a reader that finds other bytes doesn't wait for them.
    void sendBy(const Sender& sender, std::size_t poll) {
        inPoll(poll, [this, poll, sender] {
            EXPECT_TRUE(m_sent.waitFor(registersEach * m_meters * (poll - 1)));
            bus->sendBy(counted(sender));
        });
    }
    /// Sends the first answer of the second poll by @p first.
    void sendFirstBy(const std::function<void(const Bytes& frame, const Send&)>& first) {
        sendBy(once(first), 2);
    }

    /// What the second and the following polls came to, up to the @p last one: which registers
    /// could not be read and why, and then the messages that the metering service got.
    ///
    ///     poll
    ///       register 10: Connection timed out
    ///       S-7 700 W, 3 kWh
    std::string pollsUpTo(std::size_t last) {
        start({"LD_PRELOAD=" SHORT_PAUSES_LIBRARY});
        waitForLog("TRANSFERRED", m_meters * last);
        const std::vector<std::string> delivered = messages();
        const std::vector<std::string> lines = log();
        end();

        std::vector<std::string> polls(1);
        for (const std::string& line : lines) {
            if (line.find("retry timer") != std::string::npos)
                polls.emplace_back("poll\n");
            if (line.find("doReconnect") != std::string::npos)
                polls.back() += "  connects anew\n";
            if (line.find("Could not read register") != std::string::npos)
                polls.back() += "  register " + between(line, "\"address\":", ",") + ": " +
                                between(line, "location ())):", " aRegister") + "\n";
        }
        std::string account;
        for (std::size_t poll = 2; poll <= last; ++poll) {
            account += polls.at(poll - 1);
            for (std::size_t meter = 0; meter < m_meters; ++meter)
                account += "  " + reading(delivered.at((poll - 1) * m_meters + meter)) + "\n";
        }
        return account;
    }

    /// The poll in which only the first register of the first meter fails.
    static std::string pollWithout10Of7(const std::string& reason) {
        return "poll\n  register 10: " + reason + "\n  S-7 700 W, 3 kWh\n  S-8 810 W, 4 kWh\n";
    }

    /// The poll in which all registers fail, so that old values go out again.
    static std::string pollOfOldValues(const std::string& reason) {
        std::string text = "poll\n";
        for (const char* address : {"10", "11", "10", "11"})
            text += std::string("  register ") + address + ": " + reason + "\n";
        return text + "  S-7 700 W, 1 kWh\n  S-8 800 W, 2 kWh\n";
    }

    inline static const std::string goodPollAnew = "poll\n"
                                                   "  connects anew\n"
                                                   "  S-7 710 W, 3 kWh\n"
                                                   "  S-8 810 W, 4 kWh\n";
    inline static const std::string goodPoll = "poll\n"
                                               "  S-7 710 W, 3 kWh\n"
                                               "  S-8 810 W, 4 kWh\n";

    std::size_t m_meters = 2;

private:
    static constexpr std::size_t registersEach = 2;

    void putMetersOnTheBus() {
        bus->sendBy(counted(asItShouldBe));
        holdValues();
    }

    void holdValues() {
        bus->unit(7).holding(10, m_later ? house::Words{710, 3} : house::Words{700, 1});
        bus->unit(8).holding(10, m_later ? house::Words{810, 4} : house::Words{800, 2});
    }

    void pollBegins(std::size_t poll) {
        const auto action = m_actions.find(poll);
        if (action != m_actions.end())
            action->second();
        m_later = poll > 1;
        holdValues();
    }

    Sender counted(const Sender& sender) {
        return [this, sender](const Query& query, const Bytes& frame, const Send& send) {
            sender(query, frame, send);
            m_sent.increase();
        };
    }

    std::map<std::size_t, std::function<void()>> m_actions;
    house::AwaitedCount m_sent;
    bool m_later = false;
};

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

class HostileTcp : public HostileBus {};

class HostileRtu : public HostileBus {
protected:
    HostileRtu() { useSerialLine(); }
};

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

TEST_P(HostileSlave, aByteCountAboveWhatComesFailsItsRegisterAloneHalfASecondLater) {
    changeFirst([](Bytes& answer) { answer[2] = 4; });

    EXPECT_EQ(pollsUpTo(3), pollWithout10Of7("Connection timed out") + goodPoll);
}

TEST_P(HostileSlave, anAnswerThatStopsInMidFrameFailsItsRegisterAloneHalfASecondLater) {
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
    inPoll(3, [this] { serveRtuConfig(otherRtuConfig); });

    EXPECT_EQ(pollsUpTo(4), R"(poll
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
)" + goodPollAnew);
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
    inPoll(3, [this] { serveRtuConfig(otherRtuConfig); });

    EXPECT_EQ(pollsUpTo(4), R"(poll
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
)" + goodPollAnew);
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
    inPoll(3, [this] { serveRtuConfig(otherRtuConfig); });

    EXPECT_EQ(pollsUpTo(4), R"(poll
  register 10: Connection timed out
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
)" + pollOfOldValues("Unknown error 112345691") +
                                goodPollAnew);
}

TEST_F(HostileTcp, oneLateAnswerFailsAllLaterReadsUntilARequestIsNotAnswered) {
    sendBy(firstAnswerComesLate(), 2);
    sendBy(firstAnswerIsMissing(7, 11), 3);

    EXPECT_EQ(pollsUpTo(4), R"(poll
  register 10: Connection timed out
  register 11: Unknown error 112345691
  register 10: Unknown error 112345691
  register 11: Unknown error 112345691
  S-7 700 W, 1 kWh
  S-8 800 W, 2 kWh
poll
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
    inPoll(3, [this] { serveRtuConfig(otherRtuConfig); });

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
        serveRtuConfig(otherRtuConfig);
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

// A configuration file at which the reader stands still

TEST_F(HostileTcp, aNegativeTimeOutWaitsForAnAnswerHoweverLongItTakes) {
    if (sizeof(long) == 4)
        GTEST_SKIP() << "The library of such a machine gets another number.";
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":-1}})");
    // Longer than the five seconds without that setting.
    bus->unit(8).failNext(11, Fault::late(std::chrono::milliseconds(5500)));

    EXPECT_EQ(pollsUpTo(2), goodPoll);
}

TEST_F(HostileTcp, aReaderThatWaitsForAnAnswerWithoutEndIsEndedByATermination) {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":-1}})");
    bus->unit(7).failAlways(Fault::silence);
    start();
    EXPECT_TRUE(bus->waitForRequests(1));

    reader->signal(SIGTERM);

    EXPECT_EQ(WTERMSIG(reader->waitForExit()), SIGTERM);
}

// What is written can't be read then, as a pipe has no length.
TEST_F(HostileTcp, aConfigurationFileThatIsAPipeHoldsTheReaderUntilSomebodyWritesAndLeavesNoBus) {
    std::filesystem::remove(configFile);
    ASSERT_EQ(mkfifo(configFile, 0600), 0);
    start();
    waitForLog("Load configuration");
    const std::string untilThen = transcript();
    // Opens when the reader has.
    auto opening = std::async(std::launch::async, [] { return std::ofstream(configFile); });
    EXPECT_EQ(opening.wait_for(house::Patience::limit()), std::future_status::ready);
    // So that nothing here waits for a reader, or fails for want of one.
    const house::Descriptor otherEnd(::open(configFile, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    std::ofstream pipe = opening.get();

    pipe << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502}})";
    pipe.close();
    const std::vector<std::string> lines = logUntil("Reading meter now");
    end();

    EXPECT_EQ(untilThen, "?? GET …/rtuconfig                200\n-- reconnect\n");
    EXPECT_THAT(linesWith(lines, "warning"),
                ElementsAre("warning modbusSerial Could not convert reply e:Failed to read file "
                            "filename:/etc/modbus-config.json e:basic_ios::clear: iostream error "
                            "vx/system.cpp:<line> toolkit.cpp:<line>"));
}

TEST_F(HostileTcp, aReaderThatWaitsForAPipeIsEndedByATermination) {
    std::filesystem::remove(configFile);
    ASSERT_EQ(mkfifo(configFile, 0600), 0);
    start();
    waitForLog("Load configuration");

    reader->signal(SIGTERM);

    EXPECT_EQ(WTERMSIG(reader->waitForExit()), SIGTERM);
}
