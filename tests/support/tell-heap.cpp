// A library to preload into the real executable: at each pause of whole seconds, of which a poll
// has one, it writes to the file HEAP_FIGURE how many bytes of the heap are in use, as decimal
// text; without that variable it writes nothing. Unlike the pages of a process they don't hang on
// the order of allocations.

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <malloc.h>

extern "C" unsigned sleep(unsigned seconds) {
    // Taken first, as the file has a buffer.
    const std::size_t inUse = mallinfo2().uordblks;
    const char* const name = std::getenv("HEAP_FIGURE");
    if (std::FILE* const file = name != nullptr ? std::fopen(name, "we") : nullptr) {
        std::fprintf(file, "%zu\n", inUse);
        std::fclose(file);
    }
    return reinterpret_cast<unsigned (*)(unsigned)>(dlsym(RTLD_NEXT, "sleep"))(seconds);
}
