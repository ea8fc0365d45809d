// A library to preload into the real executable: its pauses pass in no time. The monotonic clock
// leaps ahead by what they would have taken, so that the timer behaves as it does after real ones.

#include <atomic>
#include <ctime>
#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr long long nanosecondsPerSecond = 1000000000;

std::atomic<long long> leapt{0};

using Clock = int (*)(clockid_t, timespec*);
// Found at the first use: a dynamic initialisation would need the C++ library, which a program may
// not have loaded.
std::atomic<Clock> found{nullptr};

/// Not by a system call, which would make each look at the clock dearer than it is.
int realClock(clockid_t clock, timespec* time) {
    if (found == nullptr)
        found = reinterpret_cast<Clock>(dlsym(RTLD_NEXT, "clock_gettime"));
    return found.load()(clock, time);
}

} // namespace

extern "C" {

unsigned sleep(unsigned seconds) {
    leapt += seconds * nanosecondsPerSecond;
    return 0;
}

int usleep(useconds_t microseconds) {
    leapt += microseconds * 1000LL;
    return 0;
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = realClock(clock, time);
    if (clock == CLOCK_MONOTONIC) {
        const long long nanoseconds = time->tv_nsec + leapt;
        time->tv_sec += static_cast<time_t>(nanoseconds / nanosecondsPerSecond);
        time->tv_nsec = static_cast<long>(nanoseconds % nanosecondsPerSecond);
    }
    return result;
}
}
