#include "inspector/web/home-json.h"

#include "inspector/daemon/enum-names.h"
#include "inspector/live/course-json.h"
#include "inspector/live/health.h"
#include "inspector/report/summary.h"
#include "inspector/report/wording.h"
#include "inspector/web/notice-json.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

namespace inspector {
namespace {

constexpr std::size_t mostFailures = 500;

class HomeJson {
public:
    HomeJson(const HomeView& view, bool withCourse)
        : m_view(view), m_withCourse(withCourse), m_meters(presentMeters(view.home)) {
        chooseFailures();
    }

    std::string write(std::string_view log) {
        m_json.beginObject();
        m_json.member("time", utcText(m_view.now));
        m_json.member("version", MODBUS_INSPECTOR_VERSION);
        writeLog(log);
        writeNotices(m_json, m_view);
        writeReader();
        m_json.key("meters");
        m_json.beginList();
        for (const std::size_t place : m_meters)
            writeMeter(place);
        m_json.endList();
        writeTroubles();
        m_json.endObject();
        return std::string(m_json.text());
    }

private:
    void writeLog(std::string_view log);
    void writeReader();
    void writeMeter(std::size_t place);
    void writeReading(const Meter& meter);
    void chooseFailures();
    bool hasRoom(Moment lastSeen);
    void writeFailures(const Failures& failures);
    void writeCourse(const MeterCourse& course);
    void writeDay(const Day& day);
    void writeTroubles();

    template <class T>
    void known(std::string_view name, const std::optional<T>& value) {
        m_json.key(name);
        if (value)
            m_json.value(*value);
        else
            m_json.null();
    }
    void time(std::string_view name, const std::optional<Moment>& moment) {
        known(name, moment ? std::optional(utcText(*moment)) : std::nullopt);
    }
    void age(std::string_view name, const std::optional<Moment>& moment) {
        const auto since = [&](Moment from) {
            return inSeconds(std::max<Moment>(m_view.now - from, 0));
        };
        known(name, moment ? std::optional(since(*moment)) : std::nullopt);
    }
    /// Of a reading or a day, where 0 stands for a value that isn't there.
    void measured(std::string_view name, double value) {
        if (value != 0)
            m_json.member(name, value);
    }

    const HomeView& m_view;
    bool m_withCourse;
    std::vector<std::size_t> m_meters;
    /// The failures that were seen before have no room.
    Moment m_oldestFailure = std::numeric_limits<Moment>::min();
    /// So many of those that were last seen just then have some.
    std::size_t m_roomForOldest = mostFailures;
    std::size_t m_failuresLeftOut = 0;
    JsonOutput m_json;
};

void HomeJson::writeLog(std::string_view log) {
    const Home& home = m_view.home;
    m_json.key("log");
    m_json.beginObject();
    m_json.member("source", log);
    m_json.member("lines", home.lines);
    time("first", home.first);
    time("last", home.last);
    m_json.member("isOver", m_view.isOver);
    m_json.endObject();
}

void HomeJson::writeReader() {
    const Home& home = m_view.home;
    m_json.key("reader");
    m_json.beginObject();
    m_json.member("health", nameOf(healthOfReader(m_view)));
    known("polls", home.polls);
    age("lastPollAgeSeconds", m_view.lastPoll);
    const auto seconds = [](std::optional<std::int64_t> milliseconds) {
        return milliseconds ? std::optional(inSeconds(*milliseconds)) : std::nullopt;
    };
    const LengthHistogram& lengths = home.pollLengths;
    const bool hasLengths = lengths.count() > 0;
    known("lastPollSeconds", seconds(hasLengths ? std::optional(lengths.last()) : std::nullopt));
    known("medianPollSeconds", seconds(lengths.quantile(0.5)));
    known("longestPollSeconds",
          seconds(hasLengths ? std::optional(lengths.longest()) : std::nullopt));
    m_json.member("longestAgeSeconds", inSeconds(longestAge(m_view)));
    known("restarts", restartsOf(home));
    m_json.member("assertionFailures", crashesOf(home));
    known("delivered", home.delivered);
    known("lost", home.lost);
    m_json.member("connection", home.connection);
    m_json.endObject();
}

void HomeJson::writeMeter(std::size_t place) {
    const Meter& meter = m_view.home.meters[place];
    m_json.beginObject();
    m_json.member("slaveAddress", *meter.slaveAddress);
    m_json.member("id", meter.id);
    m_json.member("name", meter.name);
    m_json.member("model", meter.configId);
    m_json.member("health", nameOf(healthOf(m_view, place)));
    age("ageSeconds", meter.last ? std::optional(meter.last->time) : std::nullopt);
    age("goodAgeSeconds", meter.lastGood);
    known("polls", meter.polls);
    known("goodPolls", meter.goodPolls);
    known("delivered", meter.delivered);
    known("lost", meter.lost);
    known("carriedForward", meter.carried);
    writeReading(meter);
    static const MeterCourse none;
    const MeterCourse& course = place < m_view.courses.size() ? m_view.courses[place] : none;
    known("power", course.power());
    m_json.member("energyDecreases", course.decreases());
    m_json.member("energyJumps", course.jumps());
    m_json.key("failures");
    writeFailures(meter.failures);
    if (m_withCourse)
        writeCourse(course);
    else if (!course.days().empty()) {
        m_json.key("today");
        writeDay(course.days().back());
    }
    m_json.endObject();
}

void HomeJson::writeReading(const Meter& meter) {
    m_json.key("reading");
    if (!meter.last) {
        m_json.null();
        return;
    }
    m_json.beginObject();
    time("time", meter.last->time);
    m_json.member("tariffEnabled", meter.last->tariffEnabled);
    // An energy that is no number is left out, as one that isn't there.
    for (std::size_t i = 0; i < measuredMembers.size(); ++i)
        if (i < firstEnergy || !std::isnan(meter.last->values[i]))
            measured(measuredMembers[i], meter.last->values[i]);
    m_json.endObject();
}

/// Each text of a home is sent to many, so it holds the last ones alone if there are thousands.
void HomeJson::chooseFailures() {
    std::vector<Moment> moments;
    const auto note = [&](const Failures& failures) {
        for (const auto& [kind, failure] : failures)
            moments.push_back(failure.seen.last);
    };
    for (const std::size_t place : m_meters)
        note(m_view.home.meters[place].failures);
    note(m_view.home.unattributed);
    if (moments.size() <= mostFailures)
        return;
    const auto oldest = moments.begin() + static_cast<std::ptrdiff_t>(mostFailures - 1);
    std::nth_element(moments.begin(), oldest, moments.end(), std::greater<>());
    m_oldestFailure = *oldest;
    m_roomForOldest =
        static_cast<std::size_t>(std::count(moments.begin(), std::next(oldest), *oldest));
    m_failuresLeftOut = moments.size() - mostFailures;
}

bool HomeJson::hasRoom(Moment lastSeen) {
    if (lastSeen != m_oldestFailure)
        return lastSeen > m_oldestFailure;
    if (m_roomForOldest == 0)
        return false;
    --m_roomForOldest;
    return true;
}

void HomeJson::writeFailures(const Failures& failures) {
    m_json.beginList();
    for (const auto& [kind, failure] : failures) {
        if (!hasRoom(failure.seen.last))
            continue;
        m_json.beginObject();
        m_json.member("address", kind.place.address);
        m_json.member("registerType", kind.place.isInput ? "input" : "holding");
        m_json.member("fieldType", nameOf(kind.place.fieldType));
        m_json.member("kind", kind.kind);
        writeSeen(m_json, failure.seen, m_view.now);
        m_json.member("isInLastPoll",
                      failure.longestRun.has_value() && failure.poll == m_view.home.polls);
        known("longestRun", failure.longestRun);
        writeExplanation(m_json, explanationOf("register-unread", kind.kind));
        m_json.endObject();
    }
    m_json.endList();
}

void HomeJson::writeCourse(const MeterCourse& course) {
    writePowers(m_json, course);
    m_json.key("days");
    m_json.beginList();
    for (const Day& day : course.days())
        writeDay(day);
    m_json.endList();
}

void HomeJson::writeDay(const Day& day) {
    m_json.beginObject();
    m_json.member("day", dayText(day.number));
    for (std::size_t i = firstEnergy; i < measuredMembers.size(); ++i)
        if (day.last[i] != 0)
            m_json.member(measuredMembers[i], day.last[i] - day.first[i]);
    m_json.endObject();
}

void HomeJson::writeTroubles() {
    m_json.key("troubles");
    m_json.beginList();
    for (const auto& [kind, trouble] : m_view.home.troubles) {
        m_json.beginObject();
        m_json.member("key", kind.key);
        m_json.member("reason", kind.reason);
        m_json.member("line", trouble.line);
        writeSeen(m_json, trouble.seen, m_view.now);
        writeExplanation(m_json, explanationOf(kind.key, kind.reason));
        m_json.endObject();
    }
    m_json.endList();
    m_json.key("failures");
    writeFailures(m_view.home.unattributed);
    m_json.member("failuresLeftOut", m_failuresLeftOut);
}

} // namespace

std::string homeJson(const HomeView& view, std::string_view log, bool withCourse) {
    return HomeJson(view, withCourse).write(log);
}

} // namespace inspector
