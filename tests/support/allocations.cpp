#include "support/allocations.h"

#include <atomic>
#include <cstdlib>

namespace {

constinit std::atomic<std::size_t> count{0};

} // namespace

std::size_t allocations() {
    return count;
}

// The program's own functions stand ahead of the C library's for all libraries, those for `new` and
// `delete` among them.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept {
    ++count;
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) noexcept {
    ++count;
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    ++count;
    return __libc_realloc(memory, size);
}
}
