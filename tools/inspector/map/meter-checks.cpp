#include "inspector/map/meter-checks.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/serials.h"
#include "inspector/input/pointer.h"

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace inspector {
namespace {

using Meter = Placed<vxModel::ModbusMeter>;

/// With which the Modbus library begins over TCP: that of a device that needs none.
constexpr int addressOfTcpDevice = 255;
constexpr unsigned lowBits = 0xFF;

const char* const giveAddress = "Give it the address that is set at the meter, 1 to 247.";

/// What all models of one id are for a meter.
struct ModelFacts {
    /// Whether the daemon asks it for anything, without and with a serial in the list.
    bool isAsked = false;
    bool isAskedIfListed = false;
    bool hasSerialRegister = false;
    bool givesSerial = false;
};

std::unordered_map<std::string, ModelFacts> factsById(const Installation::Models& models) {
    std::unordered_map<std::string, ModelFacts> all;
    for (const auto& [model, path] : models) {
        ModelFacts& facts = all[model.id];
        for (const auto& x : model.registers) {
            facts.isAsked = true;
            facts.isAskedIfListed = facts.isAskedIfListed || isAsked(x, true);
            if (x.fieldType != vxModel::ModbusFieldType::serial)
                continue;
            facts.hasSerialRegister = true;
            facts.givesSerial = facts.givesSerial || hasEffect(x.modbusDataType, x.fieldType);
        }
    }
    return all;
}

class MeterCheck {
public:
    MeterCheck(const Installation& installation, const Reporter& report)
        : m_meters(*installation.meters),
          m_hasModels(installation.models.has_value()),
          m_idsOfBroken(installation.idsOfBrokenModels),
          m_models(factsById(modelsOf(installation))),
          m_serials(installation),
          m_report(report),
          m_isTcp(isTcp(installation)),
          m_isBusUnknown(installation.isConfigBroken) {}

    void check() {
        for (const Meter& meter : m_meters)
            if (isTakenAddress(meter.value.slaveAddress, m_isTcp) && isRead(meter.value))
                m_lastTaken = &meter;
        for (const Meter& meter : m_meters) {
            checkAddress(meter);
            checkOthers(meter);
            if (!isUnknown(meter.value))
                checkModel(meter);
        }
    }

private:
    /// Whether nothing tells what its model is.
    bool isUnknown(const vxModel::ModbusMeter& meter) const {
        return !m_hasModels || m_idsOfBroken.contains(meter.configId);
    }

    bool isRead(const vxModel::ModbusMeter& meter) const {
        if (isUnknown(meter))
            return true;
        const auto model = m_models.find(meter.configId);
        if (model == m_models.end())
            return false;
        return m_serials.listed(meter.slaveAddress) == nullptr ? model->second.isAsked
                                                               : model->second.isAskedIfListed;
    }

    void checkAddress(const Meter& meter) {
        const int address = meter.value.slaveAddress;
        const std::string path = pointerTo(meter.path, "slaveAddress");
        // Of these each kind of bus makes something else.
        if (m_isBusUnknown && (address == 0 || address == addressOfTcpDevice))
            return;
        if (address == 0) {
            m_report("broadcast-address", m_isTcp ? Severity::hint : Severity::error, path,
                     m_isTcp ? "The daemon asks unit 0, which not every device or gateway answers."
                             : "The daemon asks all meters of the line at once, which none of them "
                               "answers, so each of its reads waits for the time-out.",
                     giveAddress);
        }
        if (address == addressOfTcpDevice && m_isTcp) {
            m_report("device-address", Severity::hint, path,
                     "The daemon asks unit 255, which a device on the network answers, but no "
                     "meter behind a gateway.",
                     "Keep it for such a device; else give it the address that is set at the "
                     "meter, 1 to 247.");
        }
        if (!isTakenAddress(address, m_isTcp)) {
            m_report("address-out-of-range", Severity::error, path,
                     "The Modbus library refuses the address " + std::to_string(address) +
                         effectOfRefusal(meter.value),
                     giveAddress);
        } else if (isRead(meter.value)) {
            m_taken = &meter;
        }
    }

    /// The library keeps the address before, be it of the poll before.
    std::string effectOfRefusal(const vxModel::ModbusMeter& meter) const {
        if (m_isBusUnknown)
            return ".";
        const std::string start =
            m_isTcp ? "the daemon asks unit " + std::to_string(addressOfTcpDevice) + " instead"
                    : std::string("all reads of this meter fail");
        if (m_lastTaken == nullptr)
            return ", so " + start + ".";
        const Meter& other = m_taken == nullptr ? *m_lastTaken : *m_taken;
        const std::string reads = "the daemon reads the meter at " + other.path + " in its place";
        const std::string serial = m_serials.listed(meter.slaveAddress) != nullptr
                                       ? ", under this one's serial."
                                       : ", under that one's serial.";
        if (m_taken != nullptr)
            return ", and " + reads + serial;
        return ": in the first poll " + start + ", and from the second on " + reads + serial;
    }

    /// Tells which one of those ahead of it the meter gets in the way of.
    void checkOthers(const Meter& meter) {
        const int address = meter.value.slaveAddress;
        const std::string path = pointerTo(meter.path, "slaveAddress");
        const auto [same, isNewAddress] = m_byAddress.try_emplace(address, &meter);
        const auto [alike, isNewLow] =
            m_byLowBits.try_emplace(static_cast<unsigned>(address) & lowBits, &meter);
        if (!isNewAddress) {
            m_report("shared-address", Severity::warning, path,
                     "The meter at " + same->second->path + " has the address " +
                         std::to_string(address) +
                         " too: the daemon reads one device for both, each time under " +
                         serialAt(address) + ".",
                     "Give each meter an address of its own.");
        } else if (!isNewLow) {
            m_report("shared-low-bits", Severity::warning, path,
                     "The low eight bits are those of the meter at " + alike->second->path +
                         ": the messages of both have the same \"slaveAddress\", and a failed read "
                         "takes the value of the other one.",
                     "Give each meter an address from 1 to 247.");
        }
    }

    std::string serialAt(int address) const {
        const std::string* listed = m_serials.listed(address);
        return listed == nullptr
                   ? "the serial that its register gives"
                   : "the serial " + quoted(*listed) + ", the first that the list has for it";
    }

    void checkModel(const Meter& meter) const {
        const auto model = m_models.find(meter.value.configId);
        if (model == m_models.end()) {
            m_report("no-such-model", Severity::error, pointerTo(meter.path, "configId"),
                     "No model has the id " + quoted(meter.value.configId) +
                         ", so the daemon never reads this meter, and nothing says so.",
                     "Add the model, or write the id of the right one.");
        } else if (model->second.hasSerialRegister && !model->second.givesSerial &&
                   m_serials.listed(meter.value.slaveAddress) == nullptr) {
            m_report("no-serial", Severity::error, pointerTo(meter.path, "serial"),
                     "The daemon gets no serial for this meter from its register, so it never "
                     "sends its readings.",
                     "Write its serial here, or correct the type of the serial register.");
        }
    }

    const Installation::Meters& m_meters;
    bool m_hasModels;
    const std::unordered_set<std::string>& m_idsOfBroken;
    std::unordered_map<std::string, ModelFacts> m_models;
    Serials m_serials;
    const Reporter& m_report;
    bool m_isTcp;
    bool m_isBusUnknown;
    /// Those that were checked, by what could be alike; the first of each.
    std::unordered_map<int, const Meter*> m_byAddress = {};
    std::unordered_map<unsigned, const Meter*> m_byLowBits = {};
    /// The last one that was checked and whose address the library takes; and the last of all.
    const Meter* m_taken = nullptr;
    const Meter* m_lastTaken = nullptr;
};

} // namespace

void checkMeters(const Installation& installation, Findings& findings) {
    if (!installation.meters)
        return;
    const Reporter report("attached", findings);
    MeterCheck(installation, report).check();
}

} // namespace inspector
