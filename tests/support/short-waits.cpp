// A library to preload into the real executable: where it waits for an answer that doesn't come, it
// does so for a fifth of the time-out, which an answer of this machine never needs.

#include <atomic>
#include <dlfcn.h>
#include <sys/select.h>

namespace {

constexpr long long hurry = 5;

// Found at the first use: a dynamic initialisation would need the C++ library, which a program may
// not have loaded.
using Select = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);
std::atomic<Select> found{nullptr};

} // namespace

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                      timeval* timeOut) {
    constexpr long long microsecondsPerSecond = 1000000;
    if (found == nullptr)
        found = reinterpret_cast<Select>(dlsym(RTLD_NEXT, "select"));
    if (timeOut != nullptr) {
        const long long microseconds =
            (timeOut->tv_sec * microsecondsPerSecond + timeOut->tv_usec) / hurry;
        timeOut->tv_sec = static_cast<time_t>(microseconds / microsecondsPerSecond);
        timeOut->tv_usec = static_cast<suseconds_t>(microseconds % microsecondsPerSecond);
    }
    return found.load()(count, readable, writable, exceptional, timeOut);
}
