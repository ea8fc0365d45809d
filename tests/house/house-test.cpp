#include "house/child-process.h"
#include "house/home.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/poll-account.h"
#include "house/pty-pair.h"
#include "house/reading-table.h"
#include "house/register-words.h"

#include <utility>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include <boost/asio.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <modbus/modbus.h>
#include <sys/wait.h>

using namespace house;
using namespace std::chrono_literals;

namespace {

/// A Modbus master for the tests, with a response time-out short enough to wait for a silence.
class Master {
public:
    explicit Master(const ModbusSlave& slave) : Master(modbus_new_tcp("127.0.0.1", slave.port())) {}
    explicit Master(const std::string& tty)
        : Master(modbus_new_rtu(tty.c_str(), 19200, 'E', 8, 1)) {}
    ~Master() {
        modbus_close(m_context);
        modbus_free(m_context);
    }
    Master(const Master&) = delete;
    Master& operator=(const Master&) = delete;

    /// The words read, or an empty list and `error`.
    Words readInput(int unit, int address, int count) {
        return read(modbus_read_input_registers, unit, address, count);
    }
    Words readHolding(int unit, int address, int count) {
        return read(modbus_read_registers, unit, address, count);
    }
    int writeRegister(int unit, int address) {
        modbus_set_slave(m_context, unit);
        return outcome(modbus_write_register(m_context, address, 1));
    }

    int error = 0;

private:
    explicit Master(modbus_t* context) : m_context(context) {
        modbus_set_response_timeout(m_context, 0, 200000);
        EXPECT_EQ(modbus_connect(m_context), 0) << modbus_strerror(errno);
    }

    int outcome(int result) {
        error = result < 0 ? errno : 0;
        return result;
    }

    Words read(int (*function)(modbus_t*, int, int, std::uint16_t*), int unit, int address,
               int count) {
        Words words(static_cast<std::size_t>(count));
        modbus_set_slave(m_context, unit);
        return outcome(function(m_context, address, count, words.data())) < 0 ? Words() : words;
    }

    modbus_t* m_context;
};

/// A slave and its master, on TCP or over a pseudo terminal.
struct TcpBus {
    ModbusSlave slave{TcpPort{}};
    std::unique_ptr<Master> master = std::make_unique<Master>(slave);
};
struct RtuBus {
    PtyPair line;
    ModbusSlave slave{Tty{line.slaveEnd()}};
    std::unique_ptr<Master> master = std::make_unique<Master>(line.masterEnd());
};

template <class Bus>
class ModbusSlaveOn : public testing::Test {
protected:
    Bus m_bus;
    ModbusSlave& m_slave = m_bus.slave;
    Master& m_master = *m_bus.master;
};

struct BusNames {
    template <class Bus>
    // GoogleTest asks for this name.
    static std::string GetName(int) { // NOLINT(readability-identifier-naming)
        return std::is_same_v<Bus, TcpBus> ? "Tcp" : "Rtu";
    }
};

using Buses = testing::Types<TcpBus, RtuBus>;
TYPED_TEST_SUITE(ModbusSlaveOn, Buses, BusNames);

/// An HTTP exchange by hand: sends @p request and gives all that comes back.
std::string exchange(std::uint16_t port, const std::string& request) {
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket socket(io);
    socket.connect({boost::asio::ip::address_v4::loopback(), port});
    boost::asio::write(socket, boost::asio::buffer(request));
    std::string answer;
    boost::system::error_code ec;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer), ec);
    return answer;
}

std::string get(const LocalServer& server, const std::string& path) {
    return exchange(server.port(),
                    "GET " + path + " HTTP/1.1\r\nHost: house\r\nConnection: close\r\n\r\n");
}

/// A path for a socket or a file of the running test.
std::string scratch(const std::string& name) {
    return testing::TempDir() + "house-" + std::to_string(::getpid()) + "-" + name;
}

void deliver(const std::string& path, const std::string& text) {
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    socket.connect(path);
    boost::asio::write(socket, boost::asio::buffer(text));
}

} // namespace

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

TYPED_TEST(ModbusSlaveOn, callsAheadOfEachAnswer) {
    this->m_slave.beforeAnswer([this, count = 0]() mutable {
        this->m_slave.unit(7).input(1, {static_cast<std::uint16_t>(++count)});
    });
    this->m_slave.unit(7);

    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{1});
    EXPECT_EQ(this->m_master.readInput(7, 1, 1), Words{2});
}

TEST(ModbusSlave, servesConnectionsOneAfterAnother) {
    ModbusSlave slave(TcpPort{});
    slave.unit(7).input(1, {5});

    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Master(slave).readInput(7, 1, 1), Words{5});
}

TEST(ModbusSlave, servesConnectionsAtTheSameTime) {
    ModbusSlave slave(TcpPort{});
    slave.unit(7).input(1, {5});
    Master first(slave);
    Master second(slave);

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(first.readInput(7, 1, 1), Words{5});
        EXPECT_EQ(second.readInput(7, 1, 1), Words{5});
    }
    EXPECT_TRUE(slave.waitForConnections(2));
}

TEST(ModbusSlave, dropsConnectionsOnDemand) {
    ModbusSlave slave(TcpPort{});
    slave.unit(7).input(1, {5});
    Master master(slave);
    EXPECT_EQ(master.readInput(7, 1, 1), Words{5});

    slave.dropConnections();

    EXPECT_EQ(master.readInput(7, 1, 1), Words());
    EXPECT_EQ(Master(slave).readInput(7, 1, 1), Words{5});
}

TEST(ModbusSlave, portInUseThrows) {
    const ModbusSlave slave(TcpPort{});

    EXPECT_THROW(ModbusSlave(TcpPort{slave.port()}), std::system_error);
}

TEST(ModbusSlave, portIsFreeAgainAfterTheSlave) {
    auto slave = std::make_unique<ModbusSlave>(TcpPort{});
    const std::uint16_t port = slave->port();
    const Master master(*slave);
    slave.reset();

    EXPECT_NO_THROW(ModbusSlave(TcpPort{port}));
}

TEST(ModbusSlave, absentDeviceThrows) {
    EXPECT_THROW(ModbusSlave(Tty{scratch("no-tty")}), std::system_error);
}

TEST(ModbusSlave, mastersComeAndGoOnOneLine) {
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd()});
    slave.unit(7).input(1, {5});

    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Master(line.masterEnd()).readInput(7, 1, 1), Words{5});
}

TEST(ModbusSlave, shortAnswerOnTcpCarriesTheNumberOfItsRequest) {
    ModbusSlave slave(TcpPort{});
    slave.unit(7).holding(1, {0x1234, 5}).failNext(1, Fault::shortAnswer);
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket socket(io);
    socket.connect({boost::asio::ip::address_v4::loopback(), slave.port()});

    const std::string request("\xAB\xCD\0\0\0\x06\x07\x03\0\x01\0\x02", 12);
    boost::asio::write(socket, boost::asio::buffer(request));
    std::string answer(11, ' ');
    boost::asio::read(socket, boost::asio::buffer(answer));

    EXPECT_EQ(answer, std::string("\xAB\xCD\0\0\0\x05\x07\x03\x02\x12\x34", 11));
}

TEST(ModbusSlave, damagedFrameOnTheLineIsPassedOver) {
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd()});
    slave.unit(7).input(1, {5});
    Master master(line.masterEnd());

    // Reads input 1 of unit 7, with the last byte of the check sum spoilt.
    std::ofstream(line.masterEnd(), std::ios::binary)
        << std::string("\x07\x04\x00\x01\x00\x01\x60\x00", 8) << std::flush;

    EXPECT_EQ(master.readInput(7, 1, 1), Words{5});
    EXPECT_EQ(slave.transcript(), ">> unit 7  read input 1 x1\n"
                                  "<< 0005\n");
}

TEST(PtyPair, everyBytePassesAsItIs) {
    const PtyPair line;
    boost::asio::io_context io;
    boost::asio::posix::stream_descriptor master(io, ::open(line.masterEnd().c_str(), O_RDWR));
    boost::asio::posix::stream_descriptor slave(io, ::open(line.slaveEnd().c_str(), O_RDWR));
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);

    boost::asio::write(master, boost::asio::buffer(bytes));
    std::string there(bytes.size(), ' ');
    boost::asio::read(slave, boost::asio::buffer(there));
    boost::asio::write(slave, boost::asio::buffer(there));
    std::string back(bytes.size(), ' ');
    boost::asio::read(master, boost::asio::buffer(back));

    EXPECT_EQ(there, bytes);
    EXPECT_EQ(back, bytes);
}

TEST(PtyPair, linksTheMastersEnd) {
    const PtyPair line;
    ModbusSlave slave(Tty{line.slaveEnd()});
    slave.unit(7).input(1, {5});
    const std::string link = scratch("tty");

    line.linkMasterEnd(link);
    line.linkMasterEnd(link);

    EXPECT_EQ(Master(link).readInput(7, 1, 1), Words{5});
    std::filesystem::remove(link);
}

TEST(LocalServer, answersTheBodyOfThePath) {
    LocalServer server(0);
    server.serve("/a", "{\"data\":[]}");

    const std::string answer = get(server, "/a");

    EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << answer;
    EXPECT_TRUE(answer.ends_with("\r\n\r\n{\"data\":[]}")) << answer;
}

TEST(LocalServer, unknownPathAnswers404) {
    const LocalServer server(0);

    EXPECT_TRUE(get(server, "/nowhere").starts_with("HTTP/1.1 404 Not Found\r\n"));
}

TEST(LocalServer, answersAnotherStatusOnceAndThenTheRegularBody) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerNext("/a", Answer::withStatus(500, "bad"));

    EXPECT_TRUE(get(server, "/a").starts_with("HTTP/1.1 500 "));
    EXPECT_TRUE(get(server, "/a").ends_with("good"));
}

TEST(LocalServer, answersAnotherBodyForGoodUntilItRecovers) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerAlways("/a", Answer::withBody("other"));
    EXPECT_TRUE(get(server, "/a").ends_with("other"));
    EXPECT_TRUE(get(server, "/a").ends_with("other"));

    server.recover("/a");

    EXPECT_TRUE(get(server, "/a").ends_with("good"));
}

TEST(LocalServer, answersLate) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerNext("/a", Answer::late(150ms));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(get(server, "/a").ends_with("good"));

    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
}

TEST(LocalServer, dropsTheConnection) {
    LocalServer server(0);
    server.answerNext("/a", Answer::dropped());

    EXPECT_EQ(get(server, "/a"), "");
    EXPECT_EQ(server.requestCount("/a"), 1U);
}

TEST(LocalServer, endsWhileAnAnswerIsHeldBack) {
    auto server = std::make_unique<LocalServer>(0);
    server->answerAlways("/a", Answer::late(1h));
    std::string answer = "none yet";
    std::thread client(
        [&answer, port = server->port()] { answer = exchange(port, "GET /a HTTP/1.1\r\n\r\n"); });
    EXPECT_TRUE(server->waitForRequests("/a", 1));

    server.reset();

    client.join();
    EXPECT_EQ(answer, "");
}

TEST(LocalServer, recordsRequests) {
    LocalServer server(0);
    exchange(server.port(), "POST /b HTTP/1.1\r\nX-Colour: blue\r\nContent-Length: 4\r\n"
                            "Connection: close\r\n\r\nwxyz");
    get(server, "/a");

    const std::vector<Request> requests = server.requests();

    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/b");
    EXPECT_EQ(requests[0].headers.at("X-Colour"), "blue");
    EXPECT_EQ(requests[0].body, "wxyz");
    EXPECT_EQ(server.requestCount("/a"), 1U);
}

TEST(LocalServer, keepsAConnectionOpenWhenAsked) {
    LocalServer server(0);
    server.serve("/a", "good");

    const std::string answers =
        exchange(server.port(), "GET /a HTTP/1.1\r\n\r\n"
                                "GET /a HTTP/1.1\r\nConnection: close\r\n\r\n");

    EXPECT_EQ(server.requestCount("/a"), 2U);
    EXPECT_NE(answers.find("good", answers.find("good") + 1), std::string::npos);
}

TEST(LocalServer, portInUseThrows) {
    const LocalServer server(0);

    EXPECT_THROW(LocalServer(server.port()), boost::system::system_error);
}

TEST(MeteringService, keepsTheExactBytesOfEachConnection) {
    const std::string path = scratch("service");
    const MeteringService service(path);
    const std::string large(100000, 'x');

    deliver(path, std::string("a\0b\n", 4));
    deliver(path, large);
    deliver(path, "");

    ASSERT_TRUE(service.waitForMessages(3));
    std::vector<std::string> texts = service.texts();
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::string>{"", std::string("a\0b\n", 4), large}));
}

TEST(MeteringService, acceptsAndClosesOnDemand) {
    const std::string path = scratch("service");
    MeteringService service(path);
    service.acceptAndClose(true);
    boost::asio::io_context io;
    boost::asio::local::stream_protocol::socket socket(io);
    socket.connect(path);

    std::string answer;
    boost::system::error_code ec;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer), ec);

    EXPECT_EQ(ec, boost::asio::error::eof);
    EXPECT_TRUE(service.waitForConnections(1));
    EXPECT_TRUE(service.messages().empty());
}

TEST(MeteringService, replacesAnOldSocketFileAndRemovesItsOwn) {
    const std::string path = scratch("service");
    boost::asio::io_context io;
    { const boost::asio::local::stream_protocol::acceptor leftover(io, path); }
    ASSERT_TRUE(std::filesystem::exists(path));

    { const MeteringService service(path); }

    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(RegisterWords, encodesTheMostSignificantWordFirst) {
    EXPECT_EQ(encodeNumber("uint16", 1, 513.4), Words{0x0201});
    EXPECT_EQ(encodeNumber("int16", 1, -2.0), Words{0xFFFE});
    EXPECT_EQ(encodeNumber("uint32", 1, 4000000000.0), (Words{0xEE6B, 0x2800}));
    EXPECT_EQ(encodeNumber("int32", 1, -1.0), (Words{0xFFFF, 0xFFFF}));
    EXPECT_EQ(encodeNumber("uint64", 1, 65537.0), (Words{0, 0, 1, 1}));
    EXPECT_EQ(encodeNumber("int64", 1, -65536.0), (Words{0xFFFF, 0xFFFF, 0xFFFF, 0}));
    EXPECT_EQ(encodeNumber("float32", 1, 1.5), (Words{0x3FC0, 0x0000}));
}

TEST(RegisterWords, keepsToTheRangeOfTheType) {
    EXPECT_EQ(encodeNumber("uint16", 1, -5.0), Words{0});
    EXPECT_EQ(encodeNumber("uint16", 1, 70000.0), Words{0xFFFF});
    EXPECT_EQ(encodeNumber("int16", 1, -40000.0), Words{0x8000});
    EXPECT_EQ(encodeNumber("uint64", 1, 1e30), (Words{0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}));
    EXPECT_EQ(encodeNumber("int64", 1, -1e30), (Words{0x8000, 0, 0, 0}));
}

TEST(RegisterWords, numberStandsInTheFirstElement) {
    EXPECT_EQ(encodeNumber("int32", 2, 7.0), (Words{0, 7, 0, 0}));
}

TEST(RegisterWords, encodesTextHighByteFirst) {
    EXPECT_EQ(encodeText(3, "ABC"), (Words{0x4142, 0x4300, 0}));
    EXPECT_EQ(encodeText(1, "ABC"), Words{0x4142});
}

TEST(Home, everyRegisterOfEveryMapIsOnTheBus) {
    Home home(Home::defaultFile());
    ModbusSlave slave(TcpPort{});
    home.liveOn(slave);
    Master master(slave);

    EXPECT_EQ(master.readHolding(1, 70, 5), encodeText(5, "40000123AB"));
    EXPECT_EQ(master.readHolding(3, 0, 2), encodeNumber("uint32", 1, 30115577));
    EXPECT_EQ(master.readInput(1, 100, 2).size(), 2U);
    EXPECT_EQ(master.readInput(4, 28, 2).size(), 2U);
}

TEST(Home, servesItsRepliesAsTheyStand) {
    const Home home(Home::defaultFile());
    LocalServer server(0);

    home.serveOn(server);

    EXPECT_TRUE(get(server, LocalServer::rtuConfigPath)
                    .ends_with(R"({"data":{"serialDevice":"/dev/ttyRS485",)"
                               R"("baudRate":"baud19200","parity":"even",)"
                               R"("dataBits":"bits8","stopBits":"bits1"}})"));
}

TEST(Home, countersGrowByTheIntegralOfTheirPower) {
    Home home(Home::defaultFile());
    const double energy = home.value("wallboxEnergy");

    // The session of the wallbox lasts from half past ten to half past twelve.
    home.advance(3h);

    EXPECT_NEAR(home.value("wallboxEnergy") - energy, 22.0, 0.7);
    EXPECT_GT(home.value("solarEnergy"), 15204.75);
}

TEST(Home, tariffCountersAddUpToTheTotal) {
    Home home(Home::defaultFile());

    home.advance(48h);

    EXPECT_NEAR(home.value("gridEnergyInDay") + home.value("gridEnergyInNight"),
                home.value("gridEnergyIn"), 0.01);
    double tariffs = 0.0;
    for (int i = 1; i <= 6; ++i)
        tariffs += home.value("batteryEnergyInT" + std::to_string(i));
    EXPECT_NEAR(tariffs, home.value("batteryEnergyIn"), 0.01);
}

TEST(Home, batteryChargesByDayAndDischargesInTheEvening) {
    Home home(Home::defaultFile());
    EXPECT_GT(home.value("batteryPower"), 1000.0);

    home.advance(9h);

    EXPECT_LT(home.value("batteryPower"), -1000.0);
}

TEST(Home, noSunAtMidnight) {
    Home home(Home::defaultFile());
    EXPECT_GT(home.value("solarPower"), 3000.0);

    home.advance(13h + 45min);

    EXPECT_EQ(home.value("solarPower"), 0.0);
}

TEST(Home, missingFileThrows) {
    EXPECT_THROW(Home(scratch("no-home")), std::runtime_error);
}

TEST(PollAccount, messageBelongsToThePollInWhichItsReadBegan) {
    const PollAccount::Time start{std::chrono::hours{1}};
    PollAccount account({{"Apartment", 1}, {"Solar", 2}});
    account.pollBegan(start + 700us);
    EXPECT_EQ(account.delivered(1, start), 1U);
    account.pollBegan(start + 2s);
    EXPECT_EQ(account.delivered(2, start + 1s), 1U);

    EXPECT_TRUE(account.isComplete(1));
    EXPECT_FALSE(account.isComplete(2));
    EXPECT_EQ(account.missing(2), (std::vector<std::string>{"poll 2: Apartment", "poll 2: Solar"}));
}

TEST(PollAccount, messageFromBeforeTheFirstPollIsLeftOut) {
    const PollAccount::Time start{std::chrono::hours{1}};
    PollAccount account({{"Apartment", 1}});
    account.pollBegan(start);

    EXPECT_EQ(account.delivered(1, start - 1ms), 0U);

    EXPECT_EQ(account.missing(1), std::vector<std::string>{"poll 1: Apartment"});
}

TEST(PollAccount, pollThatNeverBeganIsMissing) {
    const PollAccount account({{"Apartment", 1}});

    EXPECT_FALSE(account.isComplete(1));
    EXPECT_EQ(account.missing(1), std::vector<std::string>{"poll 1: Apartment"});
}

TEST(Reading, convertsWattSecondsToKilowattHours) {
    const auto reading = tryToReading(
        R"({"id":"40000123","slaveAddress":1,"meteringType":"modbus",)"
        R"("lastChanged":"1970-01-02T00:00:01.500Z","tariffEnabled":true,"powerConsumed":1500.5,)"
        R"("energyConsumed":3600000.0,"t6EnergyProduced":7200000.0})");

    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->id, "40000123");
    EXPECT_EQ(reading->slaveAddress, 1);
    EXPECT_EQ(reading->readBegan.time_since_epoch(), 24h + 1500ms);
    EXPECT_TRUE(reading->tariffEnabled);
    EXPECT_EQ(reading->powerIn, 1500.5);
    EXPECT_EQ(reading->powerOut, 0.0);
    EXPECT_EQ(reading->energyIn, 1.0);
    EXPECT_EQ(reading->tariffOut[5], 2.0);
}

TEST(Reading, truncatedMessageIsNone) {
    EXPECT_FALSE(tryToReading(R"({"id":"40000123","slaveAdd)"));
    EXPECT_FALSE(tryToReading("[]"));
    EXPECT_FALSE(tryToReading(R"({"slaveAddress":1})"));
}

TEST(ReadingTable, showsOneRowPerMeter) {
    ReadingTable table({{"Apartment", 1}, {"Solar", 2}});
    Reading reading;
    reading.slaveAddress = 1;
    reading.readBegan = PollAccount::Time{1h};
    reading.tariffEnabled = true;
    reading.powerIn = 1500.5;
    reading.energyIn = 12.25;
    reading.tariffIn = {10.0, 2.25};
    table.update(reading);

    EXPECT_EQ(table.heading(), "meter           in W     out W      in kWh     out kWh  age s  "
                               "tariffs in/out kWh");
    EXPECT_EQ(table.rows(PollAccount::Time{1h + 1500ms}),
              (std::vector<std::string>{
                  "Apartment     1500.5       0.0       12.25        0.00    1.5  "
                  "T1 10.0/0.0  T2 2.2/0.0",
                  "Solar              -         -           -           -      -  -"}));
}

TEST(ChildProcess, writesStandardErrorToTheLog) {
    const std::string log = scratch("log");
    ChildProcess child({"/bin/sh", "-c", "echo $COLOUR >&2; exit 3"}, log, {"COLOUR=blue"});

    const std::optional<int> status = child.waitForExit();

    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 3);
    EXPECT_FALSE(child.running());
    EXPECT_EQ(std::filesystem::file_size(log), 5U);
    std::filesystem::remove(log);
}

TEST(ChildProcess, endsWithItsOwner) {
    pid_t pid = 0;
    {
        ChildProcess child({"/bin/sleep", "1000"}, "/dev/null");
        pid = child.pid();
        EXPECT_TRUE(child.running());
    }
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, takesSignalsThoughTheStarterBlocksThem) {
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    ChildProcess child({"/bin/sleep", "1000"}, "/dev/null");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    child.signal(SIGTERM);

    const std::optional<int> status = child.waitForExit();
    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFSIGNALED(*status));
}

TEST(ChildProcess, absentProgramThrows) {
    EXPECT_THROW(ChildProcess({"/nowhere/program"}, "/dev/null"), std::system_error);
}
