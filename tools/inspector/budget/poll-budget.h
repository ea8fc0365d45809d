#pragma once

#include "inspector/input/installation.h"

#include <string>
#include <vector>

namespace inspector {

/// The least that a poll takes, in seconds, and where it goes. Answers come as soon as the Modbus
/// protocol allows; on TCP they take no time. It isn't the first one, in which refused addresses
/// have none before them.
struct PollBudget {
    struct Meter {
        int slaveAddress = 0;
        std::string configId = {};
        double seconds = 0;
        /// What the poll takes longer if the meter answers nothing.
        double deadSeconds = 0;
        /// Of a reading when the metering service gets it: from the start of the meter's read.
        double ageSeconds = 0;
    };
    struct Model {
        std::string id;
        std::size_t registers = 0;
        double seconds = 0;
    };

    double seconds = 0;
    /// Of the local server, ahead of the bus.
    double requests = 0;
    double pauses = 0;
    double wire = 0;
    /// For the answers to what is asked of all meters at once.
    double waits = 0;
    double closing = 0;
    /// Whether nothing tells the line's parameters, so that they are 9600 baud, even parity and one
    /// stop bit.
    bool isLineAssumed = false;
    /// Whether it is reckoned for Modbus TCP, not for a serial line.
    bool isTcp = false;
    /// Whether the daemon would open no bus, and it is reckoned as if it did.
    bool isBusAssumed = false;
    /// Whether the time-out is negative, and it is reckoned with the usual one.
    bool isTimeOutAssumed = false;
    /// In the order of reading.
    std::vector<Meter> meters = {};
    /// The longest list of registers first.
    std::vector<Model> models = {};
};

/// Without a configuration file its values are the daemon's defaults.
PollBudget budgetOf(const Installation& installation);

} // namespace inspector
