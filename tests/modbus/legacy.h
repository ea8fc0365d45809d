#pragma once

#include "modbus/reader-world.h"
#include "support/lines.h"
#include <fstream>

inline void writeConfigFile(const std::string& text) {
    std::ofstream("/etc/modbus-config.json") << text;
}
inline void useTcp(const house::ModbusSlave& slave) {
    writeConfigFile(vx::str(
        R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","timeoutResponseSec":1,"port":)",
        slave.port(), "}}"));
}
