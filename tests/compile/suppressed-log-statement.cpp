#include "vx/log.h"

// What suppressed-log-statement.sh compiles to look at its assembly.

int expensiveToTell(int address);

static vx::LogChannel channel("snippet", vx::LogSeverity::notice);

void readRegister(int address) {
    asm volatile("# the statement begins");
    VX_LOG(channel, debug, "Read register", expensiveToTell(address));
    asm volatile("# the statement ends");
}
