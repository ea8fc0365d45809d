#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace house {

/// What one HTTP request is answered with, when it is not the regular answer of its path.
struct Answer {
    unsigned status = 200;
    /// Without a value the path's regular body is sent.
    std::optional<std::string> body;
    std::map<std::string, std::string> headers;
    /// How long the answer is held back.
    std::chrono::milliseconds delay{0};
    /// The connection is closed without a word, once the request has been read.
    bool drop = false;
    /// Bytes that the header announces beyond those of the body; the connection is closed instead.
    std::size_t missing = 0;

    static Answer withStatus(unsigned status, std::string body = {});
    static Answer withBody(std::string body);
    /// The regular answer, late.
    static Answer late(std::chrono::milliseconds delay);
    static Answer dropped();
    /// @p body, and a closed connection where @p missing more bytes were announced.
    static Answer brokenOff(std::string body, std::size_t missing);
};

/// One HTTP request as it arrived.
struct Request {
    std::string method;
    std::string path;
    std::map<std::string, std::string> headers;
    /// In the order in which the headers came.
    std::vector<std::string> headerNames;
    std::string body;
    std::chrono::system_clock::time_point arrived;
    /// The status of its answer; 0 when the connection is closed without one.
    unsigned status = 0;
    /// Number of the connection that it came on, in the order in which they were accepted.
    std::size_t connection = 0;
};

/// The local server of the house: HTTP on 127.0.0.1, served by a thread of its own for as long as
/// the object lives. A path that nobody described answers 404. All functions are thread-safe.
class LocalServer {
public:
    static constexpr const char* rtuConfigPath = "/api/v1/apartment/meterings/modbus/rtuconfig";
    static constexpr const char* attachedPath = "/api/v1/apartment/meterings/modbus/attached";
    static constexpr const char* supportedPath =
        "/api/v1/apartment/meterings/modbus/config/supported";

    /// Listens at once. Port 0 takes any free port.
    /// Throws `boost::system::system_error` when the port is taken.
    explicit LocalServer(std::uint16_t port = 8088);
    ~LocalServer();
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    std::uint16_t port() const;
    /// "http://127.0.0.1:<port><path>".
    std::string url(const std::string& path) const;

    /// Sets the regular answer of @p path: status 200 with @p body.
    void serve(const std::string& path, std::string body);
    /// Lets @p next give the regular answer of each request on @p path, on the server's thread.
    void serveBy(const std::string& path, std::function<Answer()> next);
    /// The next @p requests requests on @p path get @p answer. Further calls queue up behind.
    void answerNext(const std::string& path, const Answer& answer, std::size_t requests = 1);
    /// Every request on @p path gets @p answer, once those of `answerNext` are used up.
    void answerAlways(const std::string& path, Answer answer);
    /// Back to the regular answer of @p path.
    void recover(const std::string& path);

    /// All requests so far, in the order of their arrival.
    std::vector<Request> requests() const;
    std::vector<Request> requests(const std::string& path) const;
    std::size_t requestCount(const std::string& path) const;
    /// Waits until at least @p count requests on @p path have come since the start or the last
    /// `clearRequests`. False when the limit of `Patience` passed first.
    [[nodiscard]] bool waitForRequests(const std::string& path, std::size_t count) const;
    void clearRequests();

    /// Calls @p callback on the server's thread after each recorded request, before its answer is
    /// sent. It may be replaced at any time, even by itself; a call that is under way then runs to
    /// its end.
    void whenRequested(std::function<void(const Request&)> callback);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace house
