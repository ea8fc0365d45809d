#include "support/recorded-curl.h"

#include <cstdarg>
#include <dlfcn.h>
#include <mutex>
#include <optional>

namespace {

std::mutex mutex;
std::map<CURLoption, long> options;
std::optional<std::chrono::milliseconds> timeLimit;
int handleCount = 0;
bool refusesHandles = false;

} // namespace

std::map<CURLoption, long> recorded_curl::numbers() {
    const std::scoped_lock lock(mutex);
    return options;
}

int recorded_curl::handles() {
    return handleCount;
}

void recorded_curl::refuseHandles() {
    refusesHandles = true;
}

void recorded_curl::replaceTimeLimit(std::chrono::milliseconds limit) {
    timeLimit = limit;
}

void recorded_curl::reset() {
    const std::scoped_lock lock(mutex);
    options.clear();
    timeLimit.reset();
    refusesHandles = false;
}

#undef curl_easy_setopt

/// Stands in for the library's function of the same name.
extern "C" CURL* curl_easy_init() {
    ++handleCount;
    if (refusesHandles)
        return nullptr;
    static const auto next =
        reinterpret_cast<decltype(&curl_easy_init)>(dlsym(RTLD_NEXT, "curl_easy_init"));
    return next();
}

/// Stands in for the library's function of the same name. A number and a pointer travel alike.
extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    // The library declares it so; an enumeration of unsigned values is not promoted in truth.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
    va_start(arguments, option);
#pragma GCC diagnostic pop
    void* value = va_arg(arguments, void*);
    va_end(arguments);
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const std::scoped_lock lock(mutex);
        options[option] = reinterpret_cast<long>(value);
    }
    using SetOption = CURLcode (*)(CURL*, CURLoption, ...);
    static const auto next = reinterpret_cast<SetOption>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
    if (option == CURLOPT_TIMEOUT && timeLimit)
        return next(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(timeLimit->count()));
    return next(handle, option, value);
}
