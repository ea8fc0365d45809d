#include "inspector/home/attribution.h"

#include <algorithm>
#include <set>

namespace inspector {
namespace {

/// The known meters that gave no reading. One whose serial can't be read sends nothing, and its
/// failures follow those of the meter ahead.
std::set<int> absentFrom(const Poll& poll, const Home& home) {
    std::set<int> absent;
    for (const Meter& meter : home.meters)
        if (meter.slaveAddress)
            absent.insert(*meter.slaveAddress);
    for (const LoggedReading& reading : poll.readings)
        absent.erase(reading.slaveAddress);
    return absent;
}

} // namespace

void attribute(Poll& poll, const Home& home) {
    std::sort(poll.readings.begin(), poll.readings.end(),
              [](const LoggedReading& a, const LoggedReading& b) { return a.time < b.time; });
    const std::set<int> absent = absentFrom(poll, home);
    const auto isSerial = [](const FailedRead& x) {
        return x.kind.place.fieldType == vxModel::ModbusFieldType::serial;
    };
    for (std::size_t i = 0; i <= poll.readings.size(); ++i) {
        const bool hasMeter = i > 0;
        const bool isLast = i == poll.readings.size();
        // A read fails later than it begins, by the pause ahead of it.
        const auto isHere = [&](const FailedRead& x) {
            return !x.slaveAddress && (!hasMeter || x.time > poll.readings[i - 1].time) &&
                   (isLast || x.time <= poll.readings[i].time);
        };
        const bool isOfAbsent =
            !hasMeter || std::any_of(poll.failures.begin(), poll.failures.end(),
                                     [&](const auto& x) { return isHere(x) && isSerial(x); });
        std::optional<int> slaveAddress;
        if (!isOfAbsent)
            slaveAddress = poll.readings[i - 1].slaveAddress;
        else if (absent.size() == 1)
            slaveAddress = *absent.begin();
        for (FailedRead& failure : poll.failures) {
            if (isHere(failure))
                failure.slaveAddress = slaveAddress;
        }
    }
}

} // namespace inspector
