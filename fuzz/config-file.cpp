// The configuration file: what is taken from it stands in it, and is written to a file and
// read back to itself.

#include "fuzz.h"
#include "told-by.h"

#include "modbus/config-file.h"
#include "support/temporary-directory.h"
#include "vx/exception.h"

#include <optional>

namespace {

struct Installation {
    TemporaryDirectory etc;
    std::unique_ptr<vx::System> system = vx::makeSystem({etc.path().string(), "/usr/share"});

    orv::modbus::ConfigFile load(const std::string& content) const {
        etc.write("modbus-config.json", content);
        return orv::modbus::loadConfigFile(*system);
    }
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    static const Installation installation;
    orv::modbus::ConfigFile config;
    try {
        config = installation.load(fuzz::textOf(data, size));
    } catch (const vx::Exception&) {
        return 0;
    }
    const auto fragment = vx::toJsonFragment(config);
    const std::string written = vx::toJson(fragment);
    const auto input = vx::parseJsonFragment(fuzz::textOf(data, size).c_str());
    VX_ASSERT(fuzz::isToldBy(fragment.get(), input.get()), written);
    VX_ASSERT(fuzz::isTaken(config, input.get()), written);
    const auto again = installation.load(written);
    VX_ASSERT(again == config, written);
    VX_ASSERT(vx::str(again) == vx::str(config), written);
    return 0;
}
