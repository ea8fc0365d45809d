#include "inspector/reading/targets.h"

#include "inspector/daemon/enum-names.h"
#include "inspector/input/pointer.h"
#include "inspector/input/sources.h"
#include "inspector/map/meter-checks.h"
#include "inspector/map/port-checks.h"
#include "vx/enum.h"

#include <algorithm>

namespace inspector {
namespace {

/// As the daemon: the first one of the address that has any.
std::string listedSerialOf(int slaveAddress, const Installation::Meters& meters) {
    const auto found = std::find_if(meters.begin(), meters.end(), [&](const auto& x) {
        return x.value.slaveAddress == slaveAddress && !x.value.serial.empty();
    });
    return found == meters.end() ? "" : found->value.serial;
}

void addMeter(std::vector<Target>& targets, const Placed<vxModel::ModbusMeter>& placed,
              const Installation& installation) {
    const auto& [meter, path] = placed;
    const std::string serial = installation.meters
                                   ? listedSerialOf(meter.slaveAddress, *installation.meters)
                                   : std::string();
    for (const auto& model : *installation.models)
        if (model.value.id == meter.configId)
            targets.push_back({meter, model.value, serial, path});
}

/// Refuses what keeps the daemon from its bus.
void requirePort(const Installation& installation) {
    Findings findings;
    checkPort(installation, findings);
    const auto error = std::find_if(findings.begin(), findings.end(),
                                    [](const Finding& x) { return x.severity == Severity::error; });
    if (error != findings.end())
        refuse(*error);
}

std::string whyNone(std::optional<int> slave, const std::optional<std::string>& modelId) {
    if (modelId)
        return "No model has the id \"" + *modelId + "\"";
    if (slave)
        return "No attached meter with a model has the address " + std::to_string(*slave) +
               ": name its model by --model";
    return "No meter to read: give --slave, --attached or --server";
}

} // namespace

std::vector<Target> targetsOf(const Installation& installation, std::optional<int> slave,
                              const std::optional<std::string>& modelId) {
    if (!installation.models || installation.models->empty())
        throw UnreadableInput("There is no model: give --supported or --server");
    std::vector<Target> targets;
    const bool isListed = !modelId && installation.meters;
    if (isListed) {
        for (const auto& meter : *installation.meters)
            if (!slave || meter.value.slaveAddress == *slave)
                addMeter(targets, meter, installation);
    } else if (slave) {
        if (!modelId && installation.models->size() > 1)
            throw UnreadableInput("There is more than one model: name one by --model");
        addMeter(targets,
                 {{.configId = modelId.value_or(installation.models->front().value.id),
                   .slaveAddress = *slave},
                  ""},
                 installation);
    }
    if (targets.empty())
        throw UnreadableInput(whyNone(slave, modelId));
    return targets;
}

BusAddress busOf(const Installation& installation, bool isHere) {
    const bool overTcp = isTcp(installation);
    if (!overTcp && !isHere)
        throw UnreadableInput("The server is another machine's, and so is its serial line: give "
                              "--tcp or --rtu, or its configuration file by --config");
    if (!overTcp && !installation.serial)
        throw UnreadableInput("There is no bus: give --tcp, --rtu or --server");
    requirePort(installation);
    // The daemon connects to what fits into a port of what the file says.
    if (overTcp)
        return {.tcp = installation.config->value.modbusTCPServer + ":" +
                       std::to_string(static_cast<std::uint16_t>(installation.config->value.port))};
    const vxModel::SerialPortConfig& line = installation.serial->value;
    const char parity = line.parity == vxModel::Parity::none   ? 'N'
                        : line.parity == vxModel::Parity::even ? 'E'
                                                               : 'O';
    return {.rtu = "/dev/ttymxc2",
            .line = {digitsOf(line.baudRate), parity, digitsOf(line.stopBits)}};
}

std::vector<std::string> refusalsOf(const std::vector<Target>& targets, Installation installation,
                                    bool isTcp) {
    installation.config.emplace().value.modbusTCPServer = isTcp ? "it" : "";
    // The others of the list count too, as the daemon reads them in between.
    if (targets.front().path.empty())
        installation.meters = {{targets.front().meter, ""}};
    Findings findings;
    checkMeters(installation, findings);
    std::vector<std::string> refusals;
    const auto isOfTarget = [&](const Finding& finding) {
        return std::any_of(targets.begin(), targets.end(), [&](const Target& x) {
            return finding.path == pointerTo(x.path, "slaveAddress");
        });
    };
    for (const Finding& finding : findings)
        if (finding.name == "address-out-of-range" && isOfTarget(finding))
            refusals.push_back(finding.message);
    return refusals;
}

void refuse(const Finding& finding) {
    throw UnreadableInput(std::string(finding.document) + (finding.path.empty() ? "" : " ") +
                          finding.path + ": " + finding.message);
}

vxModel::SerialPortConfig parametersOf(const LineParameters& line) {
    using namespace vxModel;
    return {.baudRate = vx::toEnum<BaudRateType>("baud" + std::to_string(line.baud)),
            .parity = line.parity == 'N'   ? Parity::none
                      : line.parity == 'E' ? Parity::even
                                           : Parity::odd,
            .dataBits = DataBits::bits8,
            .stopBits = line.stopBits == 1 ? StopBits::bits1 : StopBits::bits2};
}

} // namespace inspector
