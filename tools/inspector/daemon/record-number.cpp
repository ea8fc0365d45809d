#include "inspector/daemon/record-number.h"

#include <type_traits>

namespace inspector {
namespace {

using orv::metering::readings::ModbusMeteringSystem;

struct NumberVisitor {
    const ModbusMeteringSystem& record;
    std::pair<std::string, double> found = {};

    template <class M, M member>
    void operator()(const char* key) {
        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(record.*member)>, double>)
            if (record.*member != 0)
                found = {key, record.*member};
    }
};

} // namespace

std::pair<std::string, double> numberOf(const ModbusMeteringSystem& record) {
    NumberVisitor visitor{record};
    ModbusMeteringSystem::visitFields(visitor);
    return visitor.found;
}

} // namespace inspector
