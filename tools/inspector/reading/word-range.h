#pragma once

#include "inspector/bus/bus.h"
#include "inspector/solver/word-spaces.h"

#include <atomic>

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
/// refuses it is asked for in halves. Throws `ReadingError` if the meter doesn't answer, or when
/// @p stop is set.
WordSpaces readWords(Bus& bus, const WordRange& range, const std::atomic<bool>& stop);

} // namespace inspector
