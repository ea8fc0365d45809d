#include "modbus-slave-on.h"
#include "self-replacing-callback.h"

#include <chrono>
#include <memory>
#include <thread>

using namespace house;
using namespace std::chrono_literals;

TYPED_TEST(ModbusSlaveOn, answersWhatWasSet) {
    this->m_slave.unit(7).holding(40072, {0x0001, 0xABCD});

    EXPECT_EQ(this->m_master.readHolding(7, 40072, 2), (Words{0x0001, 0xABCD}));

    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read holding 40072 x2\n"
                                          "<< 0001 ABCD\n");
}

TYPED_TEST(ModbusSlaveOn, keepsInputAndHoldingRegistersApart) {
    this->m_slave.unit(7).input(10, {1}).holding(10, {2}).holding(11, {3});

    EXPECT_EQ(this->m_master.readInput(7, 10, 1), Words{1});
    EXPECT_EQ(this->m_master.readHolding(7, 10, 1), Words{2});
    EXPECT_EQ(this->m_master.readInput(7, 11, 1), Words());
    EXPECT_EQ(this->m_master.error, EMBXILADD);
}

TYPED_TEST(ModbusSlaveOn, unmappedAddressAnswersException2) {
    this->m_slave.unit(7).holding(40100, {1, 2, 3});

    EXPECT_EQ(this->m_master.readHolding(7, 40100, 4), Words());

    EXPECT_EQ(this->m_master.error, EMBXILADD);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read holding 40100 x4\n"
                                          "<< exception 2\n");
}

TYPED_TEST(ModbusSlaveOn, servesSeveralUnits) {
    for (int unit : {1, 2, 247})
        this->m_slave.unit(unit).input(5, {static_cast<std::uint16_t>(unit)});

    for (int round = 0; round < 3; ++round) {
        for (int unit : {1, 2, 247, 247, 1})
            EXPECT_EQ(this->m_master.readInput(unit, 5, 1),
                      Words{static_cast<std::uint16_t>(unit)});
    }
}

TYPED_TEST(ModbusSlaveOn, unknownUnitKeepsSilent) {
    this->m_slave.unit(7).input(5, {1});

    EXPECT_EQ(this->m_master.readInput(9, 5, 1), Words());

    EXPECT_EQ(this->m_master.error, ETIMEDOUT);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 9  read input 5 x1\n"
                                          "<< silence\n");
    EXPECT_EQ(this->m_master.readInput(7, 5, 1), Words{1});
}

TYPED_TEST(ModbusSlaveOn, removedUnitKeepsSilent) {
    this->m_slave.unit(7).input(5, {1});
    this->m_slave.removeUnit(7);

    EXPECT_EQ(this->m_master.readInput(7, 5, 1), Words());
    EXPECT_EQ(this->m_master.error, ETIMEDOUT);
}

TYPED_TEST(ModbusSlaveOn, otherFunctionAnswersException1) {
    this->m_slave.unit(7).holding(5, {1});

    EXPECT_EQ(this->m_master.writeRegister(7, 5), -1);

    EXPECT_EQ(this->m_master.error, EMBXILFUN);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  function 6\n"
                                          "<< exception 1\n");
}

TYPED_TEST(ModbusSlaveOn, nothingButWhatItsSenderSendsGoesOverTheLine) {
    this->m_slave.unit(7).input(1, {5});

    this->m_slave.sendBy([](const Query&, const Bytes& frame, const BusLine::Send& send) {
        send({frame.begin(), frame.begin() + 4});
        send({frame.begin() + 4, frame.end()});
    });
    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{5});

    this->m_slave.sendBy([](const Query&, const Bytes&, const BusLine::Send&) {});
    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.error, ETIMEDOUT);
}

TYPED_TEST(ModbusSlaveOn, answers125WordsInOne) {
    Words words(125);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = static_cast<std::uint16_t>(257 * i);
    this->m_slave.unit(7).input(65000, words);

    EXPECT_EQ(this->m_master.readInput(7, 65000, 125), words);
}

TYPED_TEST(ModbusSlaveOn, countsRequestsForThoseWhoWait) {
    this->m_slave.unit(7).input(1, {5});
    std::thread client([this] {
        for (int i = 0; i < 5; ++i)
            this->m_master.readInput(7, 1, 1);
    });

    EXPECT_TRUE(this->m_slave.waitForRequests(5));

    client.join();
    EXPECT_EQ(this->m_slave.requestCount(), 5U);
}

TYPED_TEST(ModbusSlaveOn, callsBeforeEachAnswer) {
    this->m_slave.beforeAnswer([this, count = 0]() mutable {
        this->m_slave.unit(7).input(1, {static_cast<std::uint16_t>(++count)});
    });
    this->m_slave.unit(7);

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{1});
    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{2});
}

TEST(ModbusSlave, aCallbackMayReplaceItselfWhileItRuns) {
    SelfReplacingCallback callback;
    ModbusSlave slave(TcpPort{});
    slave.beforeAnswer(callback.with([&slave] { slave.beforeAnswer([] {}); }));

    slave.unit(7).input(1, {5});
    EXPECT_EQ(Master(slave).readInput(7, 1, 1), Words{5});

    EXPECT_TRUE(callback.outlivedItsReplacement());
}

TEST(ModbusSlave, endsWhileAnAnswerIsHeldBack) {
    auto slave = std::make_unique<ModbusSlave>(TcpPort{});
    slave->unit(7).input(1, {5}).failAlways(Fault::late(1h));
    Master master(*slave);
    std::thread client([&master] { EXPECT_EQ(master.readInput(7, 1, 1), Words()); });
    EXPECT_TRUE(slave->waitForRequests(1));

    slave.reset();

    client.join();
}
