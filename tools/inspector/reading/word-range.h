#pragma once

#include "inspector/bus/bus.h"
#include "inspector/solver/word-spaces.h"

#include <atomic>
#include <functional>
#include <string>

namespace inspector {

/// Registers of a meter, in both spaces.
struct WordRange {
    int slaveAddress = 1;
    int first = 0;
    int last = 0;
};

/// How many requests it takes if the meter refuses none.
int requestsOf(const WordRange& range);
/// How long they take at least, on a serial line.
double secondsOf(const WordRange& range, const LineParameters& line);

/// Reads all words of a range that the meter gives, in requests as large as it takes: what it
/// refuses it is asked for in halves. A meter may answer in one space alone: @p tell learns why the
/// other one ends early. Throws `ReadingError` if it does so in both, or when @p stop is set.
WordSpaces readWords(Bus& bus, const WordRange& range, const std::atomic<bool>& stop,
                     const std::function<void(const std::string&)>& tell);

} // namespace inspector
