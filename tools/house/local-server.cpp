#include "house/local-server.h"

#include "house/callback.h"
#include "house/patience.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

namespace house {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;

Answer Answer::withStatus(unsigned status, std::string body) {
    Answer answer;
    answer.status = status;
    answer.body = std::move(body);
    return answer;
}

Answer Answer::withBody(std::string body) {
    return withStatus(200, std::move(body));
}

Answer Answer::late(std::chrono::milliseconds delay) {
    Answer answer;
    answer.delay = delay;
    return answer;
}

Answer Answer::dropped() {
    Answer answer;
    answer.drop = true;
    return answer;
}

Answer Answer::brokenOff(std::string body, std::size_t missing) {
    Answer answer = withBody(std::move(body));
    answer.missing = missing;
    return answer;
}

namespace {

tcp::acceptor listenAt(asio::io_context& io, std::uint16_t port) {
    try {
        return {io, tcp::endpoint(asio::ip::address_v4::loopback(), port)};
    } catch (const boost::system::system_error& e) {
        throw boost::system::system_error(e.code(), "127.0.0.1:" + std::to_string(port));
    }
}

} // namespace

class LocalServer::Impl {
public:
    explicit Impl(std::uint16_t port) : m_acceptor(listenAt(m_io, port)) {
        accept();
        m_thread = std::thread([this] { m_io.run(); });
    }

    ~Impl() {
        m_io.stop();
        m_thread.join();
    }

    /// Decides on the answer and records the request with it.
    Answer take(Request request);

    asio::io_context m_io{1};
    tcp::acceptor m_acceptor;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::map<std::string, std::function<Answer()>> m_regular;
    std::map<std::string, std::deque<Answer>> m_next;
    std::map<std::string, Answer> m_always;
    std::vector<Request> m_requests;
    Callback<const Request&> m_whenRequested;

private:
    void accept();
    Answer choose(const std::string& path);

    std::size_t m_connections = 0;
};

namespace {

using RawRequest = http::request<http::string_body>;

Request toRequest(const RawRequest& raw, std::size_t connection) {
    Request request;
    request.connection = connection;
    request.method = std::string(raw.method_string());
    request.path = std::string(raw.target());
    for (const auto& field : raw) {
        request.headers[std::string(field.name_string())] = std::string(field.value());
        request.headerNames.emplace_back(field.name_string());
    }
    request.body = raw.body();
    request.arrived = std::chrono::system_clock::now();
    return request;
}

/// One connection: reads a request, asks for the answer, sends it, and starts over.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    using Responder = std::function<Answer(Request)>;

    HttpSession(tcp::socket socket, std::size_t connection, Responder responder)
        : m_socket(std::move(socket)),
          m_connection(connection),
          m_timer(m_socket.get_executor()),
          m_responder(std::move(responder)) {}

    void read() {
        m_request = {};
        http::async_read(m_socket, m_buffer, m_request,
                         [self = shared_from_this()](error_code ec, std::size_t) {
                             if (!ec)
                                 self->answer();
                         });
    }

private:
    void answer() {
        m_answer = m_responder(toRequest(m_request, m_connection));
        m_timer.expires_after(m_answer.delay);
        m_timer.async_wait([self = shared_from_this()](error_code) { self->write(); });
    }

    void write() {
        // Letting the session go without a word closes the connection.
        if (m_answer.drop)
            return;
        m_response = {};
        m_response.version(m_request.version());
        m_response.result(m_answer.status);
        for (const auto& [name, value] : m_answer.headers)
            m_response.set(name, value);
        m_response.body() = m_answer.body.value_or("");
        m_response.keep_alive(m_request.keep_alive());
        m_response.prepare_payload();
        if (m_answer.missing != 0)
            m_response.content_length(m_response.body().size() + m_answer.missing);
        http::async_write(m_socket, m_response,
                          [self = shared_from_this()](error_code ec, std::size_t) {
                              const bool isWhole = self->m_answer.missing == 0;
                              if (!ec && isWhole && !self->m_response.need_eof())
                                  self->read();
                          });
    }

    tcp::socket m_socket;
    std::size_t m_connection;
    asio::steady_timer m_timer;
    Responder m_responder;
    beast::flat_buffer m_buffer;
    RawRequest m_request;
    http::response<http::string_body> m_response;
    Answer m_answer;
};

} // namespace

void LocalServer::Impl::accept() {
    m_acceptor.async_accept([this](error_code ec, tcp::socket socket) {
        if (!ec) {
            auto responder = [this](Request request) { return take(std::move(request)); };
            std::make_shared<HttpSession>(std::move(socket), ++m_connections, std::move(responder))
                ->read();
        }
        accept();
    });
}

Answer LocalServer::Impl::take(Request request) {
    std::unique_lock lock(m_mutex);
    Answer answer = choose(request.path);
    request.status = answer.drop ? 0 : answer.status;
    m_requests.push_back(request);
    lock.unlock();
    m_changed.notify_all();
    m_whenRequested(request);
    return answer;
}

Answer LocalServer::Impl::choose(const std::string& path) {
    const auto found = m_regular.find(path);
    const Answer regular =
        found != m_regular.end() ? found->second() : Answer::withStatus(404, "Not Found");
    Answer answer = regular;
    if (auto& next = m_next[path]; !next.empty()) {
        answer = std::move(next.front());
        next.pop_front();
    } else if (const auto always = m_always.find(path); always != m_always.end()) {
        answer = always->second;
    }
    if (!answer.body && found != m_regular.end())
        answer.body = regular.body;
    return answer;
}

LocalServer::LocalServer(std::uint16_t port) : m_impl(std::make_unique<Impl>(port)) {}

LocalServer::~LocalServer() = default;

std::uint16_t LocalServer::port() const {
    return m_impl->m_acceptor.local_endpoint().port();
}

std::string LocalServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + path;
}

void LocalServer::serve(const std::string& path, std::string body) {
    serveBy(path, [answer = Answer::withBody(std::move(body))] { return answer; });
}

void LocalServer::serveBy(const std::string& path, std::function<Answer()> next) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_regular[path] = std::move(next);
}

void LocalServer::answerNext(const std::string& path, const Answer& answer, std::size_t requests) {
    const std::lock_guard lock(m_impl->m_mutex);
    auto& next = m_impl->m_next[path];
    next.insert(next.end(), requests, answer);
}

void LocalServer::answerAlways(const std::string& path, Answer answer) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_always[path] = std::move(answer);
}

void LocalServer::recover(const std::string& path) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_next.erase(path);
    m_impl->m_always.erase(path);
}

std::vector<Request> LocalServer::requests() const {
    const std::lock_guard lock(m_impl->m_mutex);
    return m_impl->m_requests;
}

std::vector<Request> LocalServer::requests(const std::string& path) const {
    std::vector<Request> all = requests();
    std::erase_if(all, [&](const Request& request) { return request.path != path; });
    return all;
}

std::size_t LocalServer::requestCount(const std::string& path) const {
    return requests(path).size();
}

bool LocalServer::waitForRequests(const std::string& path, std::size_t count) const {
    std::unique_lock lock(m_impl->m_mutex);
    return m_impl->m_changed.wait_for(lock, Patience::limit(), [&] {
        const auto onPath = [&](const Request& request) { return request.path == path; };
        const auto& all = m_impl->m_requests;
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), onPath)) >= count;
    });
}

void LocalServer::clearRequests() {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_requests.clear();
}

void LocalServer::whenRequested(std::function<void(const Request&)> callback) {
    m_impl->m_whenRequested.replace(std::move(callback));
}

} // namespace house
