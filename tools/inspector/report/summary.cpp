#include "inspector/report/summary.h"

#include "inspector/budget/poll-budget.h"
#include "inspector/home/diagnostics.h"
#include "inspector/report/wording.h"
#include "modbus/server-replies.h"

#include <algorithm>
#include <exception>
#include <set>
#include <utility>

namespace inspector {
namespace {

constexpr double wattSecondsPerKilowattHour = 3.6e6;

/// Collects the notices of a home.
class Notices {
public:
    explicit Notices(const Home& home) : m_home(home) {}

    void add(const char* key, const Occurrences& seen, std::optional<std::size_t> meter = {},
             std::string subject = {}, bool needsPerson = true) {
        add(TroubleKind{key, {}}, seen, meter, std::move(subject), needsPerson);
    }
    void add(const TroubleKind& kind, const Occurrences& seen, std::optional<std::size_t> meter,
             std::string subject, bool needsPerson) {
        if (seen.count == 0)
            return;
        m_list.push_back({.key = kind.key,
                          .reason = kind.reason,
                          .needsPerson = needsPerson,
                          .meter = meter,
                          .seen = seen,
                          .subject = std::move(subject),
                          .explanation = explanationOf(kind.key, kind.reason)});
    }
    /// Whether something was still so at the end of the log, or happened often.
    bool isCurrent(const Occurrences& seen) const {
        constexpr Moment recent = 600000;
        const Moment poll = m_home.pollLengths.quantile(0.95).value_or(0);
        return seen.count > 0 &&
               (m_home.last.value_or(0) - seen.last <= std::max(recent, 5 * poll) ||
                100 * seen.count >= m_home.polls.value_or(seen.count * 100));
    }
    std::vector<Notice> take() { return std::move(m_list); }

private:
    const Home& m_home;
    std::vector<Notice> m_list;
};

/// The failures of a meter by their kind.
void addFailures(Notices& notices, const Failures& failures, std::optional<std::size_t> meter) {
    std::map<std::string, std::pair<Occurrences, std::set<RegisterPlace>>> kinds;
    for (const auto& [failed, failure] : failures) {
        auto& [seen, places] = kinds[failed.kind];
        seen = together(seen, failure.seen);
        places.insert(failed.place);
    }
    for (const auto& [kind, found] : kinds) {
        const auto& [seen, places] = found;
        const std::string subject = places.size() == 1
                                        ? nameOf(*places.begin())
                                        : std::to_string(places.size()) + " registers";
        notices.add({"register-unread", kind}, seen, meter, subject, notices.isCurrent(seen));
    }
}

void addCounters(Notices& notices, const Meter& meter, std::size_t index) {
    const auto fromTo = [](double from, double to) {
        return " from " + fixed(from / wattSecondsPerKilowattHour, 2) + " to " +
               fixed(to / wattSecondsPerKilowattHour, 2) + " kWh";
    };
    for (std::size_t i = 0; i < meter.counters.size(); ++i) {
        const Counter& counter = meter.counters[i];
        const std::string member(measuredMembers[i + firstEnergy]);
        notices.add("counter-backwards", counter.backwards, index,
                    member + fromTo(counter.backwardsFrom, counter.backwardsTo));
        notices.add("counter-jump", counter.jumps, index,
                    member + fromTo(counter.jumpFrom, counter.jumpTo));
        Occurrences still = counter.still;
        still.last = counter.stillUntil;
        notices.add("counter-still", still, index, member);
    }
}

/// Whether another one was read at its address since.
bool wasReplaced(const Home& home, const Meter& meter) {
    return std::any_of(home.meters.begin(), home.meters.end(), [&](const Meter& x) {
        return meter.slaveAddress && x.slaveAddress == meter.slaveAddress && isNewer(x, meter);
    });
}

/// Whether the list of attached meters has others, but none at its address any more. Of an empty
/// one nothing is read at all.
bool wasTakenOff(const Home& home, const Meter& meter) {
    bool isAnyAttached = false;
    for (const Meter& x : home.meters) {
        if (x.isAttached && x.slaveAddress == meter.slaveAddress)
            return false;
        isAnyAttached = isAnyAttached || x.isAttached;
    }
    return isAnyAttached;
}

/// A meter of which nothing comes, or nothing new.
void addSilence(Notices& notices, const Home& home, std::size_t index) {
    const Meter& meter = home.meters[index];
    const Moment end = home.lastTold.value_or(home.last.value_or(0));
    constexpr Moment atLeast = 60000;
    const Moment patience =
        std::max(atLeast, 5 * home.pollLengths.quantile(0.95).value_or(atLeast));
    // Where no meter at all is read, the reason is with the server.
    const bool anyIsRead = std::any_of(home.meters.begin(), home.meters.end(),
                                       [](const Meter& x) { return x.last.has_value(); });
    if (!home.polls || !anyIsRead || wasReplaced(home, meter) || wasTakenOff(home, meter))
        return;
    if (!meter.last || meter.id.empty())
        notices.add("meter-never-arrives", {1, home.first.value_or(0), end}, index);
    else if (end - meter.last->time > patience)
        notices.add("meter-silent", {1, meter.last->time, end}, index);
    else if (end - meter.lastGood.value_or(home.first.value_or(0)) > patience)
        notices.add("readings-stale", {1, meter.lastGood.value_or(home.first.value_or(0)), end},
                    index);
}

void addLog(Notices& notices, const Home& home) {
    const Occurrences all{1, home.first.value_or(0), home.last.value_or(0)};
    const auto times = [&](std::size_t count) {
        Occurrences seen = all;
        seen.count = count;
        return seen;
    };
    if (home.mixed > 1)
        notices.add("two-daemons", times(home.mixed), {}, {}, true);
    else
        notices.add("restarts", home.restarts, {}, {}, false);
    Occurrences gaps = times(home.gaps.value_or(0));
    if (!home.firstGaps.empty())
        gaps.first = home.firstGaps.front().from;
    notices.add("gap", gaps, {}, {}, false);
    notices.add("time-jump", home.timeJumps, {}, "lines stand behind later ones", false);
    notices.add("time-jump", home.leaps, {}, "minutes passed within one poll", false);
    notices.add("lines-cut", home.cut, {}, {}, false);
    notices.add("lines-forged", home.forged);
    notices.add("assertion", home.assertions);
    notices.add("uncaught-exception", home.terminations);
}

std::optional<double> leastSeconds(const Home& home) {
    using namespace orv::modbusreader;
    if (home.attachedReply.empty() || home.supportedReply.empty())
        return std::nullopt;
    try {
        Installation installation;
        installation.models.emplace();
        installation.meters.emplace();
        for (auto& x : vx::fromJson<MeterConfigReply>(home.supportedReply.c_str()).data)
            installation.models->push_back({std::move(x), {}});
        for (auto& x : vx::fromJson<AttachedMetersReply>(home.attachedReply.c_str()).data)
            installation.meters->push_back({std::move(x), {}});
        if (!home.serialReply.empty())
            installation.serial = {
                vx::fromJson<SerialPortConfigReply>(home.serialReply.c_str()).data, {}};
        if (home.connection.starts_with("Connecting TCP"))
            installation.config = {{.modbusTCPServer = "x"}, {}};
        return budgetOf(installation).seconds;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

bool Summary::needsPerson() const {
    return std::any_of(notices.begin(), notices.end(),
                       [](const Notice& x) { return x.needsPerson; });
}

Occurrences together(const Occurrences& a, const Occurrences& b) {
    if (a.count == 0 || b.count == 0)
        return a.count == 0 ? b : a;
    return {a.count + b.count, std::min(a.first, b.first), std::max(a.last, b.last)};
}

std::optional<std::size_t> restartsOf(const Home& home) {
    const bool isKnown = (home.polls || home.starts.count > 0) && home.mixed <= 1;
    return isKnown ? std::optional(home.restarts.count) : std::nullopt;
}

std::vector<Notice> noticesOf(const Home& home) {
    Notices notices(home);
    for (const auto& [kind, trouble] : home.troubles)
        notices.add(kind, trouble.seen, {}, trouble.line, notices.isCurrent(trouble.seen));
    for (const auto& [mark, seen] : home.lateAnswers)
        notices.add("late-answer", seen, {}, wordsOf(mark));
    for (std::size_t i = 0; i < home.meters.size(); ++i) {
        addSilence(notices, home, i);
        notices.add("late-answer", home.meters[i].shifted, i, wordsOf("shifted"));
        addFailures(notices, home.meters[i].failures, i);
        addCounters(notices, home.meters[i], i);
    }
    addFailures(notices, home.unattributed, std::nullopt);
    addLog(notices, home);
    return notices.take();
}

Summary summaryOf(const Home& home) {
    Summary summary{noticesOf(home), unknownOf(home), leastSeconds(home)};
    std::stable_sort(
        summary.notices.begin(), summary.notices.end(),
        [](const Notice& a, const Notice& b) { return a.needsPerson > b.needsPerson; });
    return summary;
}

} // namespace inspector
