// A library to preload into the real executable: the second of sleep that ends a poll passes at
// once and misbehaves as the environment variable MISBEHAVE says.

#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>
#include <string_view>

extern "C" unsigned sleep(unsigned) {
    const char* how = std::getenv("MISBEHAVE");
    const std::string_view order = how == nullptr ? "" : how;
    if (order == "assert")
        // The executable's own function, which fails an assertion if it is told to.
        reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "_ZN2vx10testAssertEv"))();
    if (order == "throw")
        throw std::runtime_error("the poll went wrong");
    static int polls = 0;
    if (order == "throw in a later poll" && ++polls == 2)
        throw std::runtime_error("the later poll went wrong");
    return 0;
}
