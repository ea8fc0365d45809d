#include "inspector/report/report-command.h"

#include "inspector/home/home-model.h"
#include "inspector/input/sources.h"
#include "inspector/live/home-courses.h"
#include "inspector/report/log-order.h"
#include "inspector/report/report.h"

#include <cstdio>
#include <map>
#include <utility>

namespace inspector {
namespace {

/// Adds what a reader has counted since.
void count(LogReader::Counts& sum, const LogReader::Counts& counts,
           const LogReader::Counts& before) {
    sum.lines += counts.lines - before.lines;
    sum.ofLog += counts.ofLog - before.ofLog;
    sum.foreign += counts.foreign - before.foreign;
    sum.cut += counts.cut - before.cut;
    sum.forged += counts.forged - before.forged;
}

/// Reads logs one after another.
class ReportedLogs {
public:
    explicit ReportedLogs(const ReportOptions& options) : m_options(options) {}

    void add(const std::string& name) {
        const std::unique_ptr<Source> source = openLog(name);
        LogReader reader(*source);
        // A line without a time belongs to the one ahead of it.
        bool isIn = !m_options.span.since;
        LogReader::Counts before;
        for (Line line; reader.next(line); before = reader.counts()) {
            if (line.kind == LineKind::log)
                isIn = m_options.span.has(line.time);
            if (!isIn)
                continue;
            m_model.add(line);
            if (m_options.html)
                m_courses.follow(m_model.home());
            count(m_report.counts, reader.counts(), before);
        }
        if (!source->damage().empty())
            m_report.damages.push_back((name == "-" ? "standard input" : name) + ": " +
                                       source->damage());
    }

    Report finish() {
        m_model.finish();
        m_report.home = m_model.home();
        if (m_options.html) {
            m_courses.take(m_report.home);
            m_report.courses = m_courses.meters();
        }
        return std::move(m_report);
    }

private:
    static constexpr std::size_t tenYears = 3653;

    const ReportOptions& m_options;
    HomeModel m_model;
    HomeCourses m_courses{{.days = tenYears, .isOfAllTimes = true}};
    Report m_report;
};

Report read(const ReportOptions& options) {
    ReportedLogs logs(options);
    for (const std::string& name : inOrder(options.logs))
        logs.add(name);
    return logs.finish();
}

/// Whether anything of it is of the reader, or says why nothing is.
bool tellsAnything(const Report& report) {
    const Home& home = report.home;
    return home.first || home.offers + crashesOf(home) > 0 || !home.troubles.empty() ||
           !report.damages.empty();
}

/// The new places of what is kept, by the old ones.
using Places = std::map<std::size_t, std::size_t>;

template <class T>
void keepOnly(std::vector<T>& list, const Places& places) {
    std::vector<T> kept;
    for (const auto& [from, to] : places)
        if (from < list.size())
            kept.push_back(std::move(list[from]));
    list = std::move(kept);
}

} // namespace

bool keepMeter(Report& report, const std::string& meter) {
    const std::vector<Meter>& meters = report.home.meters;
    Places places;
    for (std::size_t i = 0; i < meters.size(); ++i)
        if (meters[i].id == meter || std::to_string(meters[i].slaveAddress.value_or(-1)) == meter)
            places.emplace(i, places.size());
    keepOnly(report.home.meters, places);
    keepOnly(report.courses, places);
    report.home.unattributed.clear();
    std::vector<Notice>& notices = report.summary.notices;
    std::erase_if(notices, [&](const Notice& x) {
        return x.meter ? !places.contains(*x.meter) : x.key == "register-unread";
    });
    for (Notice& x : notices)
        if (x.meter)
            x.meter = places.at(*x.meter);
    return !places.empty();
}

int runReport(const ReportOptions& options) {
    Report report = read(options);
    if (!tellsAnything(report))
        throw UnreadableInput(!options.span.isAll()
                                  ? "No line of the reader's log within these times"
                                  : "No line of the reader's log");
    // Of all meters: one alone doesn't tell what the others make of it.
    report.summary = summaryOf(report.home);
    if (options.meter && !keepMeter(report, *options.meter))
        throw UnreadableInput("No meter '" + *options.meter + "' in this log");
    if (options.json) {
        JsonOutput output(stdout);
        writeReport(output, report);
        output.finish();
    } else if (options.html) {
        writeHtml(stdout, report);
    } else {
        Terminal terminal(stdout);
        printReport(terminal, report);
    }
    return report.summary.needsPerson() || !report.damages.empty() ? 1 : 0;
}

} // namespace inspector
