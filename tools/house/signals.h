#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "house/json-part.h"

namespace house {

/// The moving values of a home: powers in watts, counters in kilowatt-hours, constants. Every
/// signal has a name and may be made of the signals that are described ahead of it. A further kind
/// of signal is a function and a row of the table in `signal-kinds.cpp`.
class Signals {
public:
    /// A step of the home's time.
    struct Step {
        /// Seconds since the midnight before the start, and the hour of the day, 0 to 24.
        double second;
        double hour;
        /// How long the step was.
        double hours;
    };

    /// The value of a signal after a step.
    using Rule = std::function<double(const Step&)>;

    /// Takes the object `signals` of a description; the time begins at @p startHour of the day.
    Signals(const JsonPart& signals, double startHour);

    /// Lets @p seconds of the home's own time pass.
    void advance(double seconds);
    /// The hour of the day, 0 to 24.
    double hour() const;
    /// Throws `std::runtime_error` for an unknown name.
    double value(const std::string& name) const;
    /// The value of the signal that a description names. It stays in its place and follows the
    /// time.
    const double& reference(const JsonPart& name) const;

private:
    void step(double seconds);

    struct Signal {
        double* value;
        Rule rule;
    };

    std::map<std::string, double> m_values;
    std::vector<Signal> m_signals;
    double m_second;
};

} // namespace house
