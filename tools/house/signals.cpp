#include "house/signals.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>

namespace house {

namespace {

using Step = Signals::Step;
using Rule = Signals::Rule;

constexpr double secondsPerHour = 3600.0;
constexpr double hoursPerDay = 24.0;

/// A smooth unrest between -1 and 1. It depends on the time alone, so that all who look at the same
/// moment see the same value; names keep the signals from moving alike.
double unrest(double second, const std::string& name) {
    const double phase = std::accumulate(name.begin(), name.end(), 0.0);
    return (std::sin(second / 437.0 + phase) + std::sin(second / 113.0 + 2.0 * phase) +
            std::sin(second / 31.0 + 3.0 * phase)) /
           3.0;
}

struct Window {
    double from;
    double to;

    bool holds(double hour) const { return hour >= from && hour < to; }
};

/// One that goes over midnight has to be described as two.
Window window(const JsonPart& description, const std::string& from, const std::string& to) {
    const Window result{description.number(from), description.number(to)};
    description.at(from).check(result.from >= 0.0, "No hour of the day");
    description.at(to).check(result.to <= hoursPerDay, "No hour of the day");
    description.at(to).check(result.to > result.from, "Not later than " + from);
    return result;
}

std::vector<Window> windows(const JsonPart& description) {
    std::vector<Window> result;
    description.forEach([&](const JsonPart& part) {
        part.allowOnly({"from", "to"});
        result.push_back(window(part, "from", "to"));
    });
    return result;
}

Rule constant(const JsonPart& description) {
    description.allowOnly({"kind", "value"});
    return [value = description.number("value")](const Step&) { return value; };
}

/// The seconds since the epoch, in the home's own time.
Rule calendar(const JsonPart& description) {
    description.allowOnly({"kind"});
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    double seconds = std::chrono::duration<double>(now).count();
    return [seconds](const Step& step) mutable {
        seconds += step.hours * secondsPerHour;
        return seconds;
    };
}

Rule solar(const std::string& name, const JsonPart& description) {
    description.allowOnly({"kind", "peak", "sunrise", "sunset", "clouds"});
    const double peak = description.number("peak");
    const double clouds = description.number("clouds", 0.0);
    const Window day = window(description, "sunrise", "sunset");
    return [=](const Step& step) {
        if (!day.holds(step.hour))
            return 0.0;
        const double way = (step.hour - day.from) / (day.to - day.from);
        const double clearSky = peak * std::pow(std::sin(std::numbers::pi * way), 1.3);
        return clearSky * (1.0 - clouds * (1.0 + unrest(step.second, name)) / 2.0);
    };
}

/// A base load and humps over the day, the time when people cook.
Rule load(const std::string& name, const JsonPart& description) {
    struct Hump {
        double hour;
        double width;
        double watts;
    };
    description.allowOnly({"kind", "base", "humps", "noise"});
    std::vector<Hump> humps;
    description.at("humps").forEach([&](const JsonPart& hump) {
        hump.allowOnly({"hour", "width", "watts"});
        hump.at("width").check(hump.number("width") > 0.0, "Not above 0");
        humps.push_back({hump.number("hour"), hump.number("width"), hump.number("watts")});
    });
    const double base = description.number("base");
    const double noise = description.number("noise", 0.0);
    return [=](const Step& step) {
        double watts = base;
        for (const Hump& hump : humps)
            watts += hump.watts * std::exp(-std::pow((step.hour - hump.hour) / hump.width, 2.0));
        return watts * (1.0 + noise * unrest(step.second, name));
    };
}

/// Times of the day at which a device draws power, or gives it when the watts are negative.
Rule sessions(const std::string& name, const JsonPart& description) {
    struct Session {
        Window window;
        double watts;
    };
    description.allowOnly({"kind", "sessions", "noise"});
    std::vector<Session> all;
    description.at("sessions").forEach([&](const JsonPart& session) {
        session.allowOnly({"from", "to", "watts"});
        all.push_back({window(session, "from", "to"), session.number("watts")});
    });
    const double noise = description.number("noise", 0.0);
    return [=](const Step& step) {
        for (const Session& session : all) {
            if (session.window.holds(step.hour))
                return session.watts * (1.0 + noise * unrest(step.second, name));
        }
        return 0.0;
    };
}

/// A counter: the integral of a power as far as it is positive, in some hours or in all.
Rule energy(const double& power, const JsonPart& description) {
    description.allowOnly({"kind", "of", "start", "hours"});
    const std::vector<Window> hours = description.has("hours")
                                          ? windows(description.at("hours"))
                                          : std::vector<Window>{{0.0, hoursPerDay}};
    double total = description.number("start");
    return [&power, hours, total](const Step& step) mutable {
        const auto holds = [&](const Window& window) { return window.holds(step.hour); };
        if (std::any_of(hours.begin(), hours.end(), holds))
            total += std::max(power, 0.0) * step.hours / 1000.0;
        return total;
    };
}

} // namespace

Signals::Signals(const JsonPart& description, double startHour)
    : m_second(startHour * secondsPerHour) {
    description.forEachMember([&](const std::string& name, const JsonPart& signal) {
        Rule rule = makeRule(name, signal);
        m_signals.push_back({&m_values[name], std::move(rule)});
    });
    step(0.0);
}

Rule Signals::makeRule(const std::string& name, const JsonPart& description) const {
    const std::string kind = description.text("kind");
    if (kind == "constant")
        return constant(description);
    if (kind == "calendar")
        return calendar(description);
    if (kind == "solar")
        return solar(name, description);
    if (kind == "load")
        return load(name, description);
    if (kind == "sessions")
        return sessions(name, description);
    if (kind == "energy")
        return energy(reference(description.at("of")), description);
    if (kind == "import")
        return positivePart(description, 1.0);
    if (kind == "export")
        return positivePart(description, -1.0);
    if (kind == "sum")
        return sum(description);
    description.at("kind").fail("No such kind of signal: " + kind);
}

/// The positive part of a signal times @p sign.
Rule Signals::positivePart(const JsonPart& description, double sign) const {
    description.allowOnly({"kind", "of"});
    return [sign, &of = reference(description.at("of"))](const Step&) {
        return std::max(sign * of, 0.0);
    };
}

Rule Signals::sum(const JsonPart& description) const {
    description.allowOnly({"kind", "terms"});
    std::vector<std::pair<const double*, double>> terms;
    description.at("terms").forEach([&](const JsonPart& term) {
        term.allowOnly({"of", "factor"});
        terms.emplace_back(&reference(term.at("of")), term.number("factor", 1.0));
    });
    return [terms](const Step&) {
        double sum = 0.0;
        for (const auto& [value, factor] : terms)
            sum += *value * factor;
        return sum;
    };
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
    return std::fmod(m_second / secondsPerHour, hoursPerDay);
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
