#pragma once

#include "inspector/input/document.h"
#include "inspector/output/finding.h"
#include "modbus/config-file.h"
#include "model/modbus.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace inspector {

/// A record and where it stands in its document.
template <class T>
struct Placed {
    T value;
    std::string path;
};

/// What the daemon would know after asking: as much of it as it could use. A document that isn't
/// there, or of which it can take nothing, leaves its part unset.
struct Installation {
    using Models = std::vector<Placed<vxModel::ElectricityMeterConfig>>;
    using Meters = std::vector<Placed<vxModel::ModbusMeter>>;

    std::optional<Models> models = std::nullopt;
    /// Of those that don't convert: there is more to them than nothing.
    std::unordered_set<std::string> idsOfBrokenModels = {};
    std::optional<Meters> meters = std::nullopt;
    std::optional<Placed<vxModel::SerialPortConfig>> serial = std::nullopt;
    std::optional<Placed<orv::modbus::ModbusMiscConfig>> config = std::nullopt;
    /// Whether there is one that doesn't convert, so that nothing tells which bus is meant.
    bool isConfigBroken = false;
    /// Whether there are serial parameters of which the daemon takes none, so that it opens no bus.
    bool isSerialBroken = false;
};

/// Those that are there.
const Installation::Models& modelsOf(const Installation& installation);
const Installation::Meters& metersOf(const Installation& installation);

/// Whether the daemon reaches the meters over TCP instead of the serial line.
bool isTcp(const Installation& installation);

/// Each takes a reply of the local server, with its envelope or without; those of lists also a
/// single element. Elements that don't convert are left out and told, though the daemon would take
/// none.
std::optional<Installation::Models> readModels(const Document& document, Findings& findings);
std::optional<Installation::Meters> readMeters(const Document& document, Findings& findings);
std::optional<Placed<vxModel::SerialPortConfig>> readSerial(const Document& document,
                                                            Findings& findings);
/// The configuration file.
std::optional<Placed<orv::modbus::ModbusMiscConfig>> readConfig(const Document& document,
                                                                Findings& findings);

/// @p models are what was read of @p document.
std::unordered_set<std::string> idsOfBroken(const Document& document,
                                            const Installation::Models& models);

} // namespace inspector
