#pragma once

#include "inspector/bus/bus.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace inspector {

/// What a scan asks: each address under each setting of the line.
struct ScanPlan {
    int firstAddress = 1;
    int lastAddress = 247;
    /// One of them, that of the bus as it is, for TCP.
    std::vector<LineParameters> lines = {};
    std::chrono::milliseconds timeOut{};

    std::size_t questions() const;
    /// If nothing answers.
    std::chrono::duration<double> longest() const;
};

/// An address at which something answered, if only by a refusal.
struct Found {
    int slaveAddress = 0;
    LineParameters line = {};
    /// "answers", or what it refused with, or what is wrong with what came.
    std::string answer = {};
    /// Whether nothing came that is an answer, however often it was asked.
    bool isGarbled = false;
};

/// Asks for the first input and the first holding register of each address until @p stop is set;
/// @p progress is told the number of questions that are answered or given up. Throws `BusError`;
/// @p all holds what was found until then.
void scan(Bus& bus, const ScanPlan& plan, const std::atomic<bool>& stop, std::vector<Found>& all,
          const std::function<void(std::size_t done, const Found* found)>& progress);

} // namespace inspector
