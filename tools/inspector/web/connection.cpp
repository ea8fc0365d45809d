#include "inspector/web/connection.h"

#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/span.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/write.hpp>

#include <optional>
#include <utility>

namespace inspector {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;

constexpr std::size_t longestHead = 8192;
constexpr std::chrono::seconds longestIdle{30};
constexpr std::chrono::seconds longestAnswer{30};

/// What is wrong with a request that could not be read; nothing if there is nobody to tell it to.
std::optional<Refusal> refusalOf(error_code error) {
    if (error == http::error::header_limit || error == http::error::buffer_overflow)
        return Refusal{http::status::request_header_fields_too_large, "The head is too long."};
    if (error == http::error::body_limit || error == http::error::unexpected_body)
        return Refusal{http::status::payload_too_large, "A request has no body here."};
    const bool isOfHttp = error.category() == make_error_code(http::error::bad_method).category();
    if (!isOfHttp || error == http::error::end_of_stream || error == http::error::partial_message)
        return std::nullopt;
    return Refusal{http::status::bad_request, "This is no request of HTTP/1.1."};
}

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot, Site& site,
               EventStreams& streams, ConnectionSlots& streamSlots)
        : m_stream(std::move(socket)),
          m_slot(std::move(slot)),
          m_site(site),
          m_streams(streams),
          m_streamSlots(streamSlots) {
        // Of who takes nothing the system would else keep what was not taken, and go on offering
        // it.
        linger(false);
    }

    void read() {
        m_parser.emplace();
        m_parser->header_limit(longestHead);
        m_parser->body_limit(0);
        m_stream.expires_after(longestIdle);
        http::async_read(
            m_stream, m_buffer, *m_parser,
            [self = shared_from_this()](error_code error, std::size_t) { self->take(error); });
    }

private:
    void take(error_code error) {
        if (error) {
            if (const auto refusal = refusalOf(error))
                write(answerOf(*refusal), false, false);
            else if (error == http::error::end_of_stream)
                close();
            return;
        }
        const WebRequest& request = m_parser->get();
        WebAnswer answer = m_site.answer(request);
        const bool isHead = request.method() == http::verb::head;
        const bool keepsAlive = request.keep_alive() && !answer.isStream;
        if (!answer.isStream || isHead)
            write(std::move(answer), keepsAlive, isHead);
        else if (ConnectionSlots::Slot slot = m_streamSlots.take())
            stream(answer, std::move(slot));
        else
            write(answerOf({http::status::service_unavailable, "There are too many streams."}),
                  false, false);
    }

    template <class Body>
    static void setHead(http::response<Body>& response, const WebAnswer& answer) {
        response.set(http::field::server, "modbus-inspector");
        response.set(http::field::content_type,
                     boost::string_view(answer.contentType.data(), answer.contentType.size()));
        response.set(http::field::cache_control, "no-store");
        // Nothing comes from elsewhere, and nothing goes there.
        response.set("Content-Security-Policy",
                     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                     "connect-src 'self'; base-uri 'none'; form-action 'none'; "
                     "frame-ancestors 'none'");
        response.set("Cross-Origin-Resource-Policy", "same-origin");
        response.set("Referrer-Policy", "no-referrer");
        response.set("X-Content-Type-Options", "nosniff");
        if (answer.status == http::status::method_not_allowed)
            response.set(http::field::allow, "GET, HEAD");
    }

    void write(WebAnswer answer, bool keepAlive, bool isHead) {
        m_answer = std::move(answer);
        const auto send = [this](auto response, bool goesOn) {
            m_stream.expires_after(longestAnswer);
            const auto kept = std::make_shared<decltype(response)>(std::move(response));
            http::async_write(
                m_stream, *kept,
                [self = shared_from_this(), kept, goesOn](error_code error, std::size_t) {
                    if (!error && goesOn)
                        self->read();
                    else if (!error)
                        self->close();
                });
        };
        const auto prepare = [&](auto& response) {
            setHead(response, m_answer);
            response.keep_alive(keepAlive);
            if (!m_answer.isStream)
                response.content_length(m_answer.body->size());
        };
        if (isHead) {
            http::response<http::empty_body> response(m_answer.status, 11);
            prepare(response);
            send(std::move(response), keepAlive);
            return;
        }
        http::response<http::span_body<const char>> response(m_answer.status, 11);
        response.body() = {m_answer.body->data(), m_answer.body->size()};
        prepare(response);
        send(std::move(response), keepAlive);
    }

    /// Says that news follow, and leaves the connection to those who send them.
    void stream(const WebAnswer& answer, ConnectionSlots::Slot slot) {
        http::response<http::empty_body> response(answer.status, 11);
        setHead(response, answer);
        response.keep_alive(false);
        std::ostringstream text;
        text << response.base() << *answer.body;
        m_stream.expires_never();
        m_streams.add(m_stream.release_socket(),
                      std::make_shared<std::pair<ConnectionSlots::Slot, ConnectionSlots::Slot>>(
                          m_slot, std::move(slot)),
                      std::make_shared<const std::string>(text.str()));
    }

    /// Whether what is written is still sent once the connection is closed.
    void linger(bool isWanted) {
        error_code ignored;
        m_stream.socket().set_option(boost::asio::socket_base::linger(!isWanted, 0), ignored);
    }

    void close() {
        linger(true);
        error_code ignored;
        m_stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
    }

    beast::tcp_stream m_stream;
    ConnectionSlots::Slot m_slot;
    Site& m_site;
    EventStreams& m_streams;
    ConnectionSlots& m_streamSlots;
    beast::flat_buffer m_buffer{2 * longestHead};
    std::optional<http::request_parser<http::empty_body>> m_parser;
    /// Holds the body while it is written.
    WebAnswer m_answer;
};

} // namespace

void serveConnection(boost::asio::ip::tcp::socket socket, ConnectionSlots::Slot slot, Site& site,
                     EventStreams& streams, ConnectionSlots& streamSlots) {
    std::make_shared<Connection>(std::move(socket), std::move(slot), site, streams, streamSlots)
        ->read();
}

} // namespace inspector
