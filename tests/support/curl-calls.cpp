#include "support/curl-calls.h"

#include <cstdarg>

#undef curl_easy_setopt

extern "C" {
CURL* __real_curl_easy_init();
CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);
}

namespace curl_calls {
namespace {

CURLcode realSetopt(CURL* handle, CURLoption option, void* value) {
    return __real_curl_easy_setopt(handle, option, value);
}

} // namespace

constinit decltype(easy_init) easy_init(__real_curl_easy_init);
constinit decltype(easy_setopt) easy_setopt(realSetopt);

Numbers::Numbers()
    : m_scope(easy_setopt.replaceBy([this](CURL* handle, CURLoption option, void* value) {
          return keep(handle, option, value);
      })) {}

CURLcode Numbers::keep(CURL* handle, CURLoption option, void* value) {
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const std::scoped_lock lock(m_mutex);
        m_numbers[option] = reinterpret_cast<long>(value);
    }
    return easy_setopt.real(handle, option, value);
}

std::map<CURLoption, long> Numbers::all() const {
    const std::scoped_lock lock(m_mutex);
    return m_numbers;
}

void Numbers::clear() {
    const std::scoped_lock lock(m_mutex);
    m_numbers.clear();
}

} // namespace curl_calls

extern "C" {

CURL* __wrap_curl_easy_init() {
    return curl_calls::easy_init();
}

CURLcode __wrap_curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    // The library declares it so; an enumeration of unsigned values is not promoted in truth.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
    va_start(arguments, option);
#pragma GCC diagnostic pop
    void* value = va_arg(arguments, void*);
    va_end(arguments);
    return curl_calls::easy_setopt(handle, option, value);
}
}
