#include "inspector/daemon/serials.h"

namespace inspector {

bool isAsked(const vxModel::ModbusRegister& aRegister, bool hasListedSerial) {
    return aRegister.fieldType != vxModel::ModbusFieldType::serial || !hasListedSerial;
}

Serials::Serials(const Installation& installation) : m_hasList(installation.meters.has_value()) {
    if (!m_hasList)
        return;
    for (const auto& [meter, path] : *installation.meters) {
        // The first one counts.
        if (!meter.serial.empty())
            m_listed.try_emplace(meter.slaveAddress, meter.serial);
    }
    for (const auto& [meter, path] : *installation.meters) {
        m_attached.insert(meter.configId);
        if (listed(meter.slaveAddress) == nullptr)
            m_needing.insert(meter.configId);
    }
}

const std::string* Serials::listed(int slaveAddress) const {
    const auto found = m_listed.find(slaveAddress);
    return found == m_listed.end() ? nullptr : &found->second;
}

bool Serials::needsRegister(const vxModel::ElectricityMeterConfig& model) const {
    return !m_hasList || !m_attached.contains(model.id) || m_needing.contains(model.id);
}

} // namespace inspector
