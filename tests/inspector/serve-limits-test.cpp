#include "served-home.h"

#include "house/patience.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <memory>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

using ServeLimitsTest = ServedHome;

/// What the system keeps at most for the other end of each connection to the program.
std::string buffersOfConnections() {
    const std::unique_ptr<FILE, int (*)(FILE*)> sockets(
        popen("ss --tcp --memory --numeric --no-header 'sport = :8090'", "r"), pclose);
    std::string text;
    for (int c = std::fgetc(sockets.get()); c != EOF; c = std::fgetc(sockets.get()))
        text += static_cast<char>(c);
    return text;
}

constexpr const char* shortValues = R"(,"powerConsumed":1500.5,"energyConsumed":3600000.0)";

} // namespace

TEST_F(ServeLimitsTest, answersToReadAlone) {
    start();

    for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH"}) {
        const HttpAnswer answer = exchange(method + " / HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_THAT(answer.head, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
    }
    const HttpAnswer head = exchange("HEAD / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(head.status, 200);
    EXPECT_THAT(head.head, HasSubstr("\r\nContent-Length: "));
}

TEST_F(ServeLimitsTest, answersUnderItsOwnNamesAlone) {
    start({"--name", "controller.example"});
    const auto statusFor = [](const std::string& host) {
        return exchange("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n").status;
    };

    for (const std::string host : {"localhost:8090", "127.0.0.1", "192.0.2.7:80", "[::1]:8090",
                                   "LOCALHOST", "controller.example:8090"})
        EXPECT_EQ(statusFor(host), 200) << host;
    for (const std::string host : {"evil.example:8090", "127.0.0.1.evil.example", "", "[::1"})
        EXPECT_EQ(statusFor(host), 421) << host;
    EXPECT_EQ(exchange("GET / HTTP/1.1\r\n\r\n").status, 400);
    EXPECT_EQ(exchange("GET / HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n").status, 400);
}

TEST_F(ServeLimitsTest, answersNoPageFromElsewhere) {
    start();

    EXPECT_EQ(get("/api/v1/home", "Origin: http://127.0.0.1:8090\r\n").status, 200);
    EXPECT_EQ(get("/api/v1/home", "Sec-Fetch-Site: same-origin\r\n").status, 200);
    EXPECT_EQ(get("/api/v1/home", "Sec-Fetch-Site: none\r\n").status, 200);
    for (const std::string site : {"cross-site", "same-site"})
        EXPECT_EQ(get("/api/v1/home", "Sec-Fetch-Site: " + site + "\r\n").status, 403) << site;
    for (const std::string origin : {"http://evil.example", "null", "http://127.0.0.1:80"})
        EXPECT_EQ(get("/api/v1/home", "Origin: " + origin + "\r\n").status, 403) << origin;
}

TEST_F(ServeLimitsTest, isOpenedByALinkFromElsewhere) {
    start();

    EXPECT_EQ(get("/", "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Mode: navigate\r\n").status, 200);
}

TEST_F(ServeLimitsTest, takesNoLongHeadAndNoBody) {
    start();

    EXPECT_EQ(get("/", "X: " + std::string(9000, 'x') + "\r\n").status, 431);
    EXPECT_EQ(get("/", "Content-Length: 1\r\n").status, 413);
    EXPECT_EQ(exchange("nonsense\r\n\r\n").status, 400);
    EXPECT_EQ(get("/").status, 200);
}

TEST_F(ServeLimitsTest, answersSeveralRequestsOfOneConnection) {
    start();
    Client client;

    for (int i = 0; i < 3; ++i) {
        client.send("GET /icon.svg HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_EQ(client.readAnswer().status, 200);
    }
}

TEST_F(ServeLimitsTest, dropsWhoTakesNoNews) {
    // Names make the news long.
    for (int i = 1; i <= 200; ++i)
        poll(i, shortValues);
    tick();
    start();
    awaitHome(R"("slaveAddress":200)");
    Client slow;
    slow.keepLittle();
    slow.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    Client prompt;
    prompt.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");

    const auto begin = std::chrono::steady_clock::now();
    bool isDropped = false;
    while (!isDropped && std::chrono::steady_clock::now() - begin < std::chrono::seconds{30}) {
        poll(1, shortValues);
        tick();
        prompt.readUntil("\n\n");
        pollfd wait{slow.socket().native_handle(), POLLRDHUP, 0};
        isDropped = ::poll(&wait, 1, 0) == 1;
    }

    EXPECT_TRUE(isDropped);
    poll(1, shortValues);
    tick();
    EXPECT_THAT(prompt.readUntil("\n\n"), HasSubstr("event: home"));
}

TEST_F(ServeLimitsTest, leavesRoomForOthersBesideStreams) {
    // 64 connections, of which 32 may be streams.
    startWithDescriptors(96);
    const std::string events = "GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n";
    std::vector<std::unique_ptr<Client>> clients;
    const auto open = [&](std::size_t number, const std::string& request) {
        for (std::size_t i = 0; i < number; ++i) {
            clients.push_back(std::make_unique<Client>());
            clients.back()->send(request);
        }
        return clients.back()->readUntil("\r\n");
    };
    const std::string icon = "GET /icon.svg HTTP/1.1\r\nHost: localhost\r\n\r\n";

    EXPECT_EQ(open(32, events), "HTTP/1.1 200 OK");
    EXPECT_EQ(open(1, events), "HTTP/1.1 503 Service Unavailable");
    clients.back()->waitForEnd();
    EXPECT_EQ(open(32, icon), "HTTP/1.1 200 OK");
    EXPECT_EQ(open(1, icon), "HTTP/1.1 503 Service Unavailable");
    clients.clear();
    // Room comes back.
    const auto limit = std::chrono::steady_clock::now() + house::Patience::limit();
    while (open(1, icon) != "HTTP/1.1 200 OK")
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
}

TEST_F(ServeLimitsTest, letsTheSystemKeepLittleOfAConnection) {
    start();
    Client client;
    client.send("GET /icon.svg HTTP/1.1\r\nHost: localhost\r\n\r\n");
    client.readAnswer();

    const std::string buffers = buffersOfConnections();
    EXPECT_THAT(buffers, HasSubstr(",rb32768,"));
    EXPECT_THAT(buffers, HasSubstr(",tb65536,"));
}

TEST_F(ServeLimitsTest, answersWholeToWhoSaysNoMore) {
    start();
    Client client;
    client.keepLittle();
    client.send("GET /dygraph.js HTTP/1.1\r\nHost: localhost\r\n\r\n");
    client.socket().shutdown(boost::asio::socket_base::shutdown_send);

    EXPECT_GT(client.readAnswer().body.size(), 100000U);
}

TEST_F(ServeLimitsTest, endsAConnectionThatIsIdle) {
    start();
    Client client;

    EXPECT_TRUE(client.waitForEnd(std::chrono::seconds{60}));
}

TEST_F(ServeLimitsTest, tellsTheLastFailuresOfThousands) {
    for (int i = 0; i < 700; ++i)
        failure("words " + std::to_string(i), 700 - i);
    tick();
    start();

    const std::string home = awaitHome(R"("failuresLeftOut":200)");
    EXPECT_THAT(home, HasSubstr("words 699"));
    EXPECT_THAT(home, Not(HasSubstr("words 199")));
}
