#pragma once

#include <curl/curl.h>

#include <map>

/// The numbers that this process gave to `curl_easy_setopt`, the last one of each option. The
/// calls go on to the library.
namespace recorded_curl {

const std::map<CURLoption, long>& numbers();

} // namespace recorded_curl
