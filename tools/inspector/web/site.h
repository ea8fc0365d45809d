#pragma once

#include "inspector/live/live-home.h"
#include "inspector/web/request-check.h"

#include <chrono>
#include <functional>
#include <map>
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
    std::shared_ptr<const std::string> news();

private:
    using Clock = std::chrono::steady_clock;
    using Text = std::shared_ptr<const std::string>;

    /// A text that is kept for those who ask at the same time.
    struct KeptText {
        Text text = nullptr;
        Clock::time_point time = {};
    };

    WebAnswer page(std::string_view path) const;
    Text homeText(bool withCourse) const;
    static Text recent(KeptText& kept, const std::function<Text()>& make);

    const LiveHome& m_home;
    std::string m_log;
    std::vector<std::string> m_names;
    /// By their paths.
    std::map<std::string_view, WebAnswer> m_pages;
    KeptText m_course;
    KeptText m_news;
};

/// An answer that says no.
WebAnswer answerOf(const Refusal& refusal);

} // namespace inspector
