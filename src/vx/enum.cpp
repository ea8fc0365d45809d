#include "vx/enum.h"

#include "vx/log-context.h"
#include "vx/log.h"

#include <algorithm>

namespace vx {
namespace {

thread_local int pauses = 0;

} // namespace

LogChannel& enumLogChannel() {
    static LogChannel channel("vxEnum", LogSeverity::notice);
    return channel;
}

detail::EnumReportPause::EnumReportPause() {
    ++pauses;
}

detail::EnumReportPause::~EnumReportPause() {
    --pauses;
}

std::string_view detail::enumName(const EnumTable& table, std::int32_t value) {
    const auto* row = std::find_if(table.begin, table.end,
                                   [value](const EnumRow& x) { return x.value == value; });
    if (row != table.end)
        return row->name;
    if (pauses > 0)
        return {};
    const LogChannel& channel = enumLogChannel();
    if (channel.severity < LogSeverity::debug)
        return {};
    // The log context may show this very value, which would be reported again, without end.
    const EnumReportPause pause;
    channel.log(LogSeverity::debug,
                strArgs("Unknown ", table.name, " enum value ", value, " ", logContext(),
                        LogPosition{channel, __FILE__, __LINE__}));
    return {};
}

std::optional<std::int32_t> detail::tryEnumValue(const EnumTable& table, std::string_view name) {
    const auto* row =
        std::find_if(table.begin, table.end, [name](const EnumRow& x) { return x.name == name; });
    return row == table.end ? std::nullopt : std::optional(row->value);
}

void detail::reportUnknownName(const EnumTable& table, std::string_view name) {
    if (pauses > 0)
        return;
    const LogChannel& channel = enumLogChannel();
    if (LogSeverity::debug <= channel.severity) {
        channel.log(LogSeverity::debug,
                    strArgs("Unknown ", table.name,
                            " enum option. value:", name.data() == nullptr ? "null" : name, " ",
                            logContext(), LogPosition{channel, __FILE__, __LINE__}));
    }
}

} // namespace vx
