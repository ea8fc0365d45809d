#include "bus-master.h"
#include "house/modbus-slave.h"
#include "support/thrown-by.h"

#include <utility>

#include <boost/asio.hpp>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using namespace house;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

/// A slave on TCP, whose unit 7 has input registers 1 and 2.
class TcpLine : public testing::Test {
protected:
    TcpLine() { m_slave->unit(7).input(1, {0x1234, 5}); }

    /// Sends @p request as it stands, and gives the answer, which is one of one word.
    std::string exchange(const std::string& request) {
        boost::asio::io_context io;
        boost::asio::ip::tcp::socket socket(io);
        socket.connect({boost::asio::ip::address_v4::loopback(), m_slave->port()});
        boost::asio::write(socket, boost::asio::buffer(request));
        std::string answer(11, ' ');
        boost::asio::read(socket, boost::asio::buffer(answer));
        return answer;
    }

    std::unique_ptr<ModbusSlave> m_slave = std::make_unique<ModbusSlave>(TcpPort{});
};

/// Reads so many of these registers, under the number ABCD.
const std::string requestOfOne = "\xAB\xCD\0\0\0\x06\x07\x04\0\x01\0\x01"s;
const std::string requestOfTwo = "\xAB\xCD\0\0\0\x06\x07\x04\0\x01\0\x02"s;

} // namespace

TEST_F(TcpLine, servesConnectionsOneAfterAnother) {
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Master(*m_slave).readInput(7, 2, 1), Words{5});
}

TEST_F(TcpLine, servesConnectionsAtTheSameTime) {
    Master first(*m_slave);
    Master second(*m_slave);

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(first.readInput(7, 2, 1), Words{5});
        EXPECT_EQ(second.readInput(7, 2, 1), Words{5});
    }
    EXPECT_TRUE(m_slave->waitForConnections(2));
}

TEST_F(TcpLine, dropsConnectionsOnDemand) {
    Master master(*m_slave);
    EXPECT_EQ(master.readInput(7, 2, 1), Words{5});

    m_slave->dropConnections();

    EXPECT_EQ(master.readInput(7, 2, 1), Words());
    EXPECT_EQ(Master(*m_slave).readInput(7, 2, 1), Words{5});
}

TEST_F(TcpLine, otherConnectionsAreServedAfterALateAnswer) {
    m_slave->unit(7).failNext(2, Fault::late(50ms));
    Master first(*m_slave);
    Master second(*m_slave);
    std::thread late([&first] { EXPECT_EQ(first.readInput(7, 2, 1), Words{5}); });
    EXPECT_TRUE(m_slave->waitForRequests(1));

    EXPECT_EQ(second.readInput(7, 2, 1), Words{5});

    late.join();
}

TEST_F(TcpLine, aPortInUseIsNamed) {
    EXPECT_EQ(thrownBy([&] { ModbusSlave{TcpPort{m_slave->port()}}; }),
              "127.0.0.1:" + std::to_string(m_slave->port()) + ": Address already in use");
}

TEST_F(TcpLine, itsPortIsFreeAgainAfterTheSlave) {
    const std::uint16_t port = m_slave->port();
    const Master master(*m_slave);
    m_slave.reset();

    EXPECT_NO_THROW(ModbusSlave(TcpPort{port}));
}

TEST_F(TcpLine, aShortAnswerCarriesTheNumberOfItsRequest) {
    m_slave->unit(7).failNext(1, Fault::shortAnswer);

    EXPECT_EQ(exchange(requestOfTwo), "\xAB\xCD\0\0\0\x05\x07\x04\x02\x12\x34"s);
}

TEST_F(TcpLine, aGarbledAnswerHasAnotherProtocolAndLastByte) {
    m_slave->unit(7).failNext(1, Fault::garbled);

    EXPECT_EQ(exchange(requestOfOne), "\xAB\xCD\xFF\xFF\0\x05\x07\x04\x02\x12\xCB"s);
}

TEST_F(TcpLine, anAnswerOfAnotherUnitCarriesItsNumber) {
    m_slave->unit(7).failNext(1, Fault::fromUnit(9));

    EXPECT_EQ(exchange(requestOfOne), "\xAB\xCD\0\0\0\x05\x09\x04\x02\x12\x34"s);
}

TEST_F(TcpLine, anAnswerOfAnotherUnitIsTakenByAMasterThatDoesNotLook) {
    m_slave->unit(7).failNext(1, Fault::fromUnit(9));

    EXPECT_EQ(Master(*m_slave).readInput(7, 1, 1), Words{0x1234});

    EXPECT_EQ(m_slave->transcript(), ">> unit 7  read input 1 x1\n"
                                     "<< unit 9 1234\n");
}
