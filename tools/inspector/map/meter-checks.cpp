#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/serials.h"
#include "inspector/input/pointer.h"
#include "inspector/map/checks.h"

#include <algorithm>
#include <string>

namespace inspector {
namespace {

using vxModel::ModbusMeter;

/// What the Modbus library takes.
constexpr int highestAddress = 247;
/// It takes this one too, over TCP, for a device that needs no address.
constexpr int addressOfTcpDevice = 255;

class MeterCheck {
public:
    MeterCheck(const Installation& installation, const Reporter& report)
        : m_meters(*installation.meters),
          m_models(installation.models),
          m_report(report),
          m_isTcp(installation.config && !installation.config->value.modbusTCPServer.empty()) {}

    void check() const {
        for (std::size_t i = 0; i < m_meters.size(); ++i) {
            checkAddress(m_meters[i]);
            for (std::size_t earlier = 0; earlier < i; ++earlier)
                if (checkPair(m_meters[earlier], m_meters[i]))
                    break;
            if (m_models)
                checkModel(m_meters[i]);
        }
    }

private:
    using Meter = Placed<ModbusMeter>;

    void checkAddress(const Meter& meter) const {
        const int address = meter.value.slaveAddress;
        const std::string path = pointerTo(meter.path, "slaveAddress");
        if (address == 0)
            m_report("broadcast-address", m_isTcp ? Severity::hint : Severity::error, path,
                     m_isTcp ? "The daemon asks unit 0, which not every device or gateway answers."
                             : "The daemon asks all meters of the line at once, which none of them "
                               "answers, so each of its reads waits for the time-out.",
                     "Give it the address that is set at the meter, 1 to 247.");
        else if ((address < 0 || address > highestAddress) &&
                 !(m_isTcp && address == addressOfTcpDevice))
            m_report("address-out-of-range", Severity::error, path,
                     "The Modbus library refuses the address " + std::to_string(address) +
                         ", and the daemon reads the meter ahead of it in its place, under this "
                         "one's serial.",
                     "Give it the address that is set at the meter, 1 to 247.");
    }

    /// Returns whether the two get in each other's way.
    bool checkPair(const Meter& earlier, const Meter& later) const {
        const int a = earlier.value.slaveAddress;
        const int b = later.value.slaveAddress;
        const std::string path = pointerTo(later.path, "slaveAddress");
        if (a == b)
            m_report("shared-address", Severity::warning, path,
                     "The meter at " + earlier.path + " has the address " + std::to_string(a) +
                         " too: the daemon reads one device for both, under the first serial that "
                         "the list has for it.",
                     "Give each meter an address of its own.");
        else if ((a & 0xFF) == (b & 0xFF))
            m_report("shared-low-bits", Severity::warning, path,
                     "The low eight bits are those of the meter at " + earlier.path +
                         ": the messages of both have the same \"slaveAddress\", and a failed read "
                         "takes the value of the other one.",
                     "Give each meter an address from 1 to 247.");
        else
            return false;
        return true;
    }

    void checkModel(const Meter& meter) const {
        bool hasModel = false;
        bool hasSerialRegister = false;
        bool givesSerial = false;
        for (const auto& model : *m_models) {
            if (model.value.id != meter.value.configId)
                continue;
            hasModel = true;
            for (const auto& x : model.value.registers)
                if (x.fieldType == vxModel::ModbusFieldType::serial) {
                    hasSerialRegister = true;
                    givesSerial = givesSerial || hasEffect(x.modbusDataType, x.fieldType);
                }
        }
        if (!hasModel)
            m_report("no-such-model", Severity::error, pointerTo(meter.path, "configId"),
                     "No model has the id " + quoted(meter.value.configId) +
                         ", so the daemon never reads this meter, and nothing says so.",
                     "Add the model, or write the id of the right one.");
        else if (hasSerialRegister && !givesSerial && !hasListedSerial(meter.value, m_meters))
            m_report("no-serial", Severity::error, pointerTo(meter.path, "serial"),
                     "The daemon gets no serial for this meter from its register, so it never "
                     "sends its readings.",
                     "Write its serial here, or correct the type of the serial register.");
    }

    const Installation::Meters& m_meters;
    const std::optional<Installation::Models>& m_models;
    const Reporter& m_report;
    bool m_isTcp;
};

} // namespace

void checkMeters(const Installation& installation, Findings& findings) {
    if (!installation.meters)
        return;
    const Reporter report("attached", findings);
    MeterCheck(installation, report).check();
}

} // namespace inspector
