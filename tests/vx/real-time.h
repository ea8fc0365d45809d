#pragma once

#include "support/c-calls.h"

/// Lets the real-time clock stand at @p seconds since the epoch as long as the result lives.
inline auto realTimeAt(std::time_t seconds) {
    return c_calls::clock_gettime.replaceBy([seconds](clockid_t clock, timespec* time) {
        if (clock != CLOCK_REALTIME)
            return c_calls::clock_gettime.real(clock, time);
        *time = {seconds, 0};
        return 0;
    });
}
