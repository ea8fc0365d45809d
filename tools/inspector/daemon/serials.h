#pragma once

#include "inspector/input/installation.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace inspector {

/// Whether the daemon asks a meter for the register: not for a serial that the list gives.
bool isAsked(const vxModel::ModbusRegister& aRegister, bool hasListedSerial);

/// Where the meters' serials come from: the list of attached meters, or a register.
class Serials {
public:
    explicit Serials(const Installation& installation);

    /// What the list gives all meters of an address; null if it gives none. It counts ahead of a
    /// register's.
    const std::string* listed(int slaveAddress) const;
    /// Whether some meter of the model has no other serial than that of its register; also if no
    /// list tells.
    bool needsRegister(const vxModel::ElectricityMeterConfig& model) const;

private:
    bool m_hasList;
    std::unordered_map<int, std::string> m_listed = {};
    /// By the ids of models.
    std::unordered_set<std::string> m_attached = {};
    std::unordered_set<std::string> m_needing = {};
};

} // namespace inspector
