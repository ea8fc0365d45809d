#pragma once

#include "inspector/home/home.h"

#include <cstddef>
#include <optional>

namespace inspector {

/// Whether a register could not be read in this poll; nothing is known of a poll without a number.
bool isInPoll(const RegisterFailure& failure, std::optional<std::size_t> poll);

/// Whether registers of the meter failed in this poll, all of them because nothing came from it.
bool gaveNoAnswer(const Meter& meter, std::optional<std::size_t> poll);

} // namespace inspector
