#include "support/recorded-sleep.h"

#include <dlfcn.h>
#include <utility>

namespace {

std::function<void(unsigned)> observer;

} // namespace

recorded_sleep::Observer::Observer(std::function<void(unsigned)> callback) {
    observer = std::move(callback);
}

recorded_sleep::Observer::~Observer() {
    observer = nullptr;
}

/// Stands in for the C library's function of the same name.
extern "C" unsigned sleep(unsigned seconds) {
    if (observer)
        observer(seconds);
    using Sleep = unsigned (*)(unsigned);
    static const auto next = reinterpret_cast<Sleep>(dlsym(RTLD_NEXT, "sleep"));
    return next(seconds);
}
