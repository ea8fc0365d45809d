#include "house/signals.h"

#include "house/signal-kinds.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace house {

namespace {

constexpr double secondsPerHour = 3600.0;

} // namespace

Signals::Signals(const JsonPart& signals, double startHour) : m_second(startHour * secondsPerHour) {
    signals.forEachMember([&](const std::string& name, const JsonPart& signal) {
        Rule rule = makeRule({name, signal, *this});
        m_signals.push_back({&m_values[name], std::move(rule)});
    });
    step(0.0);
}

void Signals::advance(double seconds) {
    // Long absences go in short steps, so that counters follow the curve of their power.
    constexpr double longest = 60.0;
    for (; seconds > longest; seconds -= longest)
        step(longest);
    step(seconds);
}

void Signals::step(double seconds) {
    m_second += seconds;
    for (Signal& signal : m_signals)
        *signal.value = signal.rule({m_second, hour(), seconds / secondsPerHour});
}

double Signals::hour() const {
    return std::fmod(m_second / secondsPerHour, 24.0);
}

double Signals::value(const std::string& name) const {
    const auto found = m_values.find(name);
    if (found == m_values.end())
        throw std::runtime_error("No such signal: " + name);
    return found->second;
}

const double& Signals::reference(const JsonPart& name) const {
    const auto found = m_values.find(name.text());
    if (found == m_values.end())
        name.fail("No such signal: " + name.text());
    return found->second;
}

} // namespace house
