#include "support/recorded-timeouts.h"

#include <modbus/modbus.h>

#include <dlfcn.h>
#include <utility>

namespace {

std::vector<recorded_timeouts::Call> calls;

int record(const char* kind, const char* function, modbus_t* ctx, std::uint32_t seconds,
           std::uint32_t microseconds) {
    calls.push_back({kind, seconds, microseconds});
    using Set = int (*)(modbus_t*, std::uint32_t, std::uint32_t);
    return reinterpret_cast<Set>(dlsym(RTLD_NEXT, function))(ctx, seconds, microseconds);
}

} // namespace

std::vector<recorded_timeouts::Call> recorded_timeouts::take() {
    return std::exchange(calls, {});
}

// Stand in for the library's functions of the same names.

extern "C" int modbus_set_response_timeout(modbus_t* ctx, std::uint32_t seconds,
                                           std::uint32_t microseconds) {
    return record("response", "modbus_set_response_timeout", ctx, seconds, microseconds);
}

extern "C" int modbus_set_indication_timeout(modbus_t* ctx, std::uint32_t seconds,
                                             std::uint32_t microseconds) {
    return record("indication", "modbus_set_indication_timeout", ctx, seconds, microseconds);
}
