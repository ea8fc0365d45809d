#pragma once

#include <string_view>

namespace inspector {

// What the page and a report are made of.
extern const std::string_view pageHtml;
extern const std::string_view pageCss;
extern const std::string_view pageJs;
extern const std::string_view powerPlotJs;
extern const std::string_view reportJs;
extern const std::string_view pageIcon;
extern const std::string_view dygraphJs;
extern const std::string_view dygraphCss;

} // namespace inspector
