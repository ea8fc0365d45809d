#pragma once

#include "inspector/input/installation.h"
#include "inspector/reading/bus-options.h"

#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// A meter to read.
struct Target {
    vxModel::ModbusMeter meter;
    vxModel::ElectricityMeterConfig model;
    /// From the list of attached meters.
    std::string listedSerial = {};
    /// To the meter in that list; empty if it comes from elsewhere.
    std::string path = {};
};

/// The meter at @p slave with the model @p modelId, or with what the list of attached meters says
/// of it; without @p slave all attached meters. Throws `UnreadableInput` if there is none.
std::vector<Target> targetsOf(const Installation& installation, std::optional<int> slave,
                              const std::optional<std::string>& modelId);

/// The bus that the daemon would open; @p isHere says whether that is on this machine. Throws
/// `UnreadableInput` if it opens none, if it can't be known, or can't be reached from here.
BusAddress busOf(const Installation& installation, bool isHere);

/// What the daemon does where the Modbus library refuses the address of a target; @p isTcp says
/// over what it is reached.
std::vector<std::string> refusalsOf(const std::vector<Target>& targets, Installation installation,
                                    bool isTcp);

/// Throws `UnreadableInput` with what the daemon makes of a document.
[[noreturn]] void refuse(const Finding& finding);

/// The serial parameters with which the daemon would run such a line.
vxModel::SerialPortConfig parametersOf(const LineParameters& line);

} // namespace inspector
