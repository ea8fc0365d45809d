#pragma once

#include "inspector/live/live-home.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inspector {

struct ScreenSize {
    std::size_t width = 80;
    std::size_t height = 24;
    bool hasColours = false;
};

/// A home in lines that fit: a row for each meter, with its tariffs below it if there is room for
/// those of all, and then the last troubles.
std::vector<std::string> watchScreen(const HomeView& view, std::string_view log,
                                     const ScreenSize& size);

/// Powers as a line of bars, of which the lowest stands for the lowest power or zero.
std::string sparkline(const std::deque<PowerPoint>& powers, std::size_t width);

} // namespace inspector
