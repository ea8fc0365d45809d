#include "bus-master.h"
#include "example-home.h"
#include "house/home.h"
#include "house/pty-pair.h"

#include <chrono>
#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

namespace {

/// What so many bytes take at 9600 baud with parity.
std::chrono::duration<double> timeOf(double bytes) {
    return std::chrono::duration<double>(bytes * 11 / 9600);
}

/// How long a read takes of so many holding registers, on that line unless told.
std::chrono::nanoseconds timeOfRead(int words, const WireTime& wireTime = {9600, true, 1}) {
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd(), wireTime});
    slave.unit(7).holding(0, Words(125));
    Master master(line.masterEnd());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(master.readHolding(7, 0, words), Words(static_cast<std::size_t>(words)));
    return std::chrono::steady_clock::now() - start;
}

/// The wire time of the example's home, which has the line 19200 8E1.
WireTime wireTimeOfExample(const std::string& right, const std::string& wrong) {
    std::string text = exampleHome();
    text.replace(text.find(right), right.size(), wrong);
    const TemporaryDirectory directory;
    return Home(directory.write("home.json", text)).wireTime();
}

} // namespace

// A request has 8 bytes, an answer 5 and two for each word.

TEST(WireTime, isThatOfRequestSilenceAndAnswer) {
    // Eleven bits for each of 8 + 25 bytes and a silence of 3.5.
    EXPECT_EQ(WireTime(11000, true, 1).ofExchange(8, 25), 36500us);
}

TEST(WireTime, aByteHasItsParityBitAndItsStopBits) {
    EXPECT_EQ(WireTime(1000, false, 1).ofExchange(1, 0), 45ms);
    EXPECT_EQ(WireTime(1000, true, 1).ofExchange(1, 0), 49500us);
    EXPECT_EQ(WireTime(1000, true, 2).ofExchange(1, 0), 54ms);
}

TEST(WireTime, theSilenceOfAFastLineStaysAsItIs) {
    EXPECT_EQ(WireTime(100000, false, 1).ofExchange(8, 2), 1ms + 1750us);
}

TEST(WireTime, anAnswerComesNotBeforeItAndLittleLater) {
    EXPECT_GE(timeOfRead(1), timeOf(8 + 3.5 + 7));
    EXPECT_GE(timeOfRead(20), timeOf(8 + 3.5 + 45));
    EXPECT_LT(timeOfRead(20), timeOf(8 + 3.5 + 45) + 50ms);
}

TEST(WireTime, anAnswerComesAtOnceWithoutIt) {
    EXPECT_LT(timeOfRead(125, WireTime()), timeOf(8 + 3.5 + 255) / 2);
}

TEST(WireTime, aLateAnswerIsLateOnTopOfIt) {
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd(), {9600, true, 1}});
    slave.unit(7).holding(0, Words(20)).failNext(0, Fault::late(50ms));
    Master master(line.masterEnd());

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(master.readHolding(7, 0, 20).size(), 20U);

    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms + timeOf(8 + 3.5 + 45));
}

TEST(WireTime, theEndOfTheSlaveDoesNotWaitForIt) {
    const PtyPair line;
    const auto start = std::chrono::steady_clock::now();
    {
        ModbusSlave slave(Tty{line.slaveEnd(), {1, true, 2}});
        slave.unit(7).holding(0, Words(125));
        EXPECT_EQ(Master(line.masterEnd()).readHolding(7, 0, 125), Words());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
}

TEST(WireTime, aHomeHasItOnlyIfItsDescriptionSaysSo) {
    const std::string speed = R"("speed": 60)";
    EXPECT_EQ(wireTimeOfExample(speed, speed).ofExchange(8, 25), 0s);
    EXPECT_EQ(wireTimeOfExample(speed, R"("wireTime": false)").ofExchange(8, 25), 0s);
    EXPECT_EQ(wireTimeOfExample(speed, R"("wireTime": true)").ofExchange(8, 25),
              WireTime(19200, true, 1).ofExchange(8, 25));
}
