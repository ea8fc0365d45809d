#include "house/modbus-slave.h"

#include "house/callback.h"
#include "house/descriptor.h"
#include "house/patience.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include <arpa/inet.h>
#include <modbus/modbus.h>
#include <poll.h>
#include <sys/socket.h>

namespace house {

const Fault Fault::silence{Kind::silence, 0};
const Fault Fault::shortAnswer{Kind::shortAnswer, 0};

namespace {

using Frame = std::array<std::uint8_t, MODBUS_MAX_ADU_LENGTH>;

struct ContextDeleter {
    void operator()(modbus_t* context) const { modbus_free(context); }
};
using Context = std::unique_ptr<modbus_t, ContextDeleter>;

struct MappingDeleter {
    void operator()(modbus_mapping_t* mapping) const { modbus_mapping_free(mapping); }
};
using Mapping = std::unique_ptr<modbus_mapping_t, MappingDeleter>;

/// A request as it stands in its frame.
struct Query {
    int unit = 0;
    int function = 0;
    int address = 0;
    int count = 0;

    bool reads() const {
        return function == MODBUS_FC_READ_HOLDING_REGISTERS ||
               function == MODBUS_FC_READ_INPUT_REGISTERS;
    }
    Space space() const {
        return function == MODBUS_FC_READ_INPUT_REGISTERS ? Space::input : Space::holding;
    }
};

/// What a request is answered with: words, or the failure.
struct Reply {
    Words words;
    std::optional<Fault> fault;
    std::chrono::milliseconds delay{0};
};

/// An order to fail. Without a space or an address it holds for all of them.
struct Order {
    static constexpr int forGood = -1;

    std::optional<Space> space;
    std::optional<int> address;
    Fault fault;
    int remaining;

    bool meets(const Query& query) const {
        return remaining != 0 && (!space || *space == query.space()) &&
               (!address || *address == query.address);
    }
};

struct UnitState {
    std::map<Space, std::map<int, std::uint16_t>> words;
    std::vector<Order> orders;

    std::optional<Fault> takeFault(const Query& query) {
        const auto meets = [&](const Order& order) { return order.meets(query); };
        const auto found = std::find_if(orders.begin(), orders.end(), meets);
        if (found == orders.end())
            return std::nullopt;
        if (found->remaining != Order::forGood)
            --found->remaining;
        return found->fault;
    }

    std::optional<Words> read(const Query& query) {
        Words result;
        auto& all = words[query.space()];
        for (int address = query.address; address < query.address + query.count; ++address) {
            const auto word = all.find(address);
            if (word == all.end())
                return std::nullopt;
            result.push_back(word->second);
        }
        return result;
    }
};

std::uint8_t highByte(unsigned word) {
    return static_cast<std::uint8_t>(word >> 8);
}

std::uint8_t lowByte(unsigned word) {
    return static_cast<std::uint8_t>(word & 0xFF);
}

Query parse(const Frame& frame, int header) {
    const std::uint8_t* request = frame.data() + header;
    return {request[-1], request[0], request[1] << 8 | request[2], request[3] << 8 | request[4]};
}

std::string text(const Words& words) {
    std::string result;
    for (const std::uint16_t word : words) {
        std::array<char, 8> digits{};
        std::snprintf(digits.data(), digits.size(), " %04X", static_cast<unsigned>(word));
        result += digits.data();
    }
    return result;
}

std::string text(const Query& query) {
    const std::string unit = ">> unit " + std::to_string(query.unit) + "  ";
    if (!query.reads())
        return unit + "function " + std::to_string(query.function) + "\n";
    return unit + (query.space() == Space::input ? "read input " : "read holding ") +
           std::to_string(query.address) + " x" + std::to_string(query.count) + "\n";
}

std::string text(const Reply& reply) {
    const std::string head = reply.delay.count() > 0 ? "<< late" : "<<";
    if (!reply.fault)
        return head + text(reply.words) + "\n";
    if (reply.fault->kind() == Fault::Kind::silence)
        return head + " silence\n";
    if (reply.fault->kind() == Fault::Kind::shortAnswer)
        return head + " short" + text(reply.words) + "\n";
    return head + " exception " + std::to_string(reply.fault->code()) + "\n";
}

/// A mapping that holds exactly the words of one answer.
Mapping mappingOf(const Query& query, const Words& words) {
    const auto start = static_cast<unsigned>(query.address);
    const auto count = static_cast<unsigned>(words.size());
    const bool input = query.space() == Space::input;
    Mapping mapping(modbus_mapping_new_start_address(0, 0, 0, 0, start, input ? 0 : count, start,
                                                     input ? count : 0));
    std::copy(words.begin(), words.end(),
              input ? mapping->tab_input_registers : mapping->tab_registers);
    return mapping;
}

/// The check sum of Modbus RTU, over all of a frame but its last two bytes.
bool isIntact(const Frame& frame, std::size_t length) {
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < length - 2; ++i) {
        crc ^= frame[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
    }
    return frame[length - 2] == lowByte(crc) && frame[length - 1] == highByte(crc);
}

} // namespace

class ModbusSlave::Impl {
public:
    explicit Impl(TcpPort port);
    explicit Impl(const Tty& tty);
    ~Impl();

    UnitState& unitState(int id) { return m_units[id]; }

    std::uint16_t m_port = 0;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::map<int, UnitState> m_units;
    std::string m_transcript;
    std::size_t m_requests = 0;
    std::size_t m_accepted = 0;
    std::vector<Descriptor> m_connections;
    Callback<> m_beforeAnswer;
    Callback<const std::string&> m_whenAnswering;

private:
    void runTcp();
    void acceptConnection();
    void serveConnection(int socket);
    void closeConnection(int socket);

    void runRtu();
    void serveLine();
    Context newLineContext(int unit) const;

    void answer(modbus_t* context, const Frame& frame, int length);
    bool mayAnswerAfter(std::chrono::milliseconds delay) const;
    Reply decide(const Query& query);
    void send(modbus_t* context, const Frame& frame, int length, const Reply& reply) const;
    void sendShort(modbus_t* context, const Frame& frame, const Words& words) const;

    bool m_serial = false;
    Context m_context;
    Descriptor m_listener;
    Descriptor m_line;
    std::string m_device;
    int m_lineUnit = 0;
    Wakeup m_stop;
    std::thread m_thread;
};

ModbusSlave::Impl::Impl(TcpPort port) : m_context(modbus_new_tcp("127.0.0.1", port.number)) {
    constexpr int backlog = 16;
    const std::string where = "127.0.0.1:" + std::to_string(port.number);
    m_listener = Descriptor(require(modbus_tcp_listen(m_context.get(), backlog), where.c_str()));
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(m_listener.number(), reinterpret_cast<sockaddr*>(&address), &size),
            "getsockname");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { runTcp(); });
}

ModbusSlave::Impl::Impl(const Tty& tty) : m_serial(true), m_device(tty.device) {
    m_context = newLineContext(m_lineUnit);
    require(modbus_connect(m_context.get()), m_device.c_str());
    m_line = Descriptor(modbus_get_socket(m_context.get()));
    m_thread = std::thread([this] { runRtu(); });
}

ModbusSlave::Impl::~Impl() {
    m_stop.raise();
    m_thread.join();
}

void ModbusSlave::Impl::runTcp() {
    for (;;) {
        std::vector<pollfd> wait{{m_stop.descriptor(), POLLIN, 0},
                                 {m_listener.number(), POLLIN, 0}};
        {
            const std::lock_guard lock(m_mutex);
            for (const Descriptor& connection : m_connections)
                wait.push_back({connection.number(), POLLIN, 0});
        }
        if (::poll(wait.data(), wait.size(), -1) < 0)
            continue;
        if (wait[0].revents != 0)
            return;
        for (std::size_t i = 2; i < wait.size(); ++i) {
            if (wait[i].revents != 0)
                serveConnection(wait[i].fd);
        }
        if (wait[1].revents != 0)
            acceptConnection();
    }
}

void ModbusSlave::Impl::acceptConnection() {
    int listener = m_listener.number();
    const int socket = modbus_tcp_accept(m_context.get(), &listener);
    if (socket < 0)
        return;
    const std::lock_guard lock(m_mutex);
    m_connections.emplace_back(socket);
    ++m_accepted;
    m_changed.notify_all();
}

void ModbusSlave::Impl::serveConnection(int socket) {
    Frame frame{};
    modbus_set_socket(m_context.get(), socket);
    const int length = modbus_receive(m_context.get(), frame.data());
    if (length < 0)
        closeConnection(socket);
    else
        answer(m_context.get(), frame, length);
}

void ModbusSlave::Impl::closeConnection(int socket) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_connections,
                  [&](const Descriptor& connection) { return connection.number() == socket; });
}

void ModbusSlave::Impl::runRtu() {
    std::array<pollfd, 2> wait{{{m_stop.descriptor(), POLLIN, 0}, {m_line.number(), POLLIN, 0}}};
    for (;;) {
        if (::poll(wait.data(), wait.size(), -1) < 0)
            continue;
        if (wait[0].revents != 0 || (wait[1].revents & (POLLHUP | POLLERR)) != 0)
            return;
        serveLine();
    }
}

// libmodbus serves one unit per context: it does not check the frame of a foreign unit, and takes
// what follows it for that unit's answer. This bus has many units, so a foreign frame is checked
// here, and a fresh context on the same line goes on for its unit.
void ModbusSlave::Impl::serveLine() {
    constexpr int readRequestLength = 8;
    Frame frame{};
    int length = modbus_receive(m_context.get(), frame.data());
    if (length < 0)
        return;
    if (length == 0) {
        m_lineUnit = frame[0];
        m_context = newLineContext(m_lineUnit);
        modbus_set_socket(m_context.get(), m_line.number());
        length = readRequestLength;
        if (!isIntact(frame, readRequestLength))
            return;
    }
    answer(m_context.get(), frame, length);
}

Context ModbusSlave::Impl::newLineContext(int unit) const {
    Context context(modbus_new_rtu(m_device.c_str(), 19200, 'E', 8, 1));
    modbus_set_slave(context.get(), unit);
    return context;
}

void ModbusSlave::Impl::answer(modbus_t* context, const Frame& frame, int length) {
    const Query query = parse(frame, modbus_get_header_length(context));
    m_beforeAnswer();
    std::unique_lock lock(m_mutex);
    const Reply reply = decide(query);
    const std::string lines = text(query) + text(reply);
    m_transcript += lines;
    ++m_requests;
    lock.unlock();
    m_whenAnswering(lines);
    m_changed.notify_all();
    if (mayAnswerAfter(reply.delay))
        send(context, frame, length, reply);
}

/// Waits, and gives false when the slave ends meanwhile.
bool ModbusSlave::Impl::mayAnswerAfter(std::chrono::milliseconds delay) const {
    pollfd stop{m_stop.descriptor(), POLLIN, 0};
    return delay.count() == 0 || ::poll(&stop, 1, static_cast<int>(delay.count())) == 0;
}

Reply ModbusSlave::Impl::decide(const Query& query) {
    const auto unit = m_units.find(query.unit);
    if (unit == m_units.end())
        return {{}, Fault::silence, {}};
    if (!query.reads())
        return {{}, Fault::exception(MODBUS_EXCEPTION_ILLEGAL_FUNCTION), {}};
    if (query.count < 1 || query.count > MODBUS_MAX_READ_REGISTERS)
        return {{}, Fault::exception(MODBUS_EXCEPTION_ILLEGAL_DATA_VALUE), {}};

    const std::optional<Fault> fault = unit->second.takeFault(query);
    std::optional<Words> words = unit->second.read(query);
    if (fault && fault->kind() == Fault::Kind::shortAnswer) {
        Words fewer = words.value_or(Words());
        fewer.resize(static_cast<std::size_t>(query.count - 1));
        return {fewer, fault, {}};
    }
    if (fault && fault->kind() != Fault::Kind::late)
        return {{}, fault, {}};
    Reply reply;
    if (words)
        reply.words = *words;
    else
        reply.fault = Fault::exception(MODBUS_EXCEPTION_ILLEGAL_DATA_ADDRESS);
    reply.delay = fault ? fault->delay() : reply.delay;
    return reply;
}

void ModbusSlave::Impl::send(modbus_t* context, const Frame& frame, int length,
                             const Reply& reply) const {
    if (!reply.fault) {
        const Query query = parse(frame, modbus_get_header_length(context));
        modbus_reply(context, frame.data(), length, mappingOf(query, reply.words).get());
        return;
    }
    if (reply.fault->kind() == Fault::Kind::exception)
        modbus_reply_exception(context, frame.data(), reply.fault->code());
    if (reply.fault->kind() == Fault::Kind::shortAnswer)
        sendShort(context, frame, reply.words);
}

void ModbusSlave::Impl::sendShort(modbus_t* context, const Frame& frame, const Words& words) const {
    const auto unitAt = static_cast<std::size_t>(modbus_get_header_length(context) - 1);
    const auto size = static_cast<unsigned>(2 * words.size());
    std::vector<std::uint8_t> message{frame[unitAt], frame[unitAt + 1], lowByte(size)};
    for (const std::uint16_t word : words) {
        message.push_back(highByte(word));
        message.push_back(lowByte(word));
    }
    if (m_serial) {
        modbus_send_raw_request(context, message.data(), static_cast<int>(message.size()));
        return;
    }
    // The raw request of libmodbus carries no transaction number on TCP, so its header is made
    // here: the number of the request, protocol 0, length.
    const auto rest = static_cast<unsigned>(message.size());
    message.insert(message.begin(), {frame[0], frame[1], 0, 0, highByte(rest), lowByte(rest)});
    ::send(modbus_get_socket(context), message.data(), message.size(), MSG_NOSIGNAL);
}

ModbusSlave::ModbusSlave(TcpPort port) : m_impl(std::make_unique<Impl>(port)) {}

ModbusSlave::ModbusSlave(const Tty& tty) : m_impl(std::make_unique<Impl>(tty)) {}

ModbusSlave::~ModbusSlave() = default;

std::uint16_t ModbusSlave::port() const {
    return m_impl->m_port;
}

ModbusSlave::Unit ModbusSlave::unit(int id) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->unitState(id);
    return {*m_impl, id};
}

void ModbusSlave::removeUnit(int id) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_units.erase(id);
}

std::string ModbusSlave::transcript() const {
    const std::lock_guard lock(m_impl->m_mutex);
    return m_impl->m_transcript;
}

void ModbusSlave::clearTranscript() {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_transcript.clear();
}

std::size_t ModbusSlave::requestCount() const {
    const std::lock_guard lock(m_impl->m_mutex);
    return m_impl->m_requests;
}

bool ModbusSlave::waitForRequests(std::size_t count) const {
    std::unique_lock lock(m_impl->m_mutex);
    return m_impl->m_changed.wait_for(lock, Patience::limit(),
                                      [&] { return m_impl->m_requests >= count; });
}

bool ModbusSlave::waitForConnections(std::size_t count) const {
    std::unique_lock lock(m_impl->m_mutex);
    return m_impl->m_changed.wait_for(lock, Patience::limit(),
                                      [&] { return m_impl->m_accepted >= count; });
}

void ModbusSlave::dropConnections() {
    const std::lock_guard lock(m_impl->m_mutex);
    for (const Descriptor& connection : m_impl->m_connections)
        ::shutdown(connection.number(), SHUT_RDWR);
}

void ModbusSlave::beforeAnswer(std::function<void()> callback) {
    m_impl->m_beforeAnswer.replace(std::move(callback));
}

void ModbusSlave::whenAnswering(std::function<void(const std::string&)> callback) {
    m_impl->m_whenAnswering.replace(std::move(callback));
}

using Unit = ModbusSlave::Unit;

Unit& Unit::input(int address, const Words& words) {
    return set(Space::input, address, words);
}

Unit& Unit::holding(int address, const Words& words) {
    return set(Space::holding, address, words);
}

Unit& Unit::set(Space space, int address, const Words& words) {
    const std::lock_guard lock(m_impl->m_mutex);
    auto& all = m_impl->unitState(m_id).words[space];
    for (const std::uint16_t word : words)
        all[address++] = word;
    return *this;
}

Unit& Unit::failNext(int address, const Fault& fault, int requests) {
    return order(std::nullopt, address, fault, requests);
}

Unit& Unit::failNext(Space space, int address, const Fault& fault, int requests) {
    return order(space, address, fault, requests);
}

Unit& Unit::failAlways(int address, const Fault& fault) {
    return order(std::nullopt, address, fault, Order::forGood);
}

Unit& Unit::failAlways(Space space, int address, const Fault& fault) {
    return order(space, address, fault, Order::forGood);
}

Unit& Unit::failAlways(const Fault& fault) {
    return order(std::nullopt, std::nullopt, fault, Order::forGood);
}

Unit& Unit::order(std::optional<Space> space, std::optional<int> address, const Fault& fault,
                  int requests) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->unitState(m_id).orders.push_back({space, address, fault, requests});
    return *this;
}

Unit& Unit::recover() {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->unitState(m_id).orders.clear();
    return *this;
}

} // namespace house
