#pragma once

#include "modbus/reader-world.h"

/// A home of two meters. The serial parameters have no data bits, so a line is never connected.
class PollCycle : public ReaderWorld {
protected:
    PollCycle() {
        serve(twoMeters);
        bus->unit(7).holding(10, {70}).holding(11, {71});
        bus->unit(8).holding(10, {80}).holding(11, {81});
    }

    /// A poll whose account nobody asks for.
    void firstPoll() {
        poll();
        forget();
    }

    /// The account of a second poll, from its second request on and as a whole.
    static constexpr const char* restOfSecondPoll = R"(?? GET …/attached                 200
?? GET …/config/supported         200
>> unit 7  read holding 10 x1
<< 0046
>> unit 8  read holding 10 x1
<< 0050
=  {"id":"S-7","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":70.0}
=  {"id":"S-8","slaveAddress":8,"meteringType":"modbus","lastChanged":"<time>","powerConsumed":80.0}
)";
    const std::string secondPoll =
        "?? GET …/rtuconfig                200\n" + std::string(restOfSecondPoll);
};
