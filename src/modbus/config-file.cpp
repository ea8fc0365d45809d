#include "modbus/config-file.h"

#include "vx/log.h"

#include <filesystem>

namespace orv::modbus {
namespace {

vx::LogChannel channel("orvMODBUSConfigFile", vx::LogSeverity::notice);

} // namespace

ConfigFile loadConfigFile(vx::System& system) {
    const auto filePath = std::filesystem::path(system.dirs().etc) / "modbus-config.json";
    VX_LOG(channel, notice, "Load configuration", filePath.string());
    const auto content = system.readFileIfExists(filePath.string());
    if (!content) {
        VX_LOG(channel, notice, "File not found. Load default configuration.");
        return {};
    }
    return vx::fromJson<ConfigFile>(vx::parseJsonFragment(content->c_str()).get());
}

} // namespace orv::modbus
