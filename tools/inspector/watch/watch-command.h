#pragma once

#include "inspector/live/live-log.h"

namespace inspector {

struct WatchOptions {
    LogOptions log;
};

int runWatch(const WatchOptions& options);

} // namespace inspector
