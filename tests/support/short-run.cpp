// A library to preload into the real executable, ahead of the one of short pauses: the waits of its
// timer pass as such pauses do. What else its event loop has to do then comes before a tick or
// behind it, as chance will have it. With the variable LAST_POLL the process ends with that poll.

#include <cstdlib>
#include <dlfcn.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

int pollsLeft = -1;

__attribute__((constructor)) void readOrder() {
    if (const char* last = std::getenv("LAST_POLL"))
        pollsLeft = std::atoi(last);
}

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// Name of the function for times of 64 bits.
constexpr const char* timerName = sizeof(void*) == 4 ? "__timerfd_settime64" : "timerfd_settime";

} // namespace

extern "C" {

unsigned sleep(unsigned seconds) {
    if (--pollsLeft == 0)
        _exit(0);
    return next<unsigned (*)(unsigned)>("sleep")(seconds);
}

int timerfd_settime(int timer, int flags, const itimerspec* time, itimerspec* old) noexcept {
    constexpr long microsecondsPerSecond = 1000000;
    constexpr long nanosecondsPerMicrosecond = 1000;
    const auto real = next<int (*)(int, int, const itimerspec*, itimerspec*)>(timerName);
    const timespec& wait = time->it_value;
    if ((flags & TFD_TIMER_ABSTIME) != 0 || (wait.tv_sec == 0 && wait.tv_nsec == 0))
        return real(timer, flags, time, old);
    usleep(static_cast<useconds_t>(wait.tv_sec * microsecondsPerSecond +
                                   wait.tv_nsec / nanosecondsPerMicrosecond + 1));
    const itimerspec soon{{}, {0, 1}};
    return real(timer, flags, &soon, old);
}
}
