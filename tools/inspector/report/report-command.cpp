#include "inspector/report/report-command.h"

#include "inspector/home/home-model.h"
#include "inspector/input/sources.h"
#include "inspector/report/report.h"

#include <cstdio>
#include <utility>

namespace inspector {
namespace {

bool isWithin(const ReportOptions& options, Moment time) {
    return (!options.since || time >= *options.since) && (!options.until || time < *options.until);
}

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
class Reading {
public:
    explicit Reading(const ReportOptions& options) : m_options(options) {}

    void add(const std::string& name) {
        const std::unique_ptr<Source> source = openLog(name);
        LogReader reader(*source);
        // A line without a time belongs to the one ahead of it.
        bool isIn = !m_options.since;
        bool isFirst = m_model.home().last.has_value();
        LogReader::Counts before;
        for (Line line; reader.next(line); before = reader.counts()) {
            if (line.kind == LineKind::log)
                isIn = isWithin(m_options, line.time);
            if (!isIn)
                continue;
            if (line.kind == LineKind::log && std::exchange(isFirst, false) &&
                line.time < *m_model.home().last)
                m_disorder.add(line.time);
            m_model.add(line);
            count(m_report.counts, reader.counts(), before);
        }
        if (!source->damage().empty())
            m_report.damages.push_back((name == "-" ? "standard input" : name) + ": " +
                                       source->damage());
    }

    Report finish() {
        m_model.finish();
        m_report.home = m_model.home();
        m_report.home.timeJumps = together(m_report.home.timeJumps, m_disorder);
        return std::move(m_report);
    }

private:
    const ReportOptions& m_options;
    HomeModel m_model;
    Report m_report;
    /// Logs that begin ahead of the end of the one before.
    Occurrences m_disorder;
};

Report read(const ReportOptions& options) {
    Reading reading(options);
    for (const std::string& name : options.logs)
        reading.add(name);
    return reading.finish();
}

/// Whether anything of it is of the reader, or says why nothing is.
bool tellsAnything(const Report& report) {
    const Home& home = report.home;
    return home.first || home.offers + home.assertions.count + home.terminations.count > 0 ||
           !home.troubles.empty() || !report.damages.empty();
}

} // namespace

int runReport(const ReportOptions& options) {
    Report report = read(options);
    if (!tellsAnything(report))
        throw UnreadableInput(options.since || options.until
                                  ? "No line of the reader's log within these times"
                                  : "No line of the reader's log");
    if (options.meter && !keepMeter(report.home, *options.meter))
        throw UnreadableInput("No meter '" + *options.meter + "' in this log");
    report.summary = summaryOf(report.home, report.counts);
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
