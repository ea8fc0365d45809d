#pragma once

#include "inspector/live/live-home.h"
#include "inspector/web/kept-text.h"
#include "inspector/web/request-check.h"

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
    WebAnswer page(std::string_view path) const;
    WebAnswer metrics(bool isOpen);
    std::string homeText(bool withCourse) const;
    std::string newsText() const;

    const LiveHome& m_home;
    std::string m_log;
    std::vector<std::string> m_names;
    /// By their paths.
    std::map<std::string_view, WebAnswer> m_pages;
    KeptText m_course;
    KeptText m_news;
    KeptText m_metrics;
    KeptText m_openMetrics;
};

/// An answer that says no.
WebAnswer answerOf(const Refusal& refusal);

} // namespace inspector
