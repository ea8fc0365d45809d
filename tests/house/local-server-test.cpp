#include "house/local-server.h"
#include "http-exchange.h"
#include "self-replacing-callback.h"
#include "support/thrown-by.h"

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using namespace house;
using namespace std::chrono_literals;

TEST(LocalServer, answersTheBodyOfThePath) {
    LocalServer server(0);
    server.serve("/a", "{\"data\":[]}");

    const std::string answer = get(server, "/a");

    EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << answer;
    EXPECT_TRUE(answer.ends_with("\r\n\r\n{\"data\":[]}")) << answer;
}

TEST(LocalServer, unknownPathAnswers404) {
    const LocalServer server(0);

    EXPECT_TRUE(get(server, "/nowhere").starts_with("HTTP/1.1 404 Not Found\r\n"));
}

TEST(LocalServer, answersAnotherStatusOnceAndThenTheRegularBody) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerNext("/a", Answer::withStatus(500, "bad"));

    EXPECT_TRUE(get(server, "/a").starts_with("HTTP/1.1 500 "));
    EXPECT_TRUE(get(server, "/a").ends_with("good"));
}

TEST(LocalServer, answersAnotherBodyForGoodUntilItRecovers) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerAlways("/a", Answer::withBody("other"));
    EXPECT_TRUE(get(server, "/a").ends_with("other"));
    EXPECT_TRUE(get(server, "/a").ends_with("other"));

    server.recover("/a");

    EXPECT_TRUE(get(server, "/a").ends_with("good"));
}

TEST(LocalServer, answersLate) {
    LocalServer server(0);
    server.serve("/a", "good");
    server.answerNext("/a", Answer::late(150ms));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(get(server, "/a").ends_with("good"));

    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
}

TEST(LocalServer, dropsTheConnection) {
    LocalServer server(0);
    server.answerNext("/a", Answer::dropped());

    EXPECT_EQ(get(server, "/a"), "");
    EXPECT_EQ(server.requestCount("/a"), 1U);
}

TEST(LocalServer, endsWhileAnAnswerIsHeldBack) {
    auto server = std::make_unique<LocalServer>(0);
    server->answerAlways("/a", Answer::late(1h));
    std::string answer = "none yet";
    std::thread client(
        [&answer, port = server->port()] { answer = exchange(port, "GET /a HTTP/1.1\r\n\r\n"); });
    EXPECT_TRUE(server->waitForRequests("/a", 1));

    server.reset();

    client.join();
    EXPECT_EQ(answer, "");
}

TEST(LocalServer, recordsRequests) {
    LocalServer server(0);
    exchange(server.port(), "POST /b HTTP/1.1\r\nX-Colour: blue\r\nContent-Length: 4\r\n"
                            "Connection: close\r\n\r\nwxyz");
    get(server, "/a");

    const std::vector<Request> requests = server.requests();

    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/b");
    EXPECT_EQ(requests[0].headers.at("X-Colour"), "blue");
    EXPECT_EQ(requests[0].body, "wxyz");
    EXPECT_EQ(server.requestCount("/a"), 1U);
}

TEST(LocalServer, keepsAConnectionOpenWhenAsked) {
    LocalServer server(0);
    server.serve("/a", "good");

    const std::string answers =
        exchange(server.port(), "GET /a HTTP/1.1\r\n\r\n"
                                "GET /a HTTP/1.1\r\nConnection: close\r\n\r\n");

    EXPECT_EQ(server.requestCount("/a"), 2U);
    EXPECT_NE(answers.find("good", answers.find("good") + 1), std::string::npos);
}

TEST(LocalServer, aCallbackMayReplaceItselfWhileItRuns) {
    SelfReplacingCallback callback;
    LocalServer server(0);
    server.whenRequested(callback.with([&server] { server.whenRequested([](const Request&) {}); }));

    get(server, "/a");

    EXPECT_TRUE(callback.outlivedItsReplacement());
}

TEST(LocalServer, aPortInUseIsNamed) {
    const LocalServer server(0);

    EXPECT_EQ(thrownBy([&] { LocalServer{server.port()}; }),
              "127.0.0.1:" + std::to_string(server.port()) + ": Address already in use");
}
