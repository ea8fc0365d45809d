#pragma once

#include "vx/record.h"
#include "vx/system.h"

#include <cstdint>
#include <string>

namespace orv::modbus {

/// How the bus is reached. Zero and empty values ask for the built-in behaviour.
struct ModbusMiscConfig {
    /// IPv4 address of a Modbus TCP server, as text; empty means the serial line.
    std::string modbusTCPServer;
    /// TCP port of that server, handed to the Modbus library as it is; there is no default.
    std::int32_t port = 0;
    /// Kept in the file format and shown in the log; the pause on the bus is fixed.
    std::int32_t readIntervalUSec = 0;
    /// How long a read waits for its answer, in seconds; 0 means 5.
    std::int32_t timeoutResponseSec = 0;
    /// The Modbus library's time-out for indications, in seconds; 0 means 5.
    std::int32_t timeoutIndicationSec = 0;

    bool operator==(const ModbusMiscConfig&) const = default;
    VX_FIELDS(ModbusMiscConfig, modbusTCPServer, port, readIntervalUSec, timeoutResponseSec,
              timeoutIndicationSec)
};

/// The optional local file "modbus-config.json" in the directory `etc` of the system:
///
///     {"modbusMiscConfig": {"modbusTCPServer": "192.168.1.5", "port": 502}}
struct ConfigFile {
    ModbusMiscConfig modbusMiscConfig;

    bool operator==(const ConfigFile&) const = default;
    VX_FIELDS(ConfigFile, modbusMiscConfig)
};

/// Reads the file anew; its absence gives the defaults, with a line in the log. Throws
/// `vx::Exception` if it is not JSON or has a value of a wrong type, and as
/// `System::readFileIfExists` if it can't be read. What the values mean is not checked.
ConfigFile loadConfigFile(vx::System& system);

} // namespace orv::modbus
