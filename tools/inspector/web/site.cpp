#include "inspector/web/site.h"

#include "inspector/web/home-json.h"
#include "inspector/web/metrics.h"
#include "inspector/web/page/page-texts.h"

#include <array>
#include <chrono>
#include <utility>

namespace inspector {
namespace {

namespace http = boost::beast::http;

struct Part {
    std::string_view path;
    std::string_view contentType;
    const std::string_view& text;
};

const std::array<Part, 6> parts = {{
    {"/", "text/html; charset=utf-8", pageHtml},
    {"/page.css", "text/css; charset=utf-8", pageCss},
    {"/page.js", "text/javascript; charset=utf-8", pageJs},
    {"/icon.svg", "image/svg+xml", pageIcon},
    {"/dygraph.js", "text/javascript; charset=utf-8", dygraphJs},
    {"/dygraph.css", "text/css; charset=utf-8", dygraphCss},
}};

std::shared_ptr<const std::string> shared(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

KeptText newKeptText() {
    return KeptText(std::chrono::milliseconds{250}, std::size_t{16} << 20);
}

bool wantsOpenMetrics(const WebRequest& request) {
    const auto accept = request[http::field::accept];
    return accept.find("application/openmetrics-text") != boost::beast::string_view::npos;
}

} // namespace

Site::Site(const LiveHome& home, std::string log, std::vector<std::string> names)
    : m_home(home),
      m_log(std::move(log)),
      m_names(std::move(names)),
      m_course(newKeptText()),
      m_news(newKeptText()),
      m_metrics(newKeptText()),
      m_openMetrics(newKeptText()) {
    for (const Part& part : parts)
        m_pages.emplace(part.path, WebAnswer{http::status::ok, part.contentType,
                                             shared(std::string(part.text))});
}

WebAnswer Site::answer(const WebRequest& request) {
    if (const auto refusal = refusalOf(request, m_names))
        return answerOf(*refusal);
    std::string_view path(request.target().data(), request.target().size());
    path = path.substr(0, path.find('?'));
    if (path == "/api/v1/home")
        return {http::status::ok, "application/json",
                m_course.recent([this] { return homeText(true); })};
    // Who listens from now on gets whatever is newer than these.
    if (path == "/api/v1/events")
        return {http::status::ok, "text/event-stream", m_news.recent([this] { return newsText(); }),
                true};
    return path == "/metrics" ? metrics(wantsOpenMetrics(request)) : page(path);
}

WebAnswer Site::metrics(bool isOpen) {
    const auto write = [&] {
        return m_home.look(present(), [&](const HomeView& view) {
            return metricsOf(view,
                             isOpen ? Exposition::Format::openMetrics : Exposition::Format::plain);
        });
    };
    if (isOpen)
        return {http::status::ok, "application/openmetrics-text; version=1.0.0; charset=utf-8",
                m_openMetrics.recent(write)};
    return {http::status::ok, "text/plain; version=0.0.4; charset=utf-8", m_metrics.recent(write)};
}

WebAnswer Site::page(std::string_view path) const {
    const auto found = m_pages.find(path);
    return found != m_pages.end() ? found->second
                                  : answerOf({http::status::not_found, "There is nothing here."});
}

std::string Site::homeText(bool withCourse) const {
    return m_home.look(present(),
                       [&](const HomeView& view) { return homeJson(view, m_log, withCourse); });
}

std::string Site::newsText() const {
    return "event: home\ndata: " + homeText(false) + "\n\n";
}

std::shared_ptr<const std::string> Site::news() {
    return m_news.renewed([this] { return newsText(); });
}

WebAnswer answerOf(const Refusal& refusal) {
    return {refusal.status, "text/plain; charset=utf-8", shared(refusal.reason + "\n")};
}

} // namespace inspector
