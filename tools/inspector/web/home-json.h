#pragma once

#include "inspector/live/live-home.h"

#include <string>
#include <string_view>

namespace inspector {

/// A home as JSON: the state of the reader and its meters, and the troubles with what to do about
/// them. With its @p course, the powers of the last hours and the energies by day.
std::string homeJson(const HomeView& view, std::string_view log, bool withCourse);

} // namespace inspector
