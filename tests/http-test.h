#pragma once

#include "http-client.h"

#include "house/local-server.h"
#include "support/log-capture.h"
#include "support/recorded-curl.h"
#include "support/sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#ifdef READER_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

/// Runs what leaks on purpose: the headers of a failed request are never freed.
template <class Function>
auto withWantedLeak(const Function& function) {
#ifdef READER_ADDRESS_SANITIZER
    const __lsan::ScopedDisabler disabler;
#endif
    return function();
}

/// Where nobody listens.
inline constexpr const char* nowhere = "http://127.0.0.1:1/x";

/// A server, and a client that makes a handle for each request.
class HttpTest : public testing::Test {
protected:
    HttpTest() { recorded_curl::reset(); }

    std::string url(const std::string& path = "/x") const { return server.url(path); }

    /// Lets the path lead to one that answers with @p body.
    void redirect(const std::string& path, const std::string& target, const std::string& body) {
        house::Answer moved = house::Answer::withStatus(302, "moved");
        moved.headers["Location"] = url(target);
        server.answerAlways(path, moved);
        server.serve(target, body);
    }

    /// What a request to a port that nobody listens on must log.
    static std::string refused(const std::string& verb, const std::string& address) {
        return "error HttpClient Request failed: " + verb + " " + address +
               ", Reason: Failed to connect to 127.0.0.1 port 1 after <ms> ms: Couldn't connect "
               "to server";
    }

    std::vector<std::string> lines() {
        static const std::regex milliseconds(R"(after \d+ (ms|milliseconds))");
        auto taken = log.take();
        for (std::string& line : taken)
            line = std::regex_replace(line, milliseconds, "after <ms> $1");
        return taken;
    }

    house::LocalServer server{0};
    LogCapture log;
    orv::HttpClient client{false};
    std::string result = "untouched";
};
