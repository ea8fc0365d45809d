#include "inspector/report/report-command.h"

#include "inspector/home/home-model.h"
#include "inspector/input/sources.h"
#include "inspector/report/report.h"

#include <cstdio>

namespace inspector {
namespace {

bool isWithin(const ReportOptions& options, Moment time) {
    return (!options.since || time >= *options.since) && (!options.until || time < *options.until);
}

void add(LogReader::Counts& sum, const LogReader::Counts& counts) {
    sum.lines += counts.lines;
    sum.ofLog += counts.ofLog;
    sum.foreign += counts.foreign;
    sum.cut += counts.cut;
    sum.forged += counts.forged;
}

Report read(const ReportOptions& options) {
    Report report;
    HomeModel model;
    for (const std::string& name : options.logs) {
        const std::unique_ptr<Source> source = openLog(name);
        LogReader reader(*source);
        // A line without a time belongs to the one ahead of it.
        bool isIn = !options.since;
        for (Line line; reader.next(line);) {
            if (line.kind == LineKind::log)
                isIn = isWithin(options, line.time);
            if (isIn)
                model.add(line);
        }
        add(report.counts, reader.counts());
        if (!source->damage().empty())
            report.damages.push_back((name == "-" ? "standard input" : name) + ": " +
                                     source->damage());
    }
    model.finish();
    report.home = model.home();
    return report;
}

} // namespace

int runReport(const ReportOptions& options) {
    Report report = read(options);
    if (!report.home.first && report.home.offers == 0)
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
