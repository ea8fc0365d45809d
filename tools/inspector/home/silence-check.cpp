#include "inspector/home/silence-check.h"

#include "inspector/log/text-fields.h"

#include <cmath>
#include <utility>

namespace inspector {
namespace {

/// Longer than a poll with hundreds of dead registers.
constexpr Moment longestPoll = 3600000;

bool isOldMessage(const Line& line) {
    if (line.channel != "modbusreaderSocketWriter" || !line.text.starts_with("Writing "))
        return false;
    const auto message = behind(line.text, "m_buffer:");
    const auto reading = message ? readingOf(*message) : std::nullopt;
    return reading && line.time - reading->time > longestPoll;
}

} // namespace

void SilenceCheck::begin(const Gap& silence, std::uint32_t thread) {
    m_silence = silence;
    m_thread = thread;
}

bool SilenceCheck::isNext(const Tick& tick) const {
    // The log shows six digits, so of a machine that was on for twelve days this is never known.
    constexpr double half = 0.5;
    return m_tick && m_tick->thread == tick.thread &&
           std::abs(tick.expiry - m_tick->expiry - 1) < half;
}

std::optional<Gap> SilenceCheck::take(const Line& line) {
    const bool isWithin = m_silence && m_thread == line.thread;
    if (line.channel == "modbusreaderMain" && line.text.starts_with("retry timer")) {
        const Tick tick{line.thread, numberBehind(line.text, "m_timer.expiry():").value_or(NAN)};
        const bool isJump = isWithin && isNext(tick);
        m_tick = tick;
        const std::optional<Gap> silence = std::exchange(m_silence, std::nullopt);
        return isJump ? silence : std::nullopt;
    }
    return isWithin && isOldMessage(line) ? std::exchange(m_silence, std::nullopt) : std::nullopt;
}

} // namespace inspector
