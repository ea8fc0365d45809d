#include "http-test.h"

#include "support/temporary-directory.h"

using house::Answer;
using orv::HttpClient;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class HttpDownload : public HttpTest {
protected:
    TemporaryDirectory directory;
    std::string file = directory.path() / "body";
    HttpClient keeping{true};
};

} // namespace

TEST_F(HttpDownload, writesTheBodyToTheFile) {
    const std::string body("ab\0cd", 5);
    server.serve("/x", body);
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);

    EXPECT_EQ(client.downloadFile(url(), file), 200);

    EXPECT_EQ(contentOf(file), body);
    EXPECT_THAT(log.take(), ElementsAre("debug HttpClient download : " + url(),
                                        "debug HttpClient return code: 200"));
}

TEST_F(HttpDownload, replacesALongerFile) {
    server.serve("/x", "new");
    directory.write("body", "older and longer");

    EXPECT_EQ(client.downloadFile(url(), file), 200);

    EXPECT_EQ(contentOf(file), "new");
}

TEST_F(HttpDownload, onAKeptHandleDoesNotReachTheEarlierRequestsBuffer) {
    server.serve("/x", "hello");
    server.serve("/y", "file");
    keeping.get(url(), {{"X-One", "1"}}, &result, false);

    EXPECT_EQ(keeping.downloadFile(url("/y"), file), 200);

    EXPECT_EQ(contentOf(file), "file");
    EXPECT_EQ(result, "hello");
}

TEST_F(HttpDownload, intoAFileThatCannotBeOpenedGivesMinusOneAndLogsNothing) {
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);

    EXPECT_EQ(client.downloadFile(url(), "/nowhere/file"), -1);

    EXPECT_THAT(server.requests(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(HttpDownload, doesNotFollowARedirect) {
    redirect("/x", "/y", "arrived");

    EXPECT_EQ(client.downloadFile(url(), file), 302);

    EXPECT_EQ(contentOf(file), "moved");
}

TEST_F(HttpDownload, onAKeptHandleFollowsARedirectIfTheEarlierRequestDid) {
    redirect("/x", "/y", "arrived");
    EXPECT_EQ(keeping.get(url("/y"), &result, false), 200);

    EXPECT_EQ(keeping.downloadFile(url(), file), 200);

    EXPECT_EQ(contentOf(file), "arrived");
}

TEST_F(HttpDownload, isAGetAlsoAfterAPostOnAKeptHandle) {
    server.serve("/x", "hello");
    EXPECT_EQ(keeping.post(url(), "data", &result), 200);

    EXPECT_EQ(keeping.downloadFile(url(), file), 200);

    EXPECT_EQ(server.requests().back().method, "GET");
    EXPECT_EQ(server.requests().back().body, "");
}

TEST_F(HttpDownload, isADeleteAfterADeleteOnAKeptHandle) {
    server.serve("/x", "hello");
    EXPECT_EQ(keeping.request({url(), orv::HttpMethod::DELETE, {}, {}}, &result), 200);

    EXPECT_EQ(keeping.downloadFile(url(), file), 200);

    EXPECT_EQ(server.requests().back().method, "DELETE");
    EXPECT_EQ(contentOf(file), "hello");
}

TEST_F(HttpDownload, sendsTheHeadersOfAFailedRequestOnAKeptHandleButNotThoseOfASuccessfulOne) {
    server.serve("/x", "hello");
    withWantedLeak([&] { return keeping.get(nowhere, {{"X-One", "1"}}, &result, false); });
    EXPECT_THAT(lines(), ElementsAre(refused("GET", nowhere)));

    EXPECT_EQ(keeping.downloadFile(url(), file), 200);
    EXPECT_EQ(server.requests().back().headers.count("X-One"), 1);
    EXPECT_EQ(keeping.get(url(), {{"X-One", "1"}}, &result, false), 200);
    EXPECT_EQ(keeping.downloadFile(url(), file), 200);
    EXPECT_EQ(server.requests().back().headers.count("X-One"), 0);
}

TEST_F(HttpDownload, keepsItsHandleForTheNextRequestOnOrderOnly) {
    server.serve("/x", "hello");
    const ChannelSeverity debug("HttpClient", vx::LogSeverity::debug);
    const auto firstLineOfNextRequest = [&](HttpClient& used) {
        log.take();
        used.get(url(), &result, false);
        return log.take().at(0);
    };

    for (const std::string& target : {file, std::string("/nowhere/file")}) {
        HttpClient fresh(false);
        fresh.downloadFile(url(), target);
        EXPECT_EQ(firstLineOfNextRequest(fresh), "debug HttpClient create new handle") << target;
        HttpClient kept(true);
        kept.downloadFile(url(), target);
        EXPECT_EQ(firstLineOfNextRequest(kept), "debug HttpClient reuse handle") << target;
    }
}

TEST_F(HttpDownload, brokenOffLeavesWhatHasComeInTheFile) {
    server.answerAlways("/x", Answer::brokenOff("part", 6));

    EXPECT_EQ(client.downloadFile(url(), file), -1);

    EXPECT_EQ(contentOf(file), "part");
    EXPECT_THAT(lines(), ElementsAre("error HttpClient Request failed: GET " + url() +
                                     ", Reason: transfer closed with 6 bytes remaining to read"));
}

TEST_F(HttpDownload, aFailedOneSaysGetAndLeavesTheFile) {

    EXPECT_EQ(client.downloadFile(nowhere, file), -1);

    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_THAT(lines(), ElementsAre(refused("GET", nowhere)));
}

TEST_F(HttpDownload, hasNoTimeLimit) {
    const curl_calls::Numbers numbers;
    server.serve("/x", "");

    client.downloadFile(url(), file);

    EXPECT_EQ(numbers.all().count(CURLOPT_TIMEOUT), 0);
}
