// Whole polls of the reader, over real connections. The input is five parts with a line "--"
// between them: the serial parameters, the attached meters, the supported models, what the bus
// answers, and the second poll's models.

#include "fuzz.h"

#include "house/descriptor.h"
#include "house/local-server.h"
#include "modbus/serial-toolkit.h"
#include "modbus/socket-writer.h"
#include "vx/record.h"

#include <boost/asio/io_context.hpp>
#include <fuzzer/FuzzedDataProvider.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstring>
#include <fstream>
#include <mutex>
#include <thread>
#include <unistd.h>

// The pauses of a poll take no time; the linker sends the calls here.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's own names
extern "C" unsigned __wrap_sleep(unsigned) {
    return 0;
}
extern "C" int __wrap_usleep(useconds_t) {
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

constexpr std::uint16_t busPort = 1502;
constexpr std::size_t requestSize = 12;

/// A slave on TCP whose answers come from the input: a good one, an exception, or any bytes and the
/// end of the connection. When they are used up, it closes each connection.
class Bus {
public:
    Bus() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(busPort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        setsockopt(m_listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        house::require(
            bind(m_listener.number(), reinterpret_cast<sockaddr*>(&address), sizeof address),
            "bind");
        house::require(listen(m_listener.number(), SOMAXCONN), "listen");
        std::thread([this] { serve(); }).detach();
    }

    void answerFrom(std::string answers) {
        const std::scoped_lock lock(m_mutex);
        m_answers = std::move(answers);
        m_input = std::make_unique<FuzzedDataProvider>(
            reinterpret_cast<const std::uint8_t*>(m_answers.data()), m_answers.size());
    }

private:
    [[noreturn]] void serve() {
        for (;;) {
            const house::Descriptor connection(accept(m_listener.number(), nullptr, nullptr));
            while (answerOne(connection.number())) {
            }
        }
    }

    /// Returns whether the connection goes on.
    bool answerOne(int connection) {
        std::array<std::uint8_t, requestSize> request{};
        if (recv(connection, request.data(), request.size(), MSG_WAITALL) !=
            static_cast<ssize_t>(request.size()))
            return false;
        bool goesOn = false;
        const std::string answer = answerTo(request, goesOn);
        send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
        return goesOn;
    }

    std::string answerTo(const std::array<std::uint8_t, requestSize>& request, bool& goesOn) {
        const std::scoped_lock lock(m_mutex);
        if (m_input->remaining_bytes() == 0)
            return {};
        const int kind = m_input->ConsumeIntegralInRange(0, 9);
        if (kind == 0)
            return m_input->ConsumeRandomLengthString(300);
        goesOn = true;
        const std::string header(request.begin(), request.begin() + 4);
        const char unit = static_cast<char>(request[6]);
        const auto function = request[7];
        if (kind == 1)
            return header + std::string{0, 3, unit, static_cast<char>(function | 0x80),
                                        m_input->ConsumeIntegral<char>()};
        const auto bytes = static_cast<std::size_t>(2 * request[11]);
        std::string words = m_input->ConsumeBytesAsString(bytes);
        words.resize(bytes);
        const std::size_t size = bytes + 3;
        return header +
               std::string{static_cast<char>(size >> 8), static_cast<char>(size), unit,
                           static_cast<char>(function), static_cast<char>(bytes)} +
               words;
    }

    house::Descriptor m_listener{house::require(socket(AF_INET, SOCK_STREAM, 0), "socket")};
    std::mutex m_mutex;
    std::string m_answers;
    std::unique_ptr<FuzzedDataProvider> m_input;
};

constexpr const char* servicePath = "/var/run/orv-metering.sock";

/// The metering service, which takes its messages when it is asked for them.
class Service {
public:
    Service() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, servicePath);
        house::require(
            bind(m_listener.number(), reinterpret_cast<sockaddr*>(&address), sizeof address),
            "bind");
        house::require(listen(m_listener.number(), SOMAXCONN), "listen");
    }

    /// One for each connection so far, whose other end is closed.
    std::vector<std::string> takeMessages() const {
        std::vector<std::string> messages;
        for (;;) {
            const house::Descriptor connection(accept(m_listener.number(), nullptr, nullptr));
            if (connection.number() < 0)
                return messages;
            messages.emplace_back();
            char piece[4096];
            for (ssize_t n = 0; (n = recv(connection.number(), piece, sizeof piece, 0)) > 0;)
                messages.back().append(piece, static_cast<std::size_t>(n));
        }
    }

private:
    house::Descriptor m_listener{
        house::require(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0), "socket")};
};

/// All that a reader deals with.
struct Neighbours {
    Neighbours() {
        std::ofstream("/etc/modbus-config.json")
            << R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":)" << busPort
            << R"(,"timeoutResponseSec":1}})";
        bus.answerFrom({});
    }

    house::LocalServer server;
    Service service;
    Bus bus;
};

std::vector<std::string> partsOf(const std::string& text) {
    static const std::string separator = "\n--\n";
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
        begin = end == std::string::npos ? text.size() : end + separator.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

void checkMessage(const std::string& message) {
    using orv::modbusreader::ModbusMeteringSystem;
    const auto reading = vx::fromJson<ModbusMeteringSystem>(message.c_str());
    VX_ASSERT(!reading.id.empty() && reading.meteringType == "modbus", message);
    if (message.find("null") == std::string::npos)
        VX_ASSERT(vx::toJson(vx::toJsonFragment(reading)) == message, message);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using House = house::LocalServer;
    fuzz::dropLog();
    // Never destroyed, as one of its threads never ends.
    static Neighbours& neighbours = *new Neighbours;
    const auto parts = partsOf(fuzz::textOf(data, size));
    neighbours.server.serve(House::rtuConfigPath, parts[0]);
    neighbours.server.serve(House::attachedPath, parts[1]);
    neighbours.server.serve(House::supportedPath, parts[2]);
    neighbours.bus.answerFrom(parts[3]);

    boost::asio::io_context ioContext;
    orv::modbusreader::SenderQueue queue(ioContext, servicePath);
    orv::modbusreader::SerialConnection connection{orv::HttpClient(false), {}, ioContext, queue};
    connection.start();
    neighbours.server.serve(House::supportedPath, parts[4]);
    connection.start();
    ioContext.run();

    for (const std::string& message : neighbours.service.takeMessages())
        checkMessage(message);
    neighbours.server.clearRequests();
    return 0;
}
