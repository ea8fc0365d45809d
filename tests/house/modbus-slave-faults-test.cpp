#include "modbus-slave-on.h"

#include <chrono>

using namespace house;
using namespace std::chrono_literals;

TYPED_TEST(ModbusSlaveOn, failsTheNextRequestOnly) {
    this->m_slave.unit(7).holding(40072, {5}).failNext(40072, Fault::exception(4));

    EXPECT_EQ(this->m_master.readHolding(7, 40072, 1), Words());
    EXPECT_EQ(this->m_master.error, EMBXSFAIL);
    EXPECT_EQ(this->m_master.readHolding(7, 40072, 1), Words{5});
}

TYPED_TEST(ModbusSlaveOn, failsAsManyRequestsAsOrdered) {
    this->m_slave.unit(7).holding(1, {5}).failNext(1, Fault::exception(4), 2);

    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words{5});
}

TYPED_TEST(ModbusSlaveOn, failsForGoodUntilItRecovers) {
    this->m_slave.unit(7).holding(1, {5}).failAlways(1, Fault::exception(6));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words());

    this->m_slave.unit(7).recover();

    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words{5});
}

TYPED_TEST(ModbusSlaveOn, failsInOneRegisterSpaceOnly) {
    this->m_slave.unit(7).input(1, {5}).holding(1, {6}).failAlways(Space::input, 1,
                                                                   Fault::exception(4));

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words{6});
}

TYPED_TEST(ModbusSlaveOn, failsAtEveryAddressOfOneUnit) {
    this->m_slave.unit(7).input(1, {5}).input(2, {5}).failAlways(Fault::exception(4));
    this->m_slave.unit(8).input(1, {6});

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.readInput(7, 2, 1), Words());
    EXPECT_EQ(this->m_master.readInput(8, 1, 1), Words{6});
}

TYPED_TEST(ModbusSlaveOn, silenceOnDemand) {
    this->m_slave.unit(7).holding(40072, {1, 2}).failNext(40072, Fault::silence);

    EXPECT_EQ(this->m_master.readHolding(7, 40072, 2), Words());
    EXPECT_EQ(this->m_master.error, ETIMEDOUT);
    EXPECT_EQ(this->m_master.readHolding(7, 40072, 2), (Words{1, 2}));

    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read holding 40072 x2\n"
                                          "<< silence\n"
                                          ">> unit 7  read holding 40072 x2\n"
                                          "<< 0001 0002\n");
}

TYPED_TEST(ModbusSlaveOn, shortAnswerOnDemand) {
    this->m_slave.unit(7).holding(40072, {0, 2}).failNext(40072, Fault::shortAnswer);

    EXPECT_EQ(this->m_master.readHolding(7, 40072, 2), Words());
    EXPECT_EQ(this->m_master.error, EMBBADDATA);
    EXPECT_EQ(this->m_master.readHolding(7, 40072, 2), (Words{0, 2}));

    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read holding 40072 x2\n"
                                          "<< short 0000\n"
                                          ">> unit 7  read holding 40072 x2\n"
                                          "<< 0000 0002\n");
}

TYPED_TEST(ModbusSlaveOn, shortAnswerToOneWordIsEmpty) {
    this->m_slave.unit(7).holding(1, {5}).failNext(1, Fault::shortAnswer);

    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.error, EMBBADDATA);
    EXPECT_EQ(this->m_master.readHolding(7, 1, 1), Words{5});
    EXPECT_EQ(this->m_slave.transcript().substr(0, 38), ">> unit 7  read holding 1 x1\n"
                                                        "<< short\n");
}

TYPED_TEST(ModbusSlaveOn, lateAnswerOnDemand) {
    this->m_slave.unit(7).input(1, {5}).failNext(1, Fault::late(50ms));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{5});

    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read input 1 x1\n"
                                          "<< late 0005\n");
}

TYPED_TEST(ModbusSlaveOn, lateAnswerToAnUnmappedAddressIsException2) {
    this->m_slave.unit(7).failNext(1, Fault::late(1ms));

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());

    EXPECT_EQ(this->m_master.error, EMBXILADD);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read input 1 x1\n"
                                          "<< late exception 2\n");
}

TYPED_TEST(ModbusSlaveOn, garbledAnswerOnDemandIsRefusedAndTheNextOneIsGood) {
    this->m_slave.unit(7).input(1, {5}).failNext(1, Fault::garbled);

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());
    EXPECT_EQ(this->m_master.error, TypeParam::errorOfDamage);
    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{5});

    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read input 1 x1\n"
                                          "<< garbled 0005\n"
                                          ">> unit 7  read input 1 x1\n"
                                          "<< 0005\n");
}

TYPED_TEST(ModbusSlaveOn, garbledAnswerToAnUnmappedAddressIsADamagedException2) {
    this->m_slave.unit(7).failNext(1, Fault::garbled);

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words());

    EXPECT_EQ(this->m_master.error, TypeParam::errorOfDamage);
    EXPECT_EQ(this->m_slave.transcript(), ">> unit 7  read input 1 x1\n"
                                          "<< garbled exception 2\n");
}
