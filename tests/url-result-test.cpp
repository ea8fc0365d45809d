#include "http-client.h"

#include "support/c-calls.h"
#include "support/heap.h"
#include "support/log-capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using orv::HttpClient;
using orv::URLResult;
using testing::ElementsAre;

namespace {

std::size_t append(URLResult& body, std::string text) {
    return URLResult::appendCallback(text.data(), 1, text.size(), &body);
}

} // namespace

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

TEST(UrlResult, readsNothingBehindWhatArrives) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const pages =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char* const unreadable = static_cast<char*>(pages) + page;
    ASSERT_EQ(mprotect(unreadable, page, PROT_NONE), 0);
    URLResult body;

    EXPECT_EQ(URLResult::appendCallback(unreadable - 1, 1, 1, &body), 1);

    EXPECT_EQ(munmap(pages, 2 * page), 0);
}

TEST(UrlResult, resetForgetsTheBody) {
    URLResult body;
    append(body, "ab");

    body.reset();

    EXPECT_EQ(body.content(), nullptr);
    EXPECT_EQ(body.memory, nullptr);
    EXPECT_EQ(body.size, 0);
}

TEST(UrlResult, growsByTheBytesAskedForAndATerminator) {
    URLResult body;
    append(body, "ab");

    const char* tail = body.grow_tail(3);

    EXPECT_EQ(tail, body.memory + 2);
    EXPECT_EQ(body.size, 2);
    char* const lost = body.memory;
    const c_calls::UnobtainableSize none(6);
    ASSERT_EQ(body.grow_tail(3), nullptr);
    body.memory = lost;
}

TEST(UrlResult, hasNoContentUntilBytesHaveArrived) {
    URLResult body;

    body.grow_tail(3);

    EXPECT_NE(body.memory, nullptr);
    EXPECT_EQ(body.content(), nullptr);
    std::free(body.memory); // which the body does only if it has content
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

TEST(UrlResult, withoutMemoryForMoreWhatHadArrivedIsGone) {
    LogCapture log;
    URLResult body;
    append(body, "ab");
    char* const lost = body.memory;
    const c_calls::UnobtainableSize none(6);

    ASSERT_EQ(append(body, "cde"), static_cast<std::size_t>(-1));

    EXPECT_EQ(body.memory, nullptr);
    EXPECT_EQ(body.size, 2);
    EXPECT_EQ(body.content(), nullptr);
    EXPECT_THAT(log.take(), ElementsAre("notice System URL::appendCallback: (realloc failed)\n "));
    body.memory = lost;
}

TEST(UrlResult, leavesNothingOnTheHeap) {
    EXPECT_EQ(leftOnTheHeapBy([] {
                  URLResult body;
                  append(body, "ab");
              }),
              0);
}
