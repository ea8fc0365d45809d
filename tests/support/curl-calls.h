#pragma once

#include "support/stand-in.h"

#include <curl/curl.h>

#include <map>
#include <mutex>

/// Functions of libcurl, under their own names.
namespace curl_calls {

extern StandIn<CURL*()> easy_init;
/// A number and a pointer travel alike.
extern StandIn<CURLcode(CURL* handle, CURLoption option, void* value)> easy_setopt;

/// Keeps the numbers that are given to `curl_easy_setopt` in its scope, the last one of each
/// option.
class Numbers {
public:
    Numbers();

    /// May be asked from any thread.
    std::map<CURLoption, long> all() const;
    void clear();

private:
    CURLcode keep(CURL* handle, CURLoption option, void* value);

    mutable std::mutex m_mutex;
    std::map<CURLoption, long> m_numbers;
    decltype(easy_setopt)::Scope m_scope;
};

} // namespace curl_calls
