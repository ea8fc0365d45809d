// A library to preload into the real executable: the time limit of an HTTP transfer, which the
// executable gives in seconds, passes a hundred times as fast.

#include <cstdarg>
#include <dlfcn.h>

#define CURL_DISABLE_TYPECHECK
#include <curl/curl.h>

extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    constexpr long millisecondsPerSecond = 10;
    using Real = CURLcode (*)(CURL*, CURLoption, ...);
    const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
    va_list arguments;
    // The library declares it so; an enumeration of unsigned values is not promoted in truth.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
    va_start(arguments, option);
#pragma GCC diagnostic pop
    void* value = va_arg(arguments, void*);
    va_end(arguments);
    if (option == CURLOPT_TIMEOUT)
        return real(handle, CURLOPT_TIMEOUT_MS,
                    reinterpret_cast<long>(value) * millisecondsPerSecond);
    return real(handle, option, value);
}
