// What a server answers, over a real connection: once the input as it is, and once as the body of a
// good answer.

#include "fuzz.h"

#include "house/descriptor.h"
#include "http-client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

namespace {

/// Answers the next connection with given bytes and closes it; further ones get nothing, so that no
/// redirect has a second answer.
class Server {
public:
    Server() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        house::require(bind(m_listener.number(), any, length), "bind");
        house::require(listen(m_listener.number(), SOMAXCONN), "listen");
        house::require(getsockname(m_listener.number(), any, &length), "getsockname");
        m_port = ntohs(address.sin_port);
        std::thread([this] { serve(); }).detach();
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port) + "/"; }

    void answerNext(std::string answer) {
        const std::scoped_lock lock(m_mutex);
        m_answer = std::move(answer);
    }

private:
    [[noreturn]] void serve() {
        for (;;) {
            const house::Descriptor connection(accept(m_listener.number(), nullptr, nullptr));
            if (!readRequest(connection.number()))
                continue;
            const std::string answer = takeAnswer();
            send(connection.number(), answer.data(), answer.size(), MSG_NOSIGNAL);
            // The rest of the answer is lost if the connection is reset.
            shutdown(connection.number(), SHUT_WR);
        }
    }

    static bool readRequest(int connection) {
        std::string request;
        char piece[4096];
        while (request.find("\r\n\r\n") == std::string::npos) {
            const ssize_t size = recv(connection, piece, sizeof piece, 0);
            if (size <= 0)
                return false;
            request.append(piece, static_cast<std::size_t>(size));
        }
        return true;
    }

    std::string takeAnswer() {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_answer, {});
    }

    house::Descriptor m_listener{house::require(socket(AF_INET, SOCK_STREAM, 0), "socket")};
    std::uint16_t m_port = 0;
    std::mutex m_mutex;
    std::string m_answer;
};

/// libcurl takes one, also of so many digits that it wraps; and -1 looks like a failed transfer.
bool mayHaveNegativeStatus(const std::string& answer) {
    constexpr std::string_view head = "HTTP/";
    constexpr std::size_t safeLength = 9;
    for (auto at = answer.find(head); at != std::string::npos; at = answer.find(head, at)) {
        at += head.size();
        const auto end = answer.find_first_not_of("0123456789. \t\v\f\r", at);
        if (end == std::string::npos || end - at > safeLength || answer[end] == '-')
            return true;
    }
    return false;
}

void checkAnswer(Server& server, const std::string& answer) {
    server.answerNext(answer);
    std::string body = "as it was";
    const long code = orv::HttpClient(false).get(server.url(), &body, false);
    VX_ASSERT(body.find('\0') == std::string::npos, answer);
    if (mayHaveNegativeStatus(answer))
        return;
    // libcurl takes status codes of more than three digits.
    VX_ASSERT(code >= -1, code, answer);
    if (code == -1)
        VX_ASSERT(body == "as it was", answer);
}

/// A piece of a body; the one without text ends it.
std::string chunk(const std::string& text) {
    std::ostringstream size;
    size << std::hex << text.size();
    return size.str() + "\r\n" + text + "\r\n";
}

/// In three pieces, if it is long enough.
void checkBody(Server& server, const std::string& content) {
    const std::size_t third = (content.size() + 2) / 3;
    std::string answer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (std::size_t begin = 0; begin < content.size(); begin += third)
        answer += chunk(content.substr(begin, third));
    server.answerNext(answer + chunk(""));
    std::string body = "as it was";
    const long code = orv::HttpClient(false).get(server.url(), &body, false);
    VX_ASSERT(code == 200, code, content);
    VX_ASSERT(body == (content.empty() ? "as it was" : fuzz::upToNul(content)), content);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    // Never destroyed, as its thread never ends.
    static Server& server = *new Server;
    const std::string input = fuzz::textOf(data, size);
    checkAnswer(server, input);
    checkBody(server, input);
    return 0;
}
