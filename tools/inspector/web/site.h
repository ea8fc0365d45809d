#pragma once

#include "inspector/live/live-home.h"
#include "inspector/web/request-check.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

/// An answer that several connections may share.
struct WebAnswer {
    boost::beast::http::status status = boost::beast::http::status::ok;
    std::string_view contentType;
    std::shared_ptr<const std::string> body;
    /// It doesn't end: news follow.
    bool isStream = false;
};

/// What the server says.
class Site {
public:
    Site(const LiveHome& home, std::string log, std::vector<std::string> names);

    WebAnswer answer(const WebRequest& request);
    /// The home as an event, for those that have had its course.
    std::shared_ptr<const std::string> news() const;

private:
    using Clock = std::chrono::steady_clock;

    WebAnswer page(std::string_view path) const;
    std::shared_ptr<const std::string> home();

    const LiveHome& m_home;
    std::string m_log;
    std::vector<std::string> m_names;
    /// The last text of the home, which is kept for those who ask at the same time.
    std::shared_ptr<const std::string> m_homeText;
    Clock::time_point m_homeTime;
};

/// An answer that says no.
WebAnswer answerOf(const Refusal& refusal);

} // namespace inspector
