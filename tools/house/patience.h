#pragma once

#include <chrono>

namespace house {

/// The limit of every wait for an event. The environment variable READER_TEST_PATIENCE, 1 by
/// default, scales all limits at once, for runs under emulation or an instrumented memory.
class Patience {
public:
    /// @p base times READER_TEST_PATIENCE. A variable that is no positive number counts as 1.
    static std::chrono::milliseconds limit(std::chrono::milliseconds base = std::chrono::seconds{
                                               10});
};

} // namespace house
