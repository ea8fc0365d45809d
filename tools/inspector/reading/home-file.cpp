#include "inspector/reading/home-file.h"

#include "inspector/daemon/daemon-facts.h"
#include "inspector/recording/read-failure.h"
#include "modbus/server-replies.h"
#include "vx/json.h"
#include "vx/record.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

namespace inspector {
namespace {

template <class T>
void addNew(std::vector<T>& list, const T& element) {
    if (std::find(list.begin(), list.end(), element) == list.end())
        list.push_back(element);
}

template <class T>
ServerAnswer goodReply(const T& record) {
    return {.body = vx::toJson(vx::toJsonFragment(record))};
}

/// Nothing for what was no request.
std::optional<std::string> recordedOutcome(const Answer& answer, int unit) {
    if (answer.isGood()) {
        std::string words;
        for (const std::uint16_t word : answer.words)
            words.append(words.empty() ? "" : ",").append(std::to_string(word));
        return "[" + words + "]";
    }
    // As the daemon's log has it.
    const std::string reason = std::strerror(answer.error);
    if (answer.error == EINVAL || !goesOverTheBus(reason))
        return std::nullopt;
    return failureOf(reason, unit);
}

void addReadsOf(RecordedPoll& poll, const MeterReading& reading) {
    for (const RegisterReading& x : reading.registers) {
        if (!x.answer)
            continue;
        const bool isInput = x.entry.registerType == vxModel::ModbusRegisterType::input;
        if (const auto outcome = recordedOutcome(*x.answer, reading.slaveAddress))
            poll.reads[{reading.slaveAddress, isInput, x.entry.address, wordsOf(x.entry)}]
                .push_back(*outcome);
    }
}

} // namespace

RecordedPoll recordedPoll(std::chrono::system_clock::time_point time,
                          const std::vector<ReadMeter>& meters,
                          const vxModel::SerialPortConfig& line) {
    orv::modbusreader::AttachedMetersReply attached;
    orv::modbusreader::MeterConfigReply supported;
    RecordedPoll poll;
    for (const ReadMeter& x : meters) {
        vxModel::ModbusMeter meter = x.meter;
        // The house shows its meters by name.
        if (meter.name.empty())
            meter.name = "Meter " + std::to_string(meter.slaveAddress);
        addNew(attached.data, meter);
        addNew(supported.data, x.model);
        addReadsOf(poll, x.reading);
    }
    poll.time = std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count();
    poll.rtuConfig = goodReply(orv::modbusreader::SerialPortConfigReply{line});
    poll.attached = goodReply(attached);
    poll.supported = goodReply(supported);
    return poll;
}

} // namespace inspector
