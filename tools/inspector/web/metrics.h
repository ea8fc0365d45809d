#pragma once

#include "inspector/live/live-home.h"
#include "inspector/web/exposition.h"

#include <string>

namespace inspector {

/// The metrics of docs/fleet.md.
std::string metricsOf(const HomeView& view, Exposition::Format format);

} // namespace inspector
