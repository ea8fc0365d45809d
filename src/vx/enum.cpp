#include "vx/enum.h"

#include "vx/log-context.h"
#include "vx/log.h"

#include <gsl/gsl>

#include <algorithm>

namespace vx {

LogChannel& enumLogChannel() {
    static LogChannel channel("vxEnum", LogSeverity::notice);
    return channel;
}

std::string detail::enumName(const EnumTable& table, std::int32_t value) {
    const auto* row = std::find_if(table.begin, table.end,
                                   [value](const EnumRow& x) { return x.value == value; });
    if (row != table.end)
        return row->name;
    const LogChannel& channel = enumLogChannel();
    // The log context may hold this very value, which would be reported again without end.
    static thread_local bool isReporting = false;
    if (channel.severity < LogSeverity::debug || isReporting)
        return {};
    isReporting = true;
    const auto end = gsl::finally([] { isReporting = false; });
    channel.log(LogSeverity::debug,
                strArgs("Unknown ", table.name, " enum value ", value, " ", logContext(),
                        trimFile(__FILE__, channel), ":", __LINE__));
    return {};
}

std::optional<std::int32_t> detail::tryEnumValue(const EnumTable& table, std::string_view name) {
    const auto* row =
        std::find_if(table.begin, table.end, [name](const EnumRow& x) { return x.name == name; });
    return row == table.end ? std::nullopt : std::optional(row->value);
}

void detail::reportUnknownName(const EnumTable& table, std::string_view name) {
    const LogChannel& channel = enumLogChannel();
    if (LogSeverity::debug <= channel.severity) {
        channel.log(LogSeverity::debug,
                    strArgs("Unknown ", table.name,
                            " enum option. value:", name.data() == nullptr ? "null" : name, " ",
                            logContext(), trimFile(__FILE__, channel), ":", __LINE__));
    }
}

} // namespace vx
