#include "served-home.h"

#include "house/patience.h"
#include "vx/date-time.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <poll.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace inspector {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

const tcp::endpoint endpoint(boost::asio::ip::make_address("127.0.0.1"), 8090);

/// The number behind a field of a head.
std::size_t numberOf(const std::string& head, const std::string& field) {
    const std::size_t at = head.find(field);
    return at == std::string::npos ? 0 : std::stoul(head.substr(at + field.size()));
}

} // namespace

Client::Client() {
    const auto limit = Clock::now() + house::Patience::limit();
    error_code error = boost::asio::error::not_connected;
    while (m_socket.connect(endpoint, error)) {
        m_socket.close();
        if (Clock::now() > limit)
            throw std::runtime_error("no program to connect to: " + error.message());
        std::this_thread::yield();
    }
}

void Client::send(const std::string& bytes) {
    error_code ignored;
    boost::asio::write(m_socket, boost::asio::buffer(bytes), ignored);
}

void Client::keepLittle() {
    m_socket.set_option(boost::asio::socket_base::receive_buffer_size(1));
}

std::string Client::readUntil(const std::string& end) {
    const auto limit = Clock::now() + house::Patience::limit();
    std::size_t at = m_read.find(end);
    while (at == std::string::npos) {
        pollfd wait{m_socket.native_handle(), POLLIN, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now());
        if (left.count() <= 0 || ::poll(&wait, 1, static_cast<int>(left.count())) != 1)
            throw std::runtime_error("nothing came; so far: " + m_read);
        std::array<char, 65536> buffer{};
        error_code error;
        const std::size_t count = m_socket.read_some(boost::asio::buffer(buffer), error);
        if (error)
            return std::exchange(m_read, {});
        m_read.append(buffer.data(), count);
        at = m_read.find(end);
    }
    std::string result = m_read.substr(0, at);
    m_read.erase(0, at + end.size());
    return result;
}

HttpAnswer Client::readAnswer(bool hasBody) {
    HttpAnswer answer;
    answer.head = readUntil("\r\n\r\n");
    answer.status = static_cast<int>(numberOf(answer.head, "HTTP/1.1 "));
    const std::size_t size = hasBody ? numberOf(answer.head, "Content-Length: ") : 0;
    while (m_read.size() < size) {
        std::array<char, 65536> buffer{};
        m_read.append(buffer.data(), m_socket.read_some(boost::asio::buffer(buffer)));
    }
    answer.body = m_read.substr(0, size);
    m_read.erase(0, size);
    return answer;
}

bool Client::waitForEnd(std::chrono::seconds longest) {
    const auto limit = Clock::now() + house::Patience::limit(longest);
    while (Clock::now() < limit) {
        pollfd wait{m_socket.native_handle(), POLLIN, 0};
        if (::poll(&wait, 1, 1000) != 1)
            continue;
        std::array<char, 65536> buffer{};
        error_code error;
        m_socket.read_some(boost::asio::buffer(buffer), error);
        if (error)
            return true;
    }
    return false;
}

HttpAnswer exchange(const std::string& request) {
    Client client;
    client.send(request);
    return client.readAnswer(!request.starts_with("HEAD"));
}

HttpAnswer get(const std::string& path, const std::string& fields) {
    return exchange("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:8090\r\n" + fields + "\r\n");
}

void ServedHome::start(const std::vector<std::string>& arguments) {
    start({INSPECTOR_EXECUTABLE}, arguments);
}

void ServedHome::startWithDescriptors(std::size_t number) {
    start({"/bin/sh", "-c", R"(ulimit -n "$0"; exec "$@")", std::to_string(number),
           INSPECTOR_EXECUTABLE},
          {});
}

void ServedHome::start(const std::vector<std::string>& program,
                       const std::vector<std::string>& arguments) {
    std::vector<std::string> command = program;
    command.insert(command.end(), {"serve", "--log", m_log});
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_program = std::make_unique<house::ChildProcess>(command, m_directory.path() / "errors");
}

std::optional<int> ServedHome::endBySignal(int number) {
    m_program->signal(number);
    const std::optional<int> status = m_program->waitForExit();
    return status && WIFEXITED(*status) ? std::optional(WEXITSTATUS(*status)) : std::nullopt;
}

std::string ServedHome::beginOfLine(std::int64_t age) {
    std::string time = vx::toString(vx::now() - std::chrono::milliseconds(age));
    time.replace(time.size() - 1, 1, "+00:00");
    return "[" + time + "]   412 ";
}

void ServedHome::line(const std::string& head, const std::string& text, std::int64_t age) {
    std::ofstream(m_log, std::ios::app) << beginOfLine(age) << head << " " << text << " "
                                        << "main.cpp:1\n";
}

void ServedHome::message(int slaveAddress, const std::string& values, std::int64_t age) {
    const std::string address = std::to_string(slaveAddress);
    const std::string text = R"({"id":"S-)" + address + R"(","slaveAddress":)" + address +
                             R"(,"meteringType":"modbus","lastChanged":")" +
                             vx::toString(vx::now() - std::chrono::milliseconds(age)) + "\"" +
                             values + "}";
    line("NOTIC modbusreaderSocketWriter", "Writing  m_buffer:" + text, age);
    const std::string size = std::to_string(text.size());
    line("NOTIC modbusreaderSocketWriter",
         "TRANSFERRED  self->m_buffer.size():" + size + " size:" + size, age);
}

void ServedHome::failure(const std::string& words, std::int64_t age, const std::string& fieldType) {
    line("WARN  modbusSerial",
         "Could not read register strerror((*__errno_location ())):" + words +
             R"( aRegister:{"address":10,"fieldType":)" + fieldType +
             R"(,"modbusDataType":uint16,"length":1,"registerType":input})",
         age);
}

void ServedHome::poll(int slaveAddress, const std::string& values, std::int64_t age) {
    tick(age);
    line("NOTIC modbusSerial", "Reading meter now slaveAddress:" + std::to_string(slaveAddress),
         age);
    message(slaveAddress, values, age);
}

std::string ServedHome::awaitHome(const std::string& text) {
    Client client;
    client.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    client.readUntil("\r\n\r\n");
    for (;;) {
        const std::string event = client.readUntil("\n\n");
        constexpr std::string_view head = "event: home\ndata: ";
        if (event.find(text) != std::string::npos)
            return event.substr(head.size());
        if (event.empty())
            throw std::runtime_error("the events ended without " + text);
    }
}

} // namespace inspector
