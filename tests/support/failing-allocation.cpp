// A library to preload into the real executable: one of its allocations fails. The variable
// FAILING_ALLOCATION names the poll and the number of the allocation within it: "1:17" is the 17th
// of the start with its first poll. A poll ends with its second of sleep; what follows, such as its
// delivery, counts to the next one. Lines of the log tell the failure, and how many allocations
// each poll has.

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

extern "C" {
// The C library's own, under the names that it has for whoever replaces them.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

int failingPoll = 0;
long failingNumber = 0;
int poll = 1;
long number = 0;

/// Not by a stream, which may allocate.
template <class... Values>
void tell(const char* format, Values... values) {
    char line[64];
    const int size = std::snprintf(line, sizeof line, format, values...);
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, line, static_cast<std::size_t>(size));
}

__attribute__((constructor)) void readOrder() {
    if (const char* order = std::getenv("FAILING_ALLOCATION"))
        std::sscanf(order, "%d:%ld", &failingPoll, &failingNumber);
    // Those of the loader, and of libraries that start before this one.
    number = 0;
}

bool isTheFailingOne() {
    ++number;
    if (poll != failingPoll || number != failingNumber)
        return false;
    tell("allocation %d:%ld fails\n", poll, number);
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
    return isTheFailingOne() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return isTheFailingOne() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return isTheFailingOne() ? nullptr : __libc_realloc(memory, size);
}

unsigned sleep(unsigned seconds) {
    tell("poll %d has %ld allocations\n", poll, number);
    const auto next = reinterpret_cast<unsigned (*)(unsigned)>(dlsym(RTLD_NEXT, "sleep"));
    ++poll;
    number = 0;
    return next(seconds);
}
}
