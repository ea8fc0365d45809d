#include "inspector/budget/poll-budget.h"

#include "inspector/budget/bus-timing.h"
#include "inspector/daemon/daemon-facts.h"
#include "inspector/daemon/serials.h"

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

/// What reading a list of registers takes.
struct Read {
    double pauses = 0;
    double wire = 0;
    double waits = 0;

    double seconds() const { return pauses + wire; }
};

Read readOf(const vxModel::ElectricityMeterConfig& model, bool hasListedSerial,
            const BusTiming& timing) {
    Read read;
    bool hasSerial = hasListedSerial;
    for (const vxModel::ModbusRegister& x : model.registers) {
        const bool isSerial = x.fieldType == vxModel::ModbusFieldType::serial;
        const bool isSkipped = isSerial && hasSerial;
        // Without an answer there is no serial, so that the next such register is read too.
        if (isSkipped && hasListedSerial)
            continue;
        // The Modbus library refuses a longer request without a word on the bus.
        const bool isRefused = wordsOf(x) > MODBUS_MAX_READ_REGISTERS;
        if (!isRefused)
            read.waits += timing.timeOut();
        if (isSkipped) {
            read.waits += pause;
            continue;
        }
        read.pauses += pause;
        if (!isRefused) {
            read.wire += timing.exchange(wordsOf(x));
            read.waits -= timing.exchange(wordsOf(x));
        }
        hasSerial =
            hasSerial || (isSerial && !isRefused && hasEffect(x.modbusDataType, x.fieldType));
    }
    return read;
}

} // namespace

PollBudget budgetOf(const Installation& installation) {
    const BusTiming timing(installation);
    const Serials serials(installation);
    PollBudget budget{.requests = requestsOfPoll * secondsOfRequest,
                      .closing = closingSecond,
                      .isLineAssumed = timing.isAssumed()};
    std::unordered_map<std::string, std::vector<const vxModel::ElectricityMeterConfig*>> byId;
    for (const auto& [model, path] : modelsOf(installation)) {
        byId[model.id].push_back(&model);
        budget.models.push_back(
            {model.id, model.registers.size(), readOf(model, false, timing).seconds()});
    }
    std::stable_sort(budget.models.begin(), budget.models.end(),
                     [](const auto& a, const auto& b) { return a.registers > b.registers; });
    for (const auto& [meter, path] : metersOf(installation)) {
        for (const auto* model : byId[meter.configId]) {
            const bool hasListedSerial = serials.listed(meter.slaveAddress) != nullptr;
            const Read read = readOf(*model, hasListedSerial, timing);
            budget.pauses += read.pauses;
            budget.wire += read.wire;
            budget.meters.push_back(
                {meter.slaveAddress, meter.configId, read.seconds(), read.waits});
        }
    }
    // Each reading is sent when the poll is over.
    double age = budget.closing;
    std::for_each(budget.meters.rbegin(), budget.meters.rend(),
                  [&](PollBudget::Meter& meter) { meter.ageSeconds = age += meter.seconds; });
    budget.seconds = budget.requests + budget.pauses + budget.wire + budget.closing;
    return budget;
}

} // namespace inspector
