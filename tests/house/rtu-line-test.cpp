#include "bus-master.h"
#include "house/descriptor.h"
#include "house/modbus-slave.h"
#include "house/pty-pair.h"
#include "support/thrown-by.h"

#include <utility>

#include <boost/asio.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>

using namespace house;
using namespace std::string_literals;

namespace {

/// A slave on a serial line, whose unit 7 has an input register 1.
class RtuLine : public testing::Test {
protected:
    RtuLine() { m_slave.unit(7).input(1, {0x1234}); }

    boost::asio::posix::stream_descriptor openMasterEnd() {
        return {m_io, require(::open(m_line.masterEnd().c_str(), O_RDWR | O_NOCTTY), "open")};
    }

    boost::asio::io_context m_io;
    PtyPair m_line;
    ModbusSlave m_slave{Tty{m_line.slaveEnd()}};
};

/// Reads that register.
const std::string request = "\x07\x04\0\x01\0\x01\x60\x6C"s;

} // namespace

TEST_F(RtuLine, anAbsentDeviceIsNamed) {
    EXPECT_EQ(thrownBy([] { ModbusSlave(Tty{"/nowhere/tty"}); }),
              "/nowhere/tty: No such file or directory");
}

TEST_F(RtuLine, mastersComeAndGo) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Master(m_line.masterEnd()).readInput(7, 1, 1), Words{0x1234});
}

TEST_F(RtuLine, aRequestWithAWrongCheckSumIsPassedOver) {
    auto masterEnd = openMasterEnd();
    boost::asio::write(masterEnd, boost::asio::buffer(request.substr(0, 7) + "\0"s));

    EXPECT_EQ(Master(m_line.masterEnd()).readInput(7, 1, 1), Words{0x1234});

    EXPECT_EQ(m_slave.requestCount(), 1U);
}

TEST_F(RtuLine, aGarbledAnswerHasTheCheckSumOfTheRightOne) {
    m_slave.unit(7).failNext(1, Fault::garbled);
    auto masterEnd = openMasterEnd();
    std::string answer(7, ' ');

    boost::asio::write(masterEnd, boost::asio::buffer(request));
    boost::asio::read(masterEnd, boost::asio::buffer(answer));

    EXPECT_EQ(answer, "\x07\x04\x02\x12\xCB\x3C\x47"s);
}

TEST_F(RtuLine, anAnswerOfAnotherUnitIsRefusedAndTheNextOneIsGood) {
    m_slave.unit(7).failNext(1, Fault::fromUnit(9));
    Master master(m_line.masterEnd());

    EXPECT_EQ(master.readInput(7, 1, 1), Words());
    EXPECT_EQ(master.error, EMBBADSLAVE);
    EXPECT_EQ(master.readInput(7, 1, 1), Words{0x1234});

    EXPECT_EQ(m_slave.transcript(), ">> unit 7  read input 1 x1\n"
                                    "<< unit 9 1234\n"
                                    ">> unit 7  read input 1 x1\n"
                                    "<< 1234\n");
}
