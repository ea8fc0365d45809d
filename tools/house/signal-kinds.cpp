#include "house/signal-kinds.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

namespace house {

namespace {

using Step = Signals::Step;
using Rule = Signals::Rule;

constexpr double hoursPerDay = 24.0;

/// A smooth unrest between -1 and 1. It depends on the time alone, so that all who look at the same
/// moment see the same value; names keep the signals from moving alike.
double unrest(double second, const std::string& name) {
    const double phase = std::accumulate(name.begin(), name.end(), 0.0);
    return (std::sin(second / 437.0 + phase) + std::sin(second / 113.0 + 2.0 * phase) +
            std::sin(second / 31.0 + 3.0 * phase)) /
           3.0;
}

/// Hours of the day. One that goes over midnight has to be described as two.
class Window {
public:
    Window(const JsonPart& part, const std::string& from, const std::string& to)
        : m_from(part.number(from)), m_to(part.number(to)) {
        part.at(from).check(m_from >= 0.0, "No hour of the day");
        part.at(to).check(m_to <= hoursPerDay, "No hour of the day");
        part.at(to).check(m_to > m_from, "Not later than " + from);
    }

    bool holds(double hour) const { return hour >= m_from && hour < m_to; }
    /// From 0 at its beginning to 1 at its end.
    double way(double hour) const { return (hour - m_from) / (m_to - m_from); }

private:
    double m_from;
    double m_to;
};

Rule constant(const SignalSource& source) {
    return [value = source.part.number("value")](const Step&) { return value; };
}

/// The seconds since the epoch, in the home's own time.
Rule calendar(const SignalSource&) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    double seconds = std::chrono::duration<double>(now).count();
    return [seconds](const Step& step) mutable {
        seconds += step.hours * 3600.0;
        return seconds;
    };
}

/// A bow over the day, with clouds that take up to a share of it.
Rule solar(const SignalSource& source) {
    const double peak = source.part.number("peak");
    const double clouds = source.part.number("clouds", 0.0);
    const Window day(source.part, "sunrise", "sunset");
    return [=, name = source.name](const Step& step) {
        if (!day.holds(step.hour))
            return 0.0;
        const double bow = std::pow(std::sin(std::numbers::pi * day.way(step.hour)), 1.3);
        return peak * bow * (1.0 - clouds * (1.0 + unrest(step.second, name)) / 2.0);
    };
}

/// A base load and humps over the day, the time when people cook.
Rule load(const SignalSource& source) {
    struct Hump {
        double hour;
        double width;
        double watts;
    };
    std::vector<Hump> humps;
    source.part.at("humps").forEach([&](const JsonPart& hump) {
        hump.allowOnly({"hour", "width", "watts"});
        hump.at("width").check(hump.number("width") > 0.0, "Not above 0");
        humps.push_back({hump.number("hour"), hump.number("width"), hump.number("watts")});
    });
    const double base = source.part.number("base");
    const double noise = source.part.number("noise", 0.0);
    return [=, name = source.name](const Step& step) {
        double watts = base;
        for (const Hump& hump : humps)
            watts += hump.watts * std::exp(-std::pow((step.hour - hump.hour) / hump.width, 2.0));
        return watts * (1.0 + noise * unrest(step.second, name));
    };
}

/// Times of the day at which a device draws power, or gives it when the watts are negative.
Rule sessions(const SignalSource& source) {
    struct Session {
        Window window;
        double watts;
    };
    std::vector<Session> all;
    source.part.at("sessions").forEach([&](const JsonPart& session) {
        session.allowOnly({"from", "to", "watts"});
        all.push_back({Window(session, "from", "to"), session.number("watts")});
    });
    const double noise = source.part.number("noise", 0.0);
    return [=, name = source.name](const Step& step) {
        for (const Session& session : all) {
            if (session.window.holds(step.hour))
                return session.watts * (1.0 + noise * unrest(step.second, name));
        }
        return 0.0;
    };
}

Rule sum(const SignalSource& source) {
    std::vector<std::pair<const double*, double>> terms;
    source.part.at("terms").forEach([&](const JsonPart& term) {
        term.allowOnly({"of", "factor"});
        terms.emplace_back(&source.others.reference(term.at("of")), term.number("factor", 1.0));
    });
    return [terms](const Step&) {
        double sum = 0.0;
        for (const auto& [value, factor] : terms)
            sum += *value * factor;
        return sum;
    };
}

/// The positive part of a signal.
Rule imported(const SignalSource& source) {
    return [&of = source.signal("of")](const Step&) { return std::max(of, 0.0); };
}

/// The negative part of a signal, without its sign.
Rule exported(const SignalSource& source) {
    return [&of = source.signal("of")](const Step&) { return std::max(-of, 0.0); };
}

/// A counter: the integral of a power as far as it is positive, in some hours or in all.
Rule energy(const SignalSource& source) {
    std::vector<Window> hours;
    const bool always = !source.part.has("hours");
    if (!always) {
        source.part.at("hours").forEach([&](const JsonPart& part) {
            part.allowOnly({"from", "to"});
            hours.emplace_back(part, "from", "to");
        });
    }
    const double& power = source.signal("of");
    double total = source.part.number("start");
    return [&power, hours, always, total](const Step& step) mutable {
        const auto holds = [&](const Window& window) { return window.holds(step.hour); };
        if (always || std::any_of(hours.begin(), hours.end(), holds))
            total += std::max(power, 0.0) * step.hours / 1000.0;
        return total;
    };
}

struct Kind {
    std::string name;
    /// Beside `kind`.
    std::vector<std::string> keys;
    Rule (*make)(const SignalSource& source);
};

/// In the order of the document about descriptions.
const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all{
        {"constant", {"value"}, constant},
        {"calendar", {}, calendar},
        {"solar", {"peak", "sunrise", "sunset", "clouds"}, solar},
        {"load", {"base", "humps", "noise"}, load},
        {"sessions", {"sessions", "noise"}, sessions},
        {"sum", {"terms"}, sum},
        {"import", {"of"}, imported},
        {"export", {"of"}, exported},
        {"energy", {"of", "start", "hours"}, energy},
    };
    return all;
}

[[noreturn]] void refuseKind(const JsonPart& kind) {
    std::string names;
    for (const Kind& known : kinds())
        names += (names.empty() ? "" : ", ") + known.name;
    kind.fail("No such kind of signal: " + kind.text() + "; there are " + names);
}

const Kind& find(const JsonPart& kind) {
    const std::string name = kind.text();
    const auto found = std::find_if(kinds().begin(), kinds().end(),
                                    [&](const Kind& known) { return known.name == name; });
    if (found == kinds().end())
        refuseKind(kind);
    return *found;
}

} // namespace

Rule makeRule(const SignalSource& source) {
    const Kind& kind = find(source.part.at("kind"));
    std::vector<std::string> keys = kind.keys;
    keys.emplace_back("kind");
    source.part.allowOnly(keys);
    return kind.make(source);
}

} // namespace house
