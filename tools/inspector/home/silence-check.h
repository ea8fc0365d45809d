#pragma once

#include "inspector/home/home.h"
#include "inspector/log/line.h"

#include <cstdint>
#include <optional>

namespace inspector {

/// Tells a time in which nothing was logged from one that passed within a single poll: there the
/// clock was set forward, or the process stood still, and no line is missing.
class SilenceCheck {
public:
    /// Nothing was logged in this time, and the thread goes on as if nothing had been.
    void begin(const Gap& silence, std::uint32_t thread);
    /// What comes tells nothing any more of the last silence.
    void forget() { m_silence.reset(); }
    /// Takes each line of a process. Gives the silence if this one shows that it passed within a
    /// single poll.
    std::optional<Gap> take(const Line& line);

private:
    /// What the timer of the polls logs: its expiry by a clock that nobody sets, which advances by
    /// a second from one poll to the next.
    struct Tick {
        std::uint32_t thread = 0;
        double expiry = 0;
    };

    bool isNext(const Tick& tick) const;

    std::optional<Gap> m_silence;
    std::uint32_t m_thread = 0;
    std::optional<Tick> m_tick;
};

} // namespace inspector
