// The replies of the local server, one target for each: what is taken from a reply stands in it,
// and none of it is passed over; it is written and read back to itself. REPLY names the envelope.

#include "fuzz.h"
#include "told-by.h"

#include "modbus/server-replies.h"
#include "vx/exception.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

using namespace orv::modbusreader;

namespace {

/// A value of zero is left out of the text, as is a number that JSON doesn't have; what is missing
/// is read as the default of its member.
[[maybe_unused]] void takeDefaults(vxModel::ModbusRegister& aRegister) {
    if (aRegister.scaleValue == 0 || !std::isfinite(aRegister.scaleValue))
        aRegister.scaleValue = vxModel::ModbusRegister{}.scaleValue;
    if (aRegister.registerType == vxModel::ModbusRegisterType::none)
        aRegister.registerType = vxModel::ModbusRegister{}.registerType;
}

/// @p reply as its own text gives it.
template <class Reply>
Reply asReadBack(Reply reply) {
    if constexpr (std::is_same_v<Reply, MeterConfigReply>)
        for (auto& model : reply.data)
            std::ranges::for_each(model.registers, takeDefaults);
    return reply;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    std::shared_ptr<json_object> input;
    REPLY reply;
    try {
        input = vx::parseJsonFragment(fuzz::textOf(data, size).c_str());
        reply = vx::fromJson<REPLY>(input.get());
    } catch (const vx::Exception&) {
        return 0;
    }
    const auto fragment = vx::toJsonFragment(reply);
    const std::string written = vx::toJson(fragment);
    VX_ASSERT(fuzz::isToldBy(fragment.get(), input.get()), written);
    VX_ASSERT(fuzz::isTaken(reply, input.get()), written);
    const REPLY expected = asReadBack(reply);
    const auto again = vx::fromJson<REPLY>(written.c_str());
    VX_ASSERT(again == expected, written);
    VX_ASSERT(vx::str(again) == vx::str(expected), written);
    VX_ASSERT(vx::toJson(vx::toJsonFragment(again)) == vx::toJson(vx::toJsonFragment(expected)));
    return 0;
}
