#pragma once

#include "inspector/report/report.h"

#include <string>
#include <utility>
#include <vector>

// What a report says as text and on its page alike. A question mark stands for what isn't known.

namespace inspector {

/// What is told of log, polls and messages, by its name; what goes on has none.
std::vector<std::pair<std::string, std::string>> overviewOf(const Report& report);

/// Address, id, name, polls, share of the good ones, messages delivered and lost, values carried
/// forward, last good reading.
std::vector<std::string> rowOf(const Meter& meter, const Home& home);
/// Meter, register, why, count, longest run, first, last.
std::vector<std::string> rowOf(const std::string& meter, const FailureKind& kind,
                               const RegisterFailure& failure, const Home& home);

/// How often, and when.
std::string occasionsOf(const Notice& notice, const Home& home);

} // namespace inspector
