#include "http-client.h"

#include "house/local-server.h"
#include "support/log-capture.h"
#include "support/recorded-curl.h"
#include "support/temporary-directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <limits>
#include <regex>
#include <sstream>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using house::Answer;
using house::LocalServer;
using orv::HttpClient;
using orv::HttpMethod;
using orv::HttpRequest;
using orv::URLResult;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Runs what leaks on purpose: the headers of a failed request are never freed.
template <class Function>
auto withWantedLeak(const Function& function) {
#if defined(__SANITIZE_ADDRESS__)
    const __lsan::ScopedDisabler disabler;
#endif
    return function();
}

std::string contentOfFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

class Http : public testing::Test {
protected:
    std::string url(const std::string& path = "/x") const { return server.url(path); }

    /// What a request to a port that nobody listens on must log.
    static std::string refused(const std::string& verb, const std::string& address) {
        return "error HttpClient Request failed: " + verb + " " + address +
               ", Reason: Failed to connect to 127.0.0.1 port 1 after <ms> ms: Couldn't connect "
               "to server";
    }

    std::vector<std::string> lines() {
        static const std::regex milliseconds(R"(after \d+ ms)");
        auto taken = log.take();
        for (std::string& line : taken)
            line = std::regex_replace(line, milliseconds, "after <ms> ms");
        return taken;
    }

    LocalServer server{0};
    LogCapture log;
    HttpClient client{false};
    std::string result = "untouched";
};

constexpr const char* nowhere = "http://127.0.0.1:1/x";

} // namespace

TEST_F(Http, getGivesStatusAndBody) {
    server.serve("/x", "hello");

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, "hello");
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().front().method, "GET");
    EXPECT_EQ(server.requests().front().body, "");
}

TEST_F(Http, anErrorStatusIsASuccessOfTheClientWithItsBody) {
    server.answerAlways("/x", Answer::withStatus(500, "broken"));

    EXPECT_EQ(client.get(url(), &result, false), 500);

    EXPECT_EQ(result, "broken");
    EXPECT_EQ(client.get(url("/unknown"), &result, false), 404);
}

TEST_F(Http, anEmptyBodyLeavesTheResultAsItWas) {
    server.serve("/x", "");

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, "untouched");
}

TEST_F(Http, aBodyIsCutAtItsFirstNul) {
    server.serve("/x", std::string("ab\0cd", 5));

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, "ab");
}

TEST_F(Http, withoutAResultTheBodyIsReadAndDropped) {
    server.serve("/x", std::string(1U << 20U, 'x'));

    EXPECT_EQ(client.get(url(), nullptr, false), 200);
}

TEST_F(Http, aLargeBodyArrivesWhole) {
    const std::string body(3U << 20U, 'y');
    server.serve("/x", body);

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, body);
}

TEST_F(Http, getSendsTheHeadersOfTheMap) {
    server.serve("/x", "");

    EXPECT_EQ(client.get(url(), {{"X-One", "1"}, {"X-Two", "two"}}, nullptr, false), 200);

    const auto headers = server.requests().front().headers;
    EXPECT_EQ(headers.at("X-One"), "1");
    EXPECT_EQ(headers.at("X-Two"), "two");
}

TEST_F(Http, aConnectionRefusedGivesMinusOneAndTheReason) {
    EXPECT_EQ(client.get(nowhere, &result, false), -1);

    EXPECT_EQ(result, "untouched");
    EXPECT_THAT(lines(), ElementsAre(refused("GET", nowhere)));
}

TEST_F(Http, aFailedPostSaysPostAndAFailedDeleteSaysGet) {
    EXPECT_EQ(client.post(nowhere, "data", &result), -1);
    EXPECT_EQ(client.request(HttpRequest{nowhere, HttpMethod::DELETE, {}, ""}, &result), -1);

    EXPECT_THAT(lines(), ElementsAre(refused("POST", nowhere), refused("GET", nowhere)));
}

TEST_F(Http, aFailedRequestWithHeadersGivesMinusOne) {
    const long code = withWantedLeak([&] {
        return client.get(nowhere, {{"X-One", "1"}}, &result, false);
    });

    EXPECT_EQ(code, -1);

    EXPECT_THAT(lines(), ElementsAre(refused("GET", nowhere)));
}

TEST_F(Http, aConnectionThatIsDroppedGivesMinusOneAndLeavesTheResult) {
    server.answerAlways("/x", Answer::dropped());

    EXPECT_EQ(client.get(url(), &result, false), -1);

    EXPECT_EQ(result, "untouched");
    EXPECT_THAT(log.take(), ElementsAre("error HttpClient Request failed: GET " + url() +
                                        ", Reason: Empty reply from server"));
}

TEST_F(Http, postSendsItsData) {
    server.serve("/x", "done");

    EXPECT_EQ(client.post(url(), "a=1&b=2", &result), 200);

    EXPECT_EQ(result, "done");
    EXPECT_EQ(server.requests().front().method, "POST");
    EXPECT_EQ(server.requests().front().body, "a=1&b=2");
}

TEST_F(Http, postSendsHeadersAndData) {
    server.serve("/x", "");

    EXPECT_EQ(client.post(url(), {{"Content-Type", "application/json"}}, "{}", nullptr), 200);

    EXPECT_EQ(server.requests().front().headers.at("Content-Type"), "application/json");
    EXPECT_EQ(server.requests().front().body, "{}");
}

TEST_F(Http, postWithoutDataStillSendsAPost) {
    server.serve("/x", "done");

    EXPECT_EQ(client.post(url(), "", &result), 200);

    EXPECT_EQ(server.requests().front().method, "POST");
    EXPECT_EQ(server.requests().front().body, "");
}

TEST_F(Http, aRedirectIsFollowedForGetAlone) {
    Answer redirect = Answer::withStatus(302, "moved");
    redirect.headers["Location"] = url("/y");
    server.answerAlways("/x", redirect);
    server.serve("/y", "arrived");

    EXPECT_EQ(client.get(url(), &result, false), 200);
    EXPECT_EQ(result, "arrived");
    EXPECT_EQ(client.post(url(), "data", &result), 302);
    EXPECT_EQ(client.request(HttpRequest{url(), HttpMethod::DELETE, {}, ""}, &result), 302);
    EXPECT_EQ(result, "moved");
}

TEST_F(Http, requestSpeaksTheMethodItIsGiven) {
    server.serve("/x", "done");

    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::POST, HttpMethod::DELETE}) {
        const orv::HttpResponse response =
            client.request(HttpRequest{url(), method, {{"X-One", "1"}}, "data"});
        EXPECT_EQ(response.code, 200);
        EXPECT_EQ(response.content, "done");
    }

    std::vector<std::string> methods;
    for (const house::Request& request : server.requests()) {
        methods.push_back(request.method + " " + request.body);
        EXPECT_EQ(request.headers.at("X-One"), "1");
    }
    EXPECT_THAT(methods, ElementsAre("GET ", "POST data", "DELETE "));
}

TEST_F(Http, aFailedRequestGivesMinusOneAndNoContent) {
    const orv::HttpResponse response =
        client.request(HttpRequest{nowhere, HttpMethod::GET, {}, ""});

    EXPECT_EQ(response.code, -1);
    EXPECT_EQ(response.content, "");
    log.take();
}

TEST_F(Http, debugTellsHandleRequestAndStatusWithoutAPosition) {
    server.serve("/x", "");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);

    client.get(url(), &result, false);
    client.post(url(), "data", &result);
    client.request(HttpRequest{url(), HttpMethod::DELETE, {}, ""}, &result);

    EXPECT_THAT(
        log.take(),
        ElementsAre("debug HttpClient create new handle",
                    "debug HttpClient perform:  " + url() + " postData:",
                    "debug HttpClient return code: 200", "debug HttpClient create new handle",
                    "debug HttpClient perform: POST " + url() + " postData:data",
                    "debug HttpClient return code: 200", "debug HttpClient create new handle",
                    "debug HttpClient perform:  " + url() + " postData:",
                    "debug HttpClient return code: 200"));
}

TEST_F(Http, aClientThatKeepsItsHandleReusesIt) {
    server.serve("/x", "hello");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);
    HttpClient keeping(true);

    keeping.get(url(), &result, false);
    keeping.get(url(), &result, false);

    const auto all = log.take();
    EXPECT_EQ(all[0], "debug HttpClient create new handle");
    EXPECT_EQ(all[3], "debug HttpClient reuse handle");
}

TEST_F(Http, aKeptHandleForgetsTheOptionsOfEarlierRequests) {
    server.serve("/x", "hello");
    HttpClient keeping(true);

    EXPECT_EQ(keeping.post(url(), {{"X-One", "1"}}, "data", &result), 200);
    EXPECT_EQ(keeping.get(url(), &result, false), 200);

    EXPECT_EQ(server.requests().back().method, "GET");
    EXPECT_EQ(server.requests().back().headers.count("X-One"), 0);
}

TEST_F(Http, statisticsAreZeroWithoutAHandle) {
    server.serve("/x", "hello");
    EXPECT_EQ(client.getStats().totalTime, 0.0);

    client.get(url(), &result, false);

    EXPECT_EQ(client.getStats().totalTime, 0.0);
    EXPECT_EQ(client.getStats().sizeDownload, 0.0);
}

TEST_F(Http, statisticsOfTheLastTransferOnAKeptHandle) {
    server.serve("/x", "hello");
    HttpClient keeping(true);

    keeping.post(url(), "data", &result);

    const orv::HttpStatistics stats = keeping.getStats();
    EXPECT_GT(stats.totalTime, 0.0);
    EXPECT_EQ(stats.sizeDownload, 5.0);
    EXPECT_EQ(stats.sizeUpload, 4.0);
    EXPECT_GT(stats.speedDownload, 0.0);
    EXPECT_GT(stats.speedUpload, 0.0);
}

TEST_F(Http, downloadWritesTheBodyToTheFile) {
    const TemporaryDirectory directory;
    const std::string body("ab\0cd", 5);
    server.serve("/x", body);
    const std::string file = directory.path() / "body";
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);

    EXPECT_EQ(client.downloadFile(url(), file), 200);

    EXPECT_EQ(contentOfFile(file), body);
    EXPECT_THAT(log.take(), ElementsAre("debug HttpClient download : " + url(),
                                        "debug HttpClient return code: 200"));
}

TEST_F(Http, downloadOnAKeptHandleDoesNotReachTheEarlierRequestsBuffer) {
    const TemporaryDirectory directory;
    server.serve("/x", "hello");
    server.serve("/y", "file");
    const std::string file = directory.path() / "body";
    HttpClient keeping(true);
    keeping.get(url(), {{"X-One", "1"}}, &result, false);

    EXPECT_EQ(keeping.downloadFile(url("/y"), file), 200);

    EXPECT_EQ(contentOfFile(file), "file");
    EXPECT_EQ(result, "hello");
}

TEST_F(Http, downloadIntoAFileThatCannotBeOpenedGivesMinusOneAndLogsNothing) {
    EXPECT_EQ(client.downloadFile(url(), "/nowhere/file"), -1);

    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(Http, aFailedDownloadSaysGetAndLeavesTheFile) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() / "body";

    EXPECT_EQ(client.downloadFile(nowhere, file), -1);

    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_THAT(lines(), ElementsAre(refused("GET", nowhere)));
}

TEST_F(Http, theSimpleClientKeepsNothingBetweenCalls) {
    server.serve("/x", "hello");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);
    const auto simple = orv::makeSimpleHttpClient();

    EXPECT_EQ(simple->request(HttpRequest{url(), HttpMethod::GET, {}, ""}).content, "hello");
    EXPECT_EQ(simple->request(HttpRequest{url(), HttpMethod::GET, {}, ""}).code, 200);

    const auto all = log.take();
    EXPECT_EQ(all[0], "debug HttpClient create new handle");
    EXPECT_EQ(all[3], "debug HttpClient create new handle");
}

TEST_F(Http, aTransferHas120SecondsAndKeepsItsConnectionAlive) {
    server.serve("/x", "");

    client.get(url(), &result, false);

    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_TIMEOUT), 120);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_TCP_KEEPALIVE), 1);
    EXPECT_EQ(recorded_curl::numbers().count(CURLOPT_CONNECTTIMEOUT), 0);
}

TEST_F(Http, theServersCertificateIsVerifiedUnlessToldOtherwise) {
    server.serve("/x", "");

    client.get(url(), &result, true);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYPEER), 0);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYHOST), 0);
    client.get(url(), &result, false);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYPEER), 1);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYHOST), 1);
    client.get(url(), &result, true);
    client.post(url(), "data", &result);
    EXPECT_EQ(recorded_curl::numbers().at(CURLOPT_SSL_VERIFYPEER), 1);
}

TEST_F(Http, aDownloadHasNoTimeLimit) {
    const TemporaryDirectory directory;
    server.serve("/x", "");

    client.downloadFile(url(), directory.path() / "body");

    EXPECT_EQ(recorded_curl::numbers().count(CURLOPT_TIMEOUT), 0);
}

TEST_F(Http, theChannelStartsAtInfo) {
    EXPECT_EQ(HttpClient::vxLogChannel.name(), "HttpClient");
    EXPECT_EQ(HttpClient::vxLogChannel.severity, vx::LogSeverity::info);
}

TEST(HttpMethodValues, areThoseOfTheInterface) {
    EXPECT_EQ(static_cast<int>(HttpMethod::GET), 0);
    EXPECT_EQ(static_cast<int>(HttpMethod::POST), 1);
    EXPECT_EQ(static_cast<int>(HttpMethod::DELETE), 2);
}

TEST(WriteCallbackMute, takesAllBytes) {
    EXPECT_EQ(HttpClient::writeCallbackMute(nullptr, 3, 5, nullptr), 15);
}

TEST(UrlResult, isEmptyAtFirst) {
    const URLResult body;

    EXPECT_EQ(body.content(), nullptr);
    EXPECT_EQ(body.size, 0);
}

TEST(UrlResult, appendsExactlyWhatArrivesAndTerminatesIt) {
    URLResult body;
    std::string first = "ab";
    std::string second = "cde";

    EXPECT_EQ(URLResult::appendCallback(first.data(), 1, 2, &body), 2);
    EXPECT_EQ(URLResult::appendCallback(second.data(), 3, 1, &body), 3);

    EXPECT_STREQ(body.content(), "abcde");
    EXPECT_EQ(body.size, 5);
}

TEST(UrlResult, resetForgetsTheBody) {
    URLResult body;
    std::string text = "ab";
    URLResult::appendCallback(text.data(), 1, 2, &body);

    body.reset();

    EXPECT_EQ(body.content(), nullptr);
    EXPECT_EQ(body.memory, nullptr);
    EXPECT_EQ(body.size, 0);
}

TEST(UrlResult, growsByTheBytesAskedForAndATerminator) {
    URLResult body;
    std::string text = "ab";
    URLResult::appendCallback(text.data(), 1, 2, &body);

    const char* tail = body.grow_tail(3);

    EXPECT_EQ(tail, body.memory + 2);
    EXPECT_EQ(body.size, 2);
}

TEST(UrlResult, withoutMemoryTheTransferEndsWithALineOfTheOldLogger) {
    LogCapture log;
    URLResult body;
    std::string text = "ab";

    EXPECT_EQ(URLResult::appendCallback(text.data(), std::numeric_limits<std::size_t>::max() / 2, 1,
                                        &body),
              static_cast<std::size_t>(-1));

    EXPECT_EQ(body.memory, nullptr);
    EXPECT_THAT(log.take(), ElementsAre("notice System URL::appendCallback: (realloc failed)\n "));
}
