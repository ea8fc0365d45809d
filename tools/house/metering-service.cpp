#include "house/metering-service.h"

#include "house/callback.h"
#include "house/group-access.h"
#include "house/own-file.h"
#include "house/patience.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include <boost/asio.hpp>
#include <sys/stat.h>

namespace house {

namespace asio = boost::asio;
using boost::asio::local::stream_protocol;
using boost::system::error_code;

namespace {

/// A socket file that an earlier service left behind would keep the path from being bound.
void removeLeftover(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) < 0)
        return;
    if (!S_ISSOCK(status.st_mode))
        throw boost::system::system_error(make_error_code(boost::system::errc::file_exists),
                                          path + " is no socket");
    // A datagram socket is refused by a stream service too, but without a word to it, and otherwise
    // than where nobody listens.
    asio::io_context io;
    asio::local::datagram_protocol::socket probe(io);
    error_code ec;
    probe.connect(path, ec);
    if (ec == asio::error::connection_refused)
        ec = error_code(::unlink(path.c_str()) < 0 ? errno : 0, boost::system::system_category());
    else if (!ec || ec == boost::system::errc::wrong_protocol_type)
        ec = asio::error::address_in_use;
    if (ec)
        throw boost::system::system_error(ec, path);
}

stream_protocol::acceptor listenAt(asio::io_context& io, const std::string& path) {
    removeLeftover(path);
    try {
        return {io, stream_protocol::endpoint(path)};
    } catch (const boost::system::system_error& e) {
        throw boost::system::system_error(e.code(), path);
    }
}

} // namespace

class MeteringService::Impl {
public:
    explicit Impl(const std::string& path) : m_acceptor(listenAt(m_io, path)), m_file(path) {
        // The group by which a metering service lets its clients in.
        openToGroup(path, "metering");
        accept();
        m_thread = std::thread([this] { m_io.run(); });
    }

    ~Impl() {
        m_io.stop();
        m_thread.join();
    }

    void keep(std::string text, std::size_t connection);

    asio::io_context m_io{1};
    stream_protocol::acceptor m_acceptor;
    OwnFile m_file;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Message> m_messages;
    std::size_t m_connections = 0;
    bool m_acceptAndClose = false;
    Callback<const Message&> m_whenArrived;

private:
    void accept();
    void welcome(stream_protocol::socket socket);
};

namespace {

/// One connection, read to its end.
class MessageSession : public std::enable_shared_from_this<MessageSession> {
public:
    using Receiver = std::function<void(std::string)>;

    MessageSession(stream_protocol::socket socket, Receiver receiver)
        : m_socket(std::move(socket)), m_receiver(std::move(receiver)) {}

    void read() {
        m_socket.async_read_some(asio::buffer(m_chunk),
                                 [self = shared_from_this()](error_code ec, std::size_t size) {
                                     self->m_text.append(self->m_chunk.data(), size);
                                     if (ec)
                                         self->m_receiver(std::move(self->m_text));
                                     else
                                         self->read();
                                 });
    }

private:
    stream_protocol::socket m_socket;
    Receiver m_receiver;
    std::array<char, 4096> m_chunk{};
    std::string m_text;
};

} // namespace

void MeteringService::Impl::accept() {
    m_acceptor.async_accept([this](error_code ec, stream_protocol::socket socket) {
        if (!ec)
            welcome(std::move(socket));
        accept();
    });
}

void MeteringService::Impl::welcome(stream_protocol::socket socket) {
    std::unique_lock lock(m_mutex);
    const bool closeAtOnce = m_acceptAndClose;
    // Closed before the count, so that whoever waits for the connection finds it closed.
    if (closeAtOnce)
        socket.close();
    const std::size_t connection = ++m_connections;
    lock.unlock();
    m_changed.notify_all();
    if (closeAtOnce)
        return;
    auto receiver = [this, connection](std::string text) { keep(std::move(text), connection); };
    std::make_shared<MessageSession>(std::move(socket), std::move(receiver))->read();
}

void MeteringService::Impl::keep(std::string text, std::size_t connection) {
    const Message message{std::move(text), connection, std::chrono::system_clock::now()};
    std::unique_lock lock(m_mutex);
    m_messages.push_back(message);
    lock.unlock();
    m_changed.notify_all();
    m_whenArrived(message);
}

MeteringService::MeteringService(const std::string& path) : m_impl(std::make_unique<Impl>(path)) {}

MeteringService::~MeteringService() = default;

std::vector<Message> MeteringService::messages() const {
    const std::lock_guard lock(m_impl->m_mutex);
    return m_impl->m_messages;
}

std::vector<std::string> MeteringService::texts() const {
    std::vector<std::string> texts;
    for (Message& message : messages())
        texts.push_back(std::move(message.text));
    return texts;
}

bool MeteringService::waitForMessages(std::size_t count) const {
    std::unique_lock lock(m_impl->m_mutex);
    return m_impl->m_changed.wait_for(lock, Patience::limit(),
                                      [&] { return m_impl->m_messages.size() >= count; });
}

void MeteringService::clear() {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_messages.clear();
}

void MeteringService::acceptAndClose(bool on) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_acceptAndClose = on;
}

bool MeteringService::waitForConnections(std::size_t count) const {
    std::unique_lock lock(m_impl->m_mutex);
    return m_impl->m_changed.wait_for(lock, Patience::limit(),
                                      [&] { return m_impl->m_connections >= count; });
}

void MeteringService::whenArrived(std::function<void(const Message&)> callback) {
    m_impl->m_whenArrived.replace(std::move(callback));
}

} // namespace house
