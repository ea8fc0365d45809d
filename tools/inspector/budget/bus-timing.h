#pragma once

#include "inspector/input/installation.h"

namespace inspector {

/// What a request takes on the bus, in seconds.
class BusTiming {
public:
    explicit BusTiming(const Installation& installation);

    /// From the first bit of the request to the last one of the answer with so many words.
    double exchange(int words) const;
    /// How long the daemon waits for an answer that doesn't come.
    double timeOut() const { return m_timeOut; }
    /// Whether the line's parameters are those of most meters, as nothing tells them.
    bool isAssumed() const { return m_isAssumed; }

private:
    /// Zero on TCP.
    double m_character = 0;
    /// Silence that ends a frame.
    double m_gap = 0;
    double m_timeOut;
    bool m_isAssumed = false;
};

} // namespace inspector
