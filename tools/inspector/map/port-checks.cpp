#include "inspector/map/port-checks.h"

#include "inspector/input/pointer.h"

#include <arpa/inet.h>

#include <cstdint>
#include <string>

namespace inspector {
namespace {

/// The port of the controller, whatever the server says.
constexpr const char* realDevice = "/dev/ttymxc2";
/// The pause that the daemon makes anyway, in microseconds.
constexpr int realInterval = 20000;
/// Of an address, for the Modbus library.
constexpr std::size_t longestServer = 15;

void checkComplete(const vxModel::SerialPortConfig& config, const std::string& path,
                   const Reporter& report) {
    const auto staysClosed = [&](bool isUnset, const std::string& key, const std::string& example) {
        if (isUnset) {
            report("port-stays-closed", Severity::error, pointerTo(path, key),
                   "Without " + quoted(key) +
                       " the daemon opens no serial line, and all reads fail.",
                   "Give it the value that is set at the meters, such as " + quoted(example) + ".");
        }
    };
    staysClosed(config.baudRate == vxModel::BaudRateType::none, "baudRate", "baud9600");
    staysClosed(config.parity == vxModel::Parity::uninitilzed, "parity", "even");
    staysClosed(config.dataBits == vxModel::DataBits::none, "dataBits", "bits8");
    staysClosed(config.stopBits == vxModel::StopBits::none, "stopBits", "bits1");
}

void checkEffect(const vxModel::SerialPortConfig& config, const std::string& path, bool isTcp,
                 const Reporter& report) {
    // The only parameter is what opens the bus.
    if (isTcp && config == vxModel::SerialPortConfig{.serialDevice = config.serialDevice})
        return;
    const std::string overTcp = "Over TCP the daemon opens no serial line, whatever stands here.";
    if (!config.serialDevice.empty() && config.serialDevice != realDevice) {
        report("device-without-effect", Severity::hint, pointerTo(path, "serialDevice"),
               isTcp ? overTcp
                     : "The daemon opens " + std::string(realDevice) +
                           " whatever device is named here.",
               "Delete it.");
    }
    if (config.dataBits == vxModel::DataBits::bits7 ||
        config.dataBits == vxModel::DataBits::bits9) {
        report("data-bits-without-effect", Severity::hint, pointerTo(path, "dataBits"),
               isTcp ? overTcp
                     : std::string("The line runs at eight data bits whatever number is given "
                                   "here."),
               isTcp ? "Make it \"bits8\"." : "Set the meters to eight data bits.");
    }
}

void checkServer(const std::string& server, const std::string& path, const Reporter& report) {
    const char* const remedy = "Give the IPv4 address of the server.";
    in_addr address{};
    if (inet_aton(server.c_str(), &address) == 0) {
        report("server-not-an-address", Severity::error, path,
               "The daemon looks up no names, so it gets no connection to " + quoted(server) + ".",
               remedy);
    } else if (server.size() > longestServer) {
        report("server-not-an-address", Severity::error, path,
               "The Modbus library takes no text of more than 15 characters, so the daemon gets no "
               "connection to " +
                   quoted(server) + ".",
               remedy);
    }
}

void checkPortOfServer(int port, const std::string& path, const Reporter& report) {
    // The library hands these on.
    const auto low = static_cast<std::uint16_t>(port);
    if (low != 0 && port == low)
        return;
    const char* const remedy = "Give the port of the server, 1 to 65535; that of Modbus is 502.";
    const std::string takes =
        "The daemon takes the low 16 bits of " + std::to_string(port) + " and ";
    if (port == 0)
        report("no-port", Severity::error, path,
               "The daemon gets no connection to port 0 and knows no other one.", remedy);
    else if (low == 0)
        report("port-out-of-range", Severity::error, path, takes + "gets no connection to port 0.",
               remedy);
    else
        report("port-out-of-range", Severity::warning, path,
               takes + "connects to port " + std::to_string(low) + ".", remedy);
}

void checkTcp(const orv::modbus::ModbusMiscConfig& config, const std::string& path,
              const Reporter& report) {
    checkServer(config.modbusTCPServer, pointerTo(path, "modbusTCPServer"), report);
    checkPortOfServer(config.port, pointerTo(path, "port"), report);
}

void checkConfig(const Placed<orv::modbus::ModbusMiscConfig>& placed, const Reporter& report) {
    const auto& [config, path] = placed;
    if (!config.modbusTCPServer.empty())
        checkTcp(config, path, report);
    if (config.timeoutResponseSec < 0) {
        report("negative-time-out", Severity::error, pointerTo(path, "timeoutResponseSec"),
               "A 64-bit daemon stands still at the first answer that doesn't come, and of a "
               "32-bit one every read fails.",
               "Give a number of seconds, or leave it out for 5.");
    }
    if (config.readIntervalUSec != 0 && config.readIntervalUSec != realInterval) {
        report("interval-without-effect", Severity::hint, pointerTo(path, "readIntervalUSec"),
               "The daemon pauses " + std::to_string(realInterval) +
                   " microseconds ahead of each request whatever number is given here.",
               "Delete it.");
    }
}

} // namespace

void checkPort(const Installation& installation, Findings& findings) {
    if (installation.config)
        checkConfig(*installation.config, Reporter("config", findings));
    if (!installation.serial || installation.isConfigBroken)
        return;
    const Reporter report("serial", findings);
    const auto& [config, path] = *installation.serial;
    if (!isTcp(installation)) {
        checkComplete(config, path, report);
    } else if (config == vxModel::SerialPortConfig()) {
        report("bus-stays-closed", Severity::error, path,
               "Without any serial parameter the daemon opens no bus, not even over TCP, and all "
               "reads fail.",
               "Give it one, such as \"baudRate\": \"baud9600\".");
    }
    checkEffect(config, path, isTcp(installation), report);
}

} // namespace inspector
