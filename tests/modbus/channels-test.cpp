#include "http-client.h"
#include "logger.h"
#include "modbus/main.h"
#include "modbus/serial-toolkit.h"
#include "vx/enum.h"
#include "vx/system.h"

#include <gtest/gtest.h>

using vx::LogSeverity;

TEST(Channels, haveTheirNamesAndInitialSeverities) {
    // Three come into being at their first use.
    orv::Logger::getInstance();
    vx::enumLogChannel();
    vx::system();

    const std::vector<std::pair<const char*, LogSeverity>> channels = {
        {"base", LogSeverity::notice},
        {"orvMODBUSConfigFile", LogSeverity::notice},
        {"modbusSerial", LogSeverity::notice},
        {"modbusreaderSocketWriter", LogSeverity::debug},
        {"modbusreaderMain", LogSeverity::notice},
        {"HttpClient", LogSeverity::info},
        {"System", LogSeverity::notice},
        {"vxSystem", LogSeverity::notice},
        {"vxConf", LogSeverity::notice},
        {"vxEnum", LogSeverity::notice},
    };
    for (const auto& [name, severity] : channels)
        EXPECT_EQ(vx::Logger::instance().channelSeverity(name), severity) << name;
    EXPECT_EQ(vx::Logger::instance().channelSeverities().size(), channels.size());
}
