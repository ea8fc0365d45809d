#pragma once

#include "http-client.h"

#include "house/local-server.h"
#include "support/curl-calls.h"
#include "support/lines.h"
#include "support/log-capture.h"
#include "support/sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
        auto taken = log.take();
        std::transform(taken.begin(), taken.end(), taken.begin(), withoutRunningValues);
        return taken;
    }

    house::LocalServer server{0};
    LogCapture log;
    orv::HttpClient client{false};
    std::string result = "untouched";
};
