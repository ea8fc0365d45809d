// A library to preload into the real executable: the second of sleep that ends a poll passes at
// once and misbehaves as the environment variable MISBEHAVE says, or the kernel does not tell the
// limit of descriptors.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>
#include <string_view>
#include <sys/resource.h>

namespace {

std::string_view order() {
    const char* how = std::getenv("MISBEHAVE");
    return how == nullptr ? "" : how;
}

} // namespace

extern "C" unsigned sleep(unsigned) {
    if (order() == "assert")
        // The executable's own function, which fails an assertion if it is told to.
        reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "_ZN2vx10testAssertEv"))();
    if (order() == "throw")
        throw std::runtime_error("the poll went wrong");
    static int polls = 0;
    if (order() == "throw in a later poll" && ++polls == 2)
        throw std::runtime_error("the later poll went wrong");
    return 0;
}

// Its name in the C library for files of any size.
extern "C" int getrlimit64(__rlimit_resource_t resource, rlimit64* limit) noexcept {
    if (resource != RLIMIT_NOFILE || order() != "tell no limit")
        return prlimit64(0, static_cast<__rlimit_resource>(resource), nullptr, limit);
    errno = EPERM;
    return -1;
}
