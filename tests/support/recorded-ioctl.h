#pragma once

#include <linux/serial.h>

#include <cstddef>
#include <vector>

/// Every call of `ioctl` with TIOCSRS485 in this process, in order. No pseudo terminal knows that
/// request, so its answer is given here; all other requests go to the kernel.
namespace recorded_ioctl {

struct Call {
    /// O_RDONLY, O_WRONLY or O_RDWR.
    int accessMode;
    serial_rs485 conf;
    /// How many descriptors this process held of the same device at that moment.
    std::size_t descriptors;
};

/// Lets the request succeed from now on, instead of asking the kernel.
void letRs485Succeed();
const std::vector<Call>& rs485Calls();

} // namespace recorded_ioctl
