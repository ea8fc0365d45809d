#include "house/modbus-slave.h"

#include "house/awaited-count.h"
#include "house/bus-units.h"
#include "house/callback.h"
#include "house/rtu-line.h"
#include "house/tcp-line.h"

#include <mutex>
#include <thread>
#include <utility>

namespace house {

class ModbusSlave::Impl {
public:
    explicit Impl(std::unique_ptr<BusLine> line)
        : m_line(std::move(line)), m_thread([this] {
              m_line->serve(m_stop, [this](const Query& query) { return respond(query); });
          }) {}

    ~Impl() {
        m_stop.raise();
        m_thread.join();
    }

    const std::unique_ptr<BusLine> m_line;
    BusUnits m_units;
    AwaitedCount m_requests;
    Callback<> m_beforeAnswer;
    Callback<const Query&, std::optional<Reply>&> m_responder;
    Callback<const std::string&> m_whenAnswering;

    mutable std::mutex m_mutex;
    std::string m_transcript;

private:
    std::optional<Reply> respond(const Query& query);
    void record(const std::string& lines);

    Wakeup m_stop;
    std::thread m_thread;
};

std::optional<Reply> ModbusSlave::Impl::respond(const Query& query) {
    m_beforeAnswer();
    std::optional<Reply> recorded;
    m_responder(query, recorded);
    const Reply reply = m_units.replyTo(query, recorded);
    record(query.text() + reply.text());
    if (reply.has(Fault::Kind::silence))
        return std::nullopt;
    if (reply.has(Fault::Kind::late) &&
        !m_stop.isQuietUntil(std::chrono::steady_clock::now() + reply.lateness()))
        return std::nullopt;
    return reply;
}

void ModbusSlave::Impl::record(const std::string& lines) {
    {
        const std::lock_guard lock(m_mutex);
        m_transcript += lines;
    }
    m_whenAnswering(lines);
    m_requests.increase();
}

ModbusSlave::ModbusSlave(TcpPort port)
    : m_impl(std::make_unique<Impl>(std::make_unique<TcpLine>(port.number))) {}

ModbusSlave::ModbusSlave(const Tty& tty)
    : m_impl(std::make_unique<Impl>(std::make_unique<RtuLine>(tty.device, tty.wireTime))) {}

ModbusSlave::~ModbusSlave() = default;

std::uint16_t ModbusSlave::port() const {
    return m_impl->m_line->port();
}

ModbusSlave::Unit ModbusSlave::unit(int id) {
    m_impl->m_units.add(id);
    return {*m_impl, id};
}

void ModbusSlave::removeUnit(int id) {
    m_impl->m_units.remove(id);
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
    return m_impl->m_requests.value();
}

bool ModbusSlave::waitForRequests(std::size_t count) const {
    return m_impl->m_requests.waitFor(count);
}

bool ModbusSlave::waitForConnections(std::size_t count) const {
    return m_impl->m_line->waitForConnections(count);
}

void ModbusSlave::dropConnections() {
    m_impl->m_line->dropConnections();
}

void ModbusSlave::beforeAnswer(std::function<void()> callback) {
    m_impl->m_beforeAnswer.replace(std::move(callback));
}

void ModbusSlave::answerBy(std::function<void(const Query&, std::optional<Reply>&)> responder) {
    m_impl->m_responder.replace(std::move(responder));
}

void ModbusSlave::whenAnswering(std::function<void(const std::string&)> callback) {
    m_impl->m_whenAnswering.replace(std::move(callback));
}

void ModbusSlave::sendBy(BusLine::Sender sender) {
    m_impl->m_line->sendBy(std::move(sender));
}

using Unit = ModbusSlave::Unit;

Unit& Unit::input(int address, const Words& words) {
    return set(Space::input, address, words);
}

Unit& Unit::holding(int address, const Words& words) {
    return set(Space::holding, address, words);
}

Unit& Unit::set(Space space, int address, const Words& words) {
    m_impl->m_units.set(m_id, space, address, words);
    return *this;
}

Unit& Unit::failNext(int address, const Fault& fault, int requests) {
    return order({std::nullopt, address, fault, requests});
}

Unit& Unit::failNext(Space space, int address, const Fault& fault, int requests) {
    return order({space, address, fault, requests});
}

Unit& Unit::failAlways(int address, const Fault& fault) {
    return order({std::nullopt, address, fault, FaultOrder::forGood});
}

Unit& Unit::failAlways(Space space, int address, const Fault& fault) {
    return order({space, address, fault, FaultOrder::forGood});
}

Unit& Unit::failAlways(const Fault& fault) {
    return order({std::nullopt, std::nullopt, fault, FaultOrder::forGood});
}

Unit& Unit::order(const FaultOrder& order) {
    m_impl->m_units.order(m_id, order);
    return *this;
}

Unit& Unit::recover() {
    m_impl->m_units.recover(m_id);
    return *this;
}

} // namespace house
