#include "inspector/web/serve-command.h"

#include "inspector/web/server.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <sstream>

namespace inspector {
namespace {

using boost::asio::ip::tcp;

std::optional<tcp::endpoint> endpointOf(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        return std::nullopt;
    std::string host = text.substr(0, colon);
    const bool hasBrackets = host.starts_with('[') && host.ends_with(']');
    if (hasBrackets)
        host = host.substr(1, host.size() - 2);
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, wrong] = std::from_chars(text.data() + colon + 1, end, port);
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(host, error);
    if (error || wrong != std::errc() || rest != end || address.is_v6() != hasBrackets)
        return std::nullopt;
    return tcp::endpoint(address, port);
}

} // namespace

bool isEndpoint(const std::string& text) {
    return endpointOf(text).has_value();
}

int runServe(const ServeOptions& options) {
    LiveHome home(present());
    Site site(home, nameOf(options.log), options.names);
    // The log comes last, so that its thread ends first.
    std::optional<LiveLog> log;
    log.emplace(options.log, home);
    Server server(*endpointOf(options.listen), home, *log, site);
    std::ostringstream address;
    address << server.endpoint();
    std::printf("Serving %s at http://%s/\n", nameOf(options.log).c_str(), address.str().c_str());
    std::fflush(stdout);
    server.run();
    return 0;
}

} // namespace inspector
