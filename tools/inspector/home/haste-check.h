#pragma once

#include "inspector/home/home.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace inspector {

/// Looks at the pace of a serial line for values that came sooner than the line carries a question
/// and its answer. Such an answer was there ahead of its question, so it is one to an earlier one,
/// and its value is older than its time.
class HasteCheck {
public:
    explicit HasteCheck(Home& home) : m_home(&home) {}

    /// The line of the log that tells what the daemon connects to.
    void connect(std::string_view connection);
    /// A read of a meter begins.
    void begin(Moment time);
    /// The next value of it came.
    void take(Moment time);
    /// The next register of it could not be read, for a reason of docs/diagnostics.json.
    void fail(Moment time, std::string_view kind);
    /// The read is over. Whether values of it came too soon.
    bool end();

private:
    /// Whether the line keeps the pace of its parameters, so that the log tells such values.
    bool isKnown() const { return m_least && m_usual >= enough; }

    /// A simulated line may keep its pace by chance.
    static constexpr std::size_t enough = 100;

    Home* m_home;
    /// What there has to be for this line to be known; unset on Modbus TCP, where no late answer
    /// gives a value.
    std::optional<HasteLack> m_lack = HasteLack::parameters;
    /// The home counts it as such.
    bool m_isUntold = false;
    /// The milliseconds from one value to the next on this line.
    std::optional<double> m_least;
    std::optional<Moment> m_last;
    /// Values that took their time.
    std::size_t m_usual = 0;
    /// Values one after another that came too soon, of whatever meters.
    std::size_t m_hasty = 0;
    /// One of the read that goes on did.
    bool m_isHasty = false;
};

} // namespace inspector
