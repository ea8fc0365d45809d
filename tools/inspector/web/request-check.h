#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>

#include <optional>
#include <string>
#include <vector>

namespace inspector {

using WebRequest = boost::beast::http::request<boost::beast::http::empty_body>;

/// Why a request is not answered.
struct Refusal {
    boost::beast::http::status status;
    std::string reason;
};

/// Takes requests to read alone, and of no page of somebody else: a browser can be made to take
/// this machine for a foreign one by its name, so the host must be an address, "localhost" or one
/// of @p names.
std::optional<Refusal> refusalOf(const WebRequest& request, const std::vector<std::string>& names);

} // namespace inspector
