#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/enum-names.h"
#include "inspector/daemon/serials.h"
#include "inspector/input/pointer.h"
#include "inspector/map/checks.h"

#include <array>
#include <string>
#include <unordered_map>
#include <vector>

namespace inspector {
namespace {

using vxModel::ModbusFieldType;
using vxModel::ModbusRegister;

/// Checks the registers of one model beside one another.
class ModelCheck {
public:
    ModelCheck(const Placed<vxModel::ElectricityMeterConfig>& model, const Reporter& report)
        : m_registers(model.value.registers),
          m_path(pointerTo(model.path, "registers")),
          m_report(report) {}

    void check(bool needsSerial) {
        bool hasSerial = false;
        for (std::size_t i = 0; i < m_registers.size(); ++i) {
            const bool isSerial = m_registers[i].fieldType == ModbusFieldType::serial;
            hasSerial = hasSerial || isSerial;
            if (isSerial && !needsSerial)
                neverRead(i);
            else
                checkOthers(i);
        }
        if (!hasSerial)
            noSerial();
        checkPowers();
    }

private:
    /// Whether one ahead of it has the same field.
    void checkOthers(std::size_t index) {
        const ModbusRegister& x = m_registers[index];
        // One without effect disturbs no other.
        if (!hasEffect(x.modbusDataType, x.fieldType))
            return;
        std::size_t& last = m_last.at(static_cast<std::size_t>(x.fieldType));
        if (last != 0)
            fieldTwice(x.fieldType, last - 1, index);
        last = index + 1;
    }

    void noSerial() const {
        m_report("no-serial-register", Severity::error, m_path,
                 "The daemon never sends anything of this model's meters, whatever serial the "
                 "list of attached meters gives them.",
                 "Add a register of type \"serial\"; with a serial in the list it isn't read.");
    }

    void neverRead(std::size_t serial) const {
        m_report("serial-never-read", Severity::hint, pointerTo(m_path, serial),
                 "The daemon takes the serial of the list of attached meters and never reads "
                 "this register.",
                 "Keep the register, without which nothing is sent, and delete the serial in "
                 "the list if the meter's own is to count.");
    }

    void fieldTwice(ModbusFieldType fieldType, std::size_t first, std::size_t second) const {
        if (fieldType == ModbusFieldType::serial) {
            m_report(
                "same-field-twice", Severity::warning, fieldPath(second),
                "The daemon takes the serial of the first register that gives one, at address " +
                    address(first) + ", and reads this one only if that fails.",
                "Delete one of them.");
            return;
        }
        const bool isSigned = fieldType == ModbusFieldType::powerImport;
        m_report("same-field-twice", Severity::warning, fieldPath(second),
                 "Two registers are " + quoted(nameOf(fieldType)) +
                     ", and the daemon lets this one win over that at address " + address(first) +
                     (isSigned ? "; but if their signs differ, the message holds both as "
                                 "consumption and production."
                               : "."),
                 "Delete one of them: the daemon adds nothing up.");
    }

    void checkPowers() const {
        const std::size_t imports = m_last[static_cast<std::size_t>(ModbusFieldType::powerImport)];
        const std::size_t exports = m_last[static_cast<std::size_t>(ModbusFieldType::powerExport)];
        if (exports == 0)
            return;
        const std::size_t lastExport = exports - 1;
        if (imports == 0) {
            m_report("export-alone", Severity::hint, fieldPath(lastExport),
                     "The daemon sends this power as production with its sign as it is, and after "
                     "a failed read as none, as it carries nothing over.",
                     "If the meter has one signed power, make it \"powerImport\".");
            return;
        }
        const std::size_t lastImport = imports - 1;
        if (lastImport < lastExport && canBeNegative(m_registers[lastImport])) {
            m_report(
                "import-and-export", Severity::hint, fieldPath(lastExport),
                "The daemon reads this register behind that of \"powerImport\" and puts its "
                "value in the place of what a negative import left as production; if the import "
                "can't be read, it takes both powers of the poll before.",
                "Delete this one if the import has a sign; keep both if it is never negative.");
        } else if (lastImport > lastExport) {
            m_report("import-and-export", Severity::warning, fieldPath(lastImport),
                     "The daemon reads this register behind that of \"powerExport\" and drops the "
                     "export whenever the import isn't above zero: its negation takes the place.",
                     "Put \"powerExport\" behind it, or delete one of them.");
        }
    }

    static bool canBeNegative(const ModbusRegister& x) {
        using enum vxModel::ModbusDataType;
        const bool isUnsigned =
            x.modbusDataType == uint16 || x.modbusDataType == uint32 || x.modbusDataType == uint64;
        return !isUnsigned || x.scaleValue < 0;
    }

    std::string fieldPath(std::size_t index) const {
        return pointerTo(pointerTo(m_path, index), "fieldType");
    }
    std::string address(std::size_t index) const {
        return std::to_string(m_registers[index].address);
    }

    const std::vector<ModbusRegister>& m_registers;
    std::string m_path;
    const Reporter& m_report;
    /// One more than the index of the last register of each field; 0 if there is none.
    std::array<std::size_t, fieldTypes> m_last = {};
};

} // namespace

void checkModels(const Installation& installation, Findings& findings) {
    if (!installation.models)
        return;
    const Reporter report("supported", findings);
    const Serials serials(installation);
    std::unordered_map<std::string, std::string> pathOfId;
    for (const auto& model : *installation.models) {
        ModelCheck(model, report).check(serials.needsRegister(model.value));
        const auto [earlier, isNew] = pathOfId.try_emplace(model.value.id, model.path);
        if (!isNew) {
            report("model-twice", Severity::warning, pointerTo(model.path, "id"),
                   "The model " + quoted(model.value.id) + " stands also at " + earlier->second +
                       ", and the daemon reads each of its meters once with each, and sends each "
                       "reading that has a serial.",
                   "Delete one of them, or give it another id.");
        }
    }
}

} // namespace inspector
