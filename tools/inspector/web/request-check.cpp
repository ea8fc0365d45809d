#include "inspector/web/request-check.h"

#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <string_view>

namespace inspector {
namespace {

namespace http = boost::beast::http;

/// Without the port, and an address of IPv6 without its brackets; empty if it is no host at all.
std::string hostOf(std::string_view header) {
    if (header.starts_with('[')) {
        const std::size_t end = header.find(']');
        return std::string(end == std::string_view::npos ? "" : header.substr(1, end - 1));
    }
    return std::string(header.substr(0, header.find(':')));
}

bool isAllowed(const std::string& host, const std::vector<std::string>& names) {
    boost::system::error_code error;
    boost::asio::ip::make_address(host, error);
    return !error || boost::beast::iequals(host, "localhost") ||
           std::any_of(names.begin(), names.end(),
                       [&](const std::string& name) { return boost::beast::iequals(host, name); });
}

/// Whether a browser says that a page of another site asks; a link may lead here from anywhere.
bool isOfPageElsewhere(const WebRequest& request, const std::string& host) {
    const auto site = request["Sec-Fetch-Site"];
    if ((site == "cross-site" || site == "same-site") && request["Sec-Fetch-Mode"] != "navigate")
        return true;
    if (request.count(http::field::origin) == 0)
        return false;
    const auto origin = request[http::field::origin];
    return request.count(http::field::origin) > 1 ||
           (origin != "http://" + host && origin != "https://" + host);
}

} // namespace

std::optional<Refusal> refusalOf(const WebRequest& request, const std::vector<std::string>& names) {
    if (request.method() != http::verb::get && request.method() != http::verb::head)
        return Refusal{http::status::method_not_allowed, "Only GET and HEAD are allowed."};
    if (request.count(http::field::host) != 1)
        return Refusal{http::status::bad_request, "There must be one header Host."};
    const std::string header(request[http::field::host]);
    if (!isAllowed(hostOf(header), names))
        return Refusal{http::status::misdirected_request,
                       "This host is unknown here; --name allows it."};
    if (isOfPageElsewhere(request, header))
        return Refusal{http::status::forbidden, "Pages from elsewhere get no answer."};
    return std::nullopt;
}

} // namespace inspector
