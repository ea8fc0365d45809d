#include "inspector/daemon/serials.h"

#include <algorithm>

namespace inspector {

bool hasListedSerial(const vxModel::ModbusMeter& meter, const Installation::Meters& meters) {
    return std::any_of(meters.begin(), meters.end(), [&](const auto& x) {
        return x.value.slaveAddress == meter.slaveAddress && !x.value.serial.empty();
    });
}

std::vector<const Placed<vxModel::ModbusMeter>*>
metersOf(const vxModel::ElectricityMeterConfig& model, const Installation::Meters& meters) {
    std::vector<const Placed<vxModel::ModbusMeter>*> result;
    for (const auto& meter : meters)
        if (meter.value.configId == model.id)
            result.push_back(&meter);
    return result;
}

bool needsSerialRegister(const vxModel::ElectricityMeterConfig& model,
                         const Installation& installation) {
    if (!installation.meters)
        return true;
    const auto meters = metersOf(model, *installation.meters);
    return meters.empty() || !std::all_of(meters.begin(), meters.end(), [&](const auto* meter) {
               return hasListedSerial(meter->value, *installation.meters);
           });
}

} // namespace inspector
