#pragma once

#include "inspector/live/live-home.h"

#include <string_view>

namespace inspector {

enum class Health {
    /// The log doesn't tell.
    unknown,
    good,
    /// It answers, but registers of it can't be read.
    failing,
    /// It answered nothing in the last poll, or there is no poll any more.
    silent,
};

std::string_view nameOf(Health health);

/// Of the meter at a place of the home.
Health healthOf(const HomeView& view, std::size_t meter);
/// Whether the daemon polls.
Health healthOfReader(const HomeView& view);

/// After which age a reading tells nothing of the present: after four polls, and a minute at
/// least.
Moment longestAge(const HomeView& view);

} // namespace inspector
