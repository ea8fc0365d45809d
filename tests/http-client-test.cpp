#include "http-test.h"

#include "house/patience.h"
#include "support/c-calls.h"
#include "support/descriptors.h"
#include "support/heap.h"
#include "support/temporary-directory.h"

#include <array>

using house::Answer;
using orv::HttpClient;
using orv::HttpMethod;
using orv::HttpRequest;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Key;
using testing::Not;
using testing::Pair;

namespace {

class Http : public HttpTest {};

std::array<double, 5> figuresOf(const orv::HttpStatistics& x) {
    return {x.totalTime, x.sizeUpload, x.sizeDownload, x.speedUpload, x.speedDownload};
}

} // namespace

TEST_F(Http, getGivesStatusAndBody) {
    server.serve("/x", "hello");

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, "hello");
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().front().method, "GET");
    EXPECT_EQ(server.requests().front().body, "");
}

TEST(HttpResponse, hasNoStatusAtFirst) {
    EXPECT_EQ(orv::HttpResponse().code, -1);
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

TEST_F(Http, aBodyThatBeginsWithNulIsNotEmptyAndClearsTheResult) {
    server.serve("/x", std::string("\0a", 2));

    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(result, "");
}

TEST_F(Http, withoutAResultTheBodyIsReadAndDropped) {
    server.serve("/x", std::string(1U << 20U, 'x'));
    // Where libcurl writes a body that nobody takes.
    testing::internal::CaptureStdout();

    const long code = client.get(url(), nullptr, false);

    EXPECT_EQ(testing::internal::GetCapturedStdout().size(), 0);
    EXPECT_EQ(code, 200);
}

TEST_F(Http, withoutAResultTheBodyNeedsNoMemory) {
    server.serve("/x", "hello");
    const c_calls::UnobtainableSize none(6);

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

TEST_F(Http, theHeadersGoInTheOrderOfTheMap) {
    server.serve("/x", "");
    const std::unordered_map<std::string, std::string> headers = {
        {"X-One", "1"},  {"X-Two", "2"}, {"X-Three", "3"}, {"X-Four", "4"},
        {"X-Five", "5"}, {"X-Six", "6"}, {"X-Seven", "7"}, {"X-Eight", "8"}};

    client.get(url(), headers, nullptr, false);

    std::vector<std::string> sent = server.requests().front().headerNames;
    std::erase_if(sent, [](const std::string& name) { return !name.starts_with("X-"); });
    std::vector<std::string> ofMap;
    for (const auto& [name, value] : headers)
        ofMap.push_back(name);
    EXPECT_EQ(sent, ofMap);
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

TEST_F(Http, aBodyThatBreaksOffGivesMinusOneAndLeavesTheResult) {
    server.answerAlways("/x", Answer::brokenOff("part", 6));

    EXPECT_EQ(client.get(url(), &result, false), -1);

    EXPECT_EQ(result, "untouched");
    EXPECT_THAT(log.take(),
                ElementsAre("error HttpClient Request failed: GET " + url() +
                            ", Reason: transfer closed with 6 bytes remaining to read"));
}

TEST_F(Http, anAnswerBeyondTheTimeLimitGivesMinusOneAndLeavesTheResult) {
    server.serve("/x", "hello");
    server.answerAlways("/x", Answer::late(std::chrono::hours(1)));
    const auto milliseconds =
        static_cast<long>(house::Patience::limit(std::chrono::milliseconds(200)).count());
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a number and a pointer travel alike
    void* const limit = reinterpret_cast<void*>(milliseconds);
    const auto shortened =
        curl_calls::easy_setopt.replaceBy([limit](CURL* handle, CURLoption option, void* value) {
            return option == CURLOPT_TIMEOUT
                       ? curl_calls::easy_setopt.real(handle, CURLOPT_TIMEOUT_MS, limit)
                       : curl_calls::easy_setopt.real(handle, option, value);
        });

    EXPECT_EQ(client.get(url(), &result, false), -1);

    EXPECT_EQ(result, "untouched");
    EXPECT_THAT(lines(), ElementsAre("error HttpClient Request failed: GET " + url() +
                                     ", Reason: Operation timed out after <ms> milliseconds with "
                                     "0 bytes received"));
}

TEST_F(Http, aBodyThatFindsNoMemoryGivesMinusOneBehindALineOfTheOldLogger) {
    server.serve("/x", "hello");
    const c_calls::UnobtainableSize none(6);

    EXPECT_EQ(client.get(url(), &result, false), -1);

    EXPECT_EQ(result, "untouched");
    EXPECT_THAT(log.take(), ElementsAre("notice System URL::appendCallback: (realloc failed)\n ",
                                        "error HttpClient Request failed: GET " + url() +
                                            ", Reason: Failure writing output to destination"));
}

TEST_F(Http, postSendsItsData) {
    server.serve("/x", "done");

    EXPECT_EQ(client.post(url(), "a=1&b=2", &result), 200);

    EXPECT_EQ(result, "done");
    EXPECT_EQ(server.requests().front().method, "POST");
    EXPECT_EQ(server.requests().front().body, "a=1&b=2");
}

TEST_F(Http, postDataIsCutAtItsFirstNul) {
    server.serve("/x", "hello");

    EXPECT_EQ(client.post(url(), std::string("ab\0cd", 5), &result), 200);

    EXPECT_EQ(server.requests().back().body, "ab");
    EXPECT_EQ(server.requests().back().headers.at("Content-Length"), "2");
}

TEST_F(Http, postSendsHeadersAndData) {
    server.serve("/x", "");

    EXPECT_EQ(client.post(url(), {{"Content-Type", "application/json"}}, "{}", nullptr), 200);

    EXPECT_EQ(server.requests().front().headers.at("Content-Type"), "application/json");
    EXPECT_EQ(server.requests().front().body, "{}");
}

TEST_F(Http, postWithoutDataSendsAPostOfKnownLengthWithoutAType) {
    server.serve("/x", "done");

    EXPECT_EQ(client.post(url(), "", &result), 200);

    const house::Request request = server.requests().front();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, "");
    EXPECT_THAT(request.headers, Contains(Pair("Content-Length", "0")));
    EXPECT_THAT(request.headers, Not(Contains(Key("Transfer-Encoding"))));
    EXPECT_THAT(request.headers, Not(Contains(Key("Content-Type"))));
}

TEST_F(Http, aRedirectIsFollowedForGetAlone) {
    redirect("/x", "/y", "arrived");

    EXPECT_EQ(client.get(url(), &result, false), 200);
    EXPECT_EQ(result, "arrived");
    EXPECT_EQ(client.post(url(), "data", &result), 302);
    EXPECT_EQ(client.request(HttpRequest{url(), HttpMethod::DELETE, {}, ""}, &result), 302);
    EXPECT_EQ(result, "moved");
}

TEST_F(Http, anUnknownMethodIsAPlainRequestWithoutRedirects) {
    redirect("/x", "/y", "arrived");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);
    const auto unknown = static_cast<HttpMethod>(3);

    EXPECT_EQ(client.request(HttpRequest{url(), unknown, {}, "data"}, &result), 302);
    EXPECT_EQ(server.requests().back().method, "GET");
    EXPECT_EQ(server.requests().back().body, "");
    EXPECT_EQ(client.request(HttpRequest{nowhere, unknown, {}, ""}, &result), -1);

    EXPECT_THAT(lines(), ElementsAre("debug HttpClient create new handle",
                                     "debug HttpClient perform:  " + url() + " postData:data",
                                     "debug HttpClient return code: 302",
                                     "debug HttpClient create new handle",
                                     "debug HttpClient perform:  http://127.0.0.1:1/x postData:",
                                     refused("GET", nowhere)));
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

TEST_F(Http, aRequestIsAGetUnlessItSaysOtherwise) {
    server.serve("/x", "hello");
    HttpRequest request;
    request.url = url();

    EXPECT_EQ(client.request(request).content, "hello");

    EXPECT_EQ(server.requests().back().method, "GET");
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

TEST_F(Http, onlyAClientThatKeepsItsHandleKeepsItsConnection) {
    server.serve("/x", "hello");
    HttpClient keeping(true);

    for (HttpClient* used : {&client, &client, &keeping, &keeping})
        EXPECT_EQ(used->get(url(), &result, false), 200);

    std::vector<std::size_t> connections;
    for (const house::Request& request : server.requests())
        connections.push_back(request.connection);
    EXPECT_THAT(connections, ElementsAre(1, 2, 3, 3));
}

TEST_F(Http, aKeptHandleForgetsTheOptionsOfEarlierRequests) {
    redirect("/x", "/y", "arrived");
    HttpClient keeping(true);

    EXPECT_EQ(keeping.request(HttpRequest{url("/y"), HttpMethod::DELETE, {}, ""}, &result), 200);
    EXPECT_EQ(keeping.get(url("/y"), &result, false), 200);
    EXPECT_EQ(server.requests().back().method, "GET");

    // No longer follows redirects as the GET did.
    EXPECT_EQ(keeping.post(url(), "data", &result), 302);
}

TEST_F(Http, aFailedRequestEndsTheHandleOfAClientThatKeepsNone) {
    server.serve("/x", "hello");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);

    EXPECT_EQ(client.get(nowhere, &result, false), -1);
    log.take();
    EXPECT_EQ(client.get(url(), &result, false), 200);

    EXPECT_EQ(log.take().at(0), "debug HttpClient create new handle");
}

TEST_F(Http, aClientThatKeepsNoHandleGivesOptionsToLivingOnesAlone) {
    server.serve("/x", "hello");
    const auto watched = curl_calls::easy_setopt.observeBy(
        [](CURL* handle, CURLoption, void*) { EXPECT_NE(handle, nullptr); });

    EXPECT_EQ(client.get(url(), &result, false), 200);
}

TEST_F(Http, aKeptHandleDoesNotReachTheErrorBufferOfAnEndedRequest) {
    server.serve("/x", "hello");
    HttpClient keeping(true);
    std::vector<bool> buffers;
    const auto watched =
        curl_calls::easy_setopt.observeBy([&](CURL*, CURLoption option, void* value) {
            if (option == CURLOPT_ERRORBUFFER)
                buffers.push_back(value != nullptr);
        });

    EXPECT_EQ(keeping.get(url(), &result, false), 200);

    EXPECT_THAT(buffers, ElementsAre(true, false));
}

TEST(HttpClientAlone, leavesNoDescriptorBehindARequest) {
    const LogCapture log;
    const auto before = namesOfOpenDescriptors();

    {
        house::LocalServer server(0);
        EXPECT_EQ(HttpClient(false).get(server.url("/x"), nullptr, false), 404);
    }

    EXPECT_EQ(namesOfOpenDescriptors(), before);
}

// A file, as a server in this process would have memory of its own.
TEST(HttpClientAlone, leavesNothingOnTheHeapBehindARequest) {
    const LogCapture log;
    const TemporaryDirectory directory;
    const std::string url = "file://" + directory.write("body", "hello");

    EXPECT_EQ(leftOnTheHeapBy([&url] {
                  std::string result;
                  HttpClient(false).get(url, {{"X-One", "1"}}, &result, false);
                  ASSERT_EQ(result, "hello");
              }),
              0);
}

TEST_F(Http, statisticsAreZeroWithoutAHandle) {
    server.serve("/x", "hello");
    EXPECT_THAT(figuresOf(client.getStats()), Each(0.0));

    client.post(url(), "data", &result);

    EXPECT_THAT(figuresOf(client.getStats()), Each(0.0));
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

TEST_F(Http, statisticsTellUploadFromDownloadAndTheWholeTime) {
    HttpClient keeping(true);
    Answer late = Answer::late(std::chrono::milliseconds(100));
    late.body = std::string(100000, 'x');
    server.answerAlways("/x", late);

    keeping.post(url(), "data", &result);

    const orv::HttpStatistics stats = keeping.getStats();
    EXPECT_GE(stats.totalTime, 0.1);
    EXPECT_GT(stats.speedDownload, 100 * stats.speedUpload);
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
    const curl_calls::Numbers numbers;
    server.serve("/x", "");

    client.get(url(), &result, false);

    EXPECT_EQ(numbers.all().at(CURLOPT_TIMEOUT), 120);
    EXPECT_EQ(numbers.all().at(CURLOPT_TCP_KEEPALIVE), 1);
    EXPECT_EQ(numbers.all().count(CURLOPT_CONNECTTIMEOUT), 0);
}

TEST_F(Http, getAndPostAreAskedForByName) {
    curl_calls::Numbers numbers;
    server.serve("/x", "");

    client.get(url(), &result, false);
    EXPECT_EQ(numbers.all().at(CURLOPT_HTTPGET), 1);
    numbers.clear();
    client.post(url(), "data", &result);
    EXPECT_EQ(numbers.all().at(CURLOPT_POST), 1);
}

TEST_F(Http, theServersCertificateIsVerifiedUnlessToldOtherwise) {
    curl_calls::Numbers numbers;
    server.serve("/x", "");
    const HttpRequest request{url(), HttpMethod::GET, {}, ""};
    const auto expectVerification = [&](long expected, const char* of) {
        EXPECT_EQ(numbers.all().at(CURLOPT_SSL_VERIFYPEER), expected) << of;
        EXPECT_EQ(numbers.all().at(CURLOPT_SSL_VERIFYHOST), expected) << of;
        numbers.clear();
    };

    client.get(url(), &result, true);
    expectVerification(0, "insecure get");
    client.get(url(), &result, false);
    expectVerification(1, "get");
    client.post(url(), "data", &result);
    expectVerification(1, "post");
    client.request(request, &result);
    expectVerification(1, "request with a result");
    client.request(request);
    expectVerification(1, "request");
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
