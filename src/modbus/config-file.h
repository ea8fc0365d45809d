#pragma once

#include "vx/record.h"
#include "vx/system.h"

#include <cstdint>
#include <string>

namespace orv::modbus {

/// How the bus is reached. Zero and empty values ask for the built-in behaviour.
struct ModbusMiscConfig {
    /// Host of a Modbus TCP server; empty means the serial line.
    std::string modbusTCPServer;
    std::int32_t port = 0;
    /// Kept in the file format and shown in the log; the pause on the bus is fixed.
    std::int32_t readIntervalUSec = 0;
    /// Whole seconds; 0 means 5.
    std::int32_t timeoutResponseSec = 0;
    /// Whole seconds; 0 means 5.
    std::int32_t timeoutIndicationSec = 0;

    bool operator==(const ModbusMiscConfig&) const = default;
    VX_FIELDS(ModbusMiscConfig, modbusTCPServer, port, readIntervalUSec, timeoutResponseSec,
              timeoutIndicationSec)
};

/// The optional local file "modbus-config.json".
struct ConfigFile {
    ModbusMiscConfig modbusMiscConfig;

    bool operator==(const ConfigFile&) const = default;
    VX_FIELDS(ConfigFile, modbusMiscConfig)
};

/// Reads the file anew; its absence gives the defaults. Throws `vx::Exception` if it is not JSON or
/// has a value of a wrong type.
ConfigFile loadConfigFile(vx::System& system);

} // namespace orv::modbus
