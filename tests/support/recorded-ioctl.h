#pragma once

#include <linux/serial.h>

#include <optional>
#include <vector>

/// Every call of `ioctl` with TIOCSRS485 in this process, in order. No pseudo terminal knows that
/// request, so its answer is given here; all other requests go to the kernel.
namespace recorded_ioctl {

struct Call {
    int fd;
    serial_rs485 conf;
};

/// Lets the request succeed from now on, instead of asking the kernel.
void letRs485Succeed();
const std::vector<Call>& rs485Calls();

} // namespace recorded_ioctl
