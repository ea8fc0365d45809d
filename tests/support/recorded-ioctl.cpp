#include "support/recorded-ioctl.h"

#include "support/descriptors.h"

#include <cstdarg>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool succeed = false;
std::vector<recorded_ioctl::Call> calls;

} // namespace

void recorded_ioctl::letRs485Succeed() {
    succeed = true;
}

const std::vector<recorded_ioctl::Call>& recorded_ioctl::rs485Calls() {
    return calls;
}

/// Stands in for the C library's function of the same name.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == TIOCSRS485) {
        calls.push_back({fcntl(fd, F_GETFL) & O_ACCMODE, *static_cast<serial_rs485*>(argument),
                         openDescriptorsOf(nameOfDescriptor(fd))});
        if (succeed)
            return 0;
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
