// A library to preload into the real executable: its real-time clock leaps at the end of a poll.
// The variable LEAPING_CLOCK holds the days by which it does, one number for each poll: "0 365
// -730". All other clocks go on.

#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long secondsPerDay = 86400;

/// What is left of the variable.
char* rest = nullptr;
long leapt = 0;

__attribute__((constructor)) void readOrder() {
    rest = std::getenv("LEAPING_CLOCK");
}

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// In the C library, of the one for times of 64 bits.
constexpr const char* clockName = sizeof(void*) == 4 ? "__clock_gettime64" : "clock_gettime";

} // namespace

extern "C" {

unsigned sleep(unsigned seconds) {
    if (rest != nullptr)
        leapt += std::strtol(rest, &rest, 10) * secondsPerDay;
    return next<decltype(&sleep)>("sleep")(seconds);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = next<int (*)(clockid_t, timespec*)>(clockName)(clock, time);
    if (clock == CLOCK_REALTIME)
        time->tv_sec += leapt;
    return result;
}

int gettimeofday(timeval* __restrict time, void* __restrict) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

time_t time(time_t* seconds) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (seconds != nullptr)
        *seconds = now.tv_sec;
    return now.tv_sec;
}
}
