#pragma once

#include "support/stand-in.h"

#include <cstddef>
#include <ctime>
#include <iconv.h>
#include <string>
#include <sys/time.h>
#include <sys/types.h>

/// Functions of the C library, under their own names.
namespace c_calls {

extern StandIn<int(const char* path, int mode)> access;
extern StandIn<int(clockid_t clock, timespec* time)> clock_gettime;
extern StandIn<int(int fd)> fsync;
extern StandIn<ssize_t(void* data, std::size_t size, unsigned flags)> getrandom;
extern StandIn<int(timeval* time, void* zone)> gettimeofday;
extern StandIn<std::size_t(iconv_t handle, char** in, std::size_t* inLeft, char** out,
                           std::size_t* outLeft)>
    iconv;
extern StandIn<int(int fd, unsigned long request, void* argument)> ioctl;
extern StandIn<void*(std::size_t size)> malloc;
extern StandIn<void*(void* memory, std::size_t size)> realloc;
extern StandIn<unsigned(unsigned seconds)> sleep;
extern StandIn<int(int domain, int type, int protocol)> socket;
/// Of the system calls that the program makes by number, the one for its thread's id.
extern StandIn<long()> gettid;
extern StandIn<int(useconds_t microseconds)> usleep;
extern StandIn<ssize_t(int fd, const void* data, std::size_t size)> write;

/// Lets neither `malloc` nor `realloc` have memory for exactly @p size bytes, for its scope.
class UnobtainableSize {
public:
    explicit UnobtainableSize(std::size_t size);

private:
    StandIn<void*(std::size_t)>::Scope m_malloc;
    StandIn<void*(void*, std::size_t)>::Scope m_realloc;
};

} // namespace c_calls
