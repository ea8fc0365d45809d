#include "inspector/budget/poll-budget.h"

#include "inspector/budget/bus-timing.h"
#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/serials.h"
#include "inspector/map/port-checks.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <unordered_map>

namespace inspector {
namespace {

/// Of one of the three requests of the local server, which is on the same machine.
constexpr double secondsOfRequest = 0.001;
constexpr int requestsOfPoll = 3;
constexpr double pause = 0.02;
constexpr double closingSecond = 1;

/// What becomes of all that a meter is asked for.
enum class Outcome {
    answer,
    silence,
    /// The library asks nobody.
    refusal,
};

/// What reading a list of registers takes.
struct Read {
    double pauses = 0;
    double wire = 0;
    double waits = 0;
    /// If the meter answers nothing.
    double pausesIfDead = 0;
    double waitsIfDead = 0;

    double seconds() const { return pauses + wire + waits; }
    double deadSeconds() const { return (pausesIfDead - pauses) + (waitsIfDead - waits) - wire; }
};

Read readOf(const vxModel::ElectricityMeterConfig& model, bool hasListedSerial,
            const BusTiming& timing, Outcome outcome) {
    Read read;
    bool hasSerial = false;
    for (const vxModel::ModbusRegister& x : model.registers) {
        if (!isAsked(x, hasListedSerial))
            continue;
        const bool isSerial = x.fieldType == vxModel::ModbusFieldType::serial;
        // The Modbus library refuses a longer request without a word on the bus.
        const bool isRefused =
            outcome == Outcome::refusal || wordsOf(x) > MODBUS_MAX_READ_REGISTERS;
        const double wait = isRefused ? 0 : timing.timeOut();
        // Without an answer there is no serial, so that the next such register is read too.
        read.pausesIfDead += pause;
        read.waitsIfDead += wait;
        if (isSerial && hasSerial)
            continue;
        read.pauses += pause;
        if (outcome == Outcome::silence)
            read.waits += wait;
        if (outcome != Outcome::answer || isRefused)
            continue;
        read.wire += timing.exchange(wordsOf(x));
        hasSerial = hasSerial || (isSerial && hasEffect(x.modbusDataType, x.fieldType));
    }
    return read;
}

using Models = std::vector<const vxModel::ElectricityMeterConfig*>;

bool areAsked(const Models& models, bool hasListedSerial) {
    return std::any_of(models.begin(), models.end(), [&](const auto* model) {
        return std::any_of(model->registers.begin(), model->registers.end(),
                           [&](const auto& x) { return isAsked(x, hasListedSerial); });
    });
}

/// Follows the address that the Modbus library has, which keeps that of the meter before, be it of
/// the poll before, where it refuses one.
class AskedAddress {
public:
    // Over TCP it begins with one.
    explicit AskedAddress(bool isTcp)
        : m_isTcp(isTcp), m_outcome(isTcp ? Outcome::answer : Outcome::refusal) {}

    void set(int slaveAddress) {
        if (isTakenAddress(slaveAddress, m_isTcp))
            m_outcome = slaveAddress == 0 && !m_isTcp ? Outcome::silence : Outcome::answer;
    }
    Outcome outcome() const { return m_outcome; }

private:
    bool m_isTcp;
    Outcome m_outcome;
};

void tellAssumptions(PollBudget& budget, const Installation& installation) {
    Findings findings;
    checkPort(installation, findings);
    budget.isBusAssumed = installation.isConfigBroken || installation.isSerialBroken;
    for (const Finding& x : findings) {
        const bool isOfTimeOut = x.name == "negative-time-out";
        budget.isTimeOutAssumed = budget.isTimeOutAssumed || isOfTimeOut;
        budget.isBusAssumed =
            budget.isBusAssumed || (x.severity == Severity::error && !isOfTimeOut);
    }
}

} // namespace

PollBudget budgetOf(const Installation& installation) {
    const BusTiming timing(installation);
    const Serials serials(installation);
    PollBudget budget{.requests = requestsOfPoll * secondsOfRequest,
                      .closing = closingSecond,
                      .isLineAssumed = timing.isAssumed(),
                      .isTcp = isTcp(installation)};
    tellAssumptions(budget, installation);
    std::unordered_map<std::string, Models> byId;
    for (const auto& [model, path] : modelsOf(installation)) {
        byId[model.id].push_back(&model);
        budget.models.push_back({model.id, model.registers.size(),
                                 readOf(model, false, timing, Outcome::answer).seconds()});
    }
    std::stable_sort(budget.models.begin(), budget.models.end(),
                     [](const auto& a, const auto& b) { return a.registers > b.registers; });
    AskedAddress asked(isTcp(installation));
    const auto ask = [&](const vxModel::ModbusMeter& meter) {
        if (areAsked(byId[meter.configId], serials.listed(meter.slaveAddress) != nullptr))
            asked.set(meter.slaveAddress);
    };
    for (const auto& [meter, path] : metersOf(installation))
        ask(meter);
    for (const auto& [meter, path] : metersOf(installation)) {
        ask(meter);
        for (const auto* model : byId[meter.configId]) {
            const bool hasListedSerial = serials.listed(meter.slaveAddress) != nullptr;
            const Read read = readOf(*model, hasListedSerial, timing, asked.outcome());
            budget.pauses += read.pauses;
            budget.wire += read.wire;
            budget.waits += read.waits;
            budget.meters.push_back(
                {meter.slaveAddress, meter.configId, read.seconds(), read.deadSeconds()});
        }
    }
    // Each reading is sent when the poll is over.
    double age = budget.closing;
    std::for_each(budget.meters.rbegin(), budget.meters.rend(),
                  [&](PollBudget::Meter& meter) { meter.ageSeconds = age += meter.seconds; });
    budget.seconds = budget.requests + budget.pauses + budget.wire + budget.waits + budget.closing;
    return budget;
}

} // namespace inspector
