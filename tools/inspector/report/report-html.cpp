#include "inspector/report/html-page.h"
#include "inspector/report/report.h"
#include "inspector/report/wording.h"

namespace inspector {
namespace {

constexpr std::string_view head =
    R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>Report of the Modbus reader</title>
<style>
:root { color-scheme: light dark; --line: #8888; --text: #888; }
body { font: 16px/1.5 sans-serif; max-width: 72em; margin: 0 auto; padding: 1em; }
table { border-collapse: collapse; display: block; overflow-x: auto; }
th, td { text-align: left; padding: 0.2em 1em 0.2em 0; border-bottom: 1px solid #8886; white-space: nowrap; }
.number { text-align: right; }
section > article { border-left: 0.4em solid #888; padding-left: 1em; margin: 1em 0; }
section > article.trouble { border-color: #c33; }
h3, p { margin: 0.3em 0; }
#plot { width: 100%; height: 20em; }
</style>
</head>
<body>
)";

std::string orUnknown(const std::optional<std::size_t>& number) {
    return number ? std::to_string(*number) : "unknown";
}

void writeOverview(HtmlPage& page, const Report& report) {
    const Home& home = report.home;
    const LengthHistogram& lengths = home.pollLengths;
    const auto local = [&](Moment time) { return localText(time, home.offset); };
    page.raw("<table>\n");
    page.row({"Log", !home.first
                         ? "unknown"
                         : local(home.first.value_or(0)) + " to " + local(home.last.value_or(0)) +
                               ", " + std::to_string(report.counts.lines) + " lines"});
    if (home.leftOut > 0)
        page.row({"Left out",
                  std::to_string(home.leftOut) + " meters or failures, as they were too many"});
    page.row({"Gaps", orUnknown(home.gaps)});
    page.row({"Restarts", orUnknown(restartsOf(home))});
    page.row({"Polls", orUnknown(home.polls)});
    if (lengths.count() > 0)
        page.row({"Length of a poll", "median " + durationText(*lengths.quantile(0.5)) +
                                          ", 95th of 100 " + durationText(*lengths.quantile(0.95)) +
                                          ", longest " + durationText(lengths.longest())});
    page.row({"Messages", std::to_string(home.offers) + " offered, " + orUnknown(home.delivered) +
                              " delivered, " + orUnknown(home.lost) + " lost"});
    page.raw("</table>\n");
}

void writeMeters(HtmlPage& page, const Home& home) {
    page.raw("<section>\n<h2>Meters</h2>\n<table>\n");
    page.titles({"Address", "Id", "Name", "Polls", "Good", "Delivered", "Lost", "Carried",
                 "Last good reading"});
    for (const Meter& x : home.meters) {
        page.row({x.slaveAddress ? std::to_string(*x.slaveAddress) : "unknown", x.id, x.name,
                  orUnknown(x.polls), orUnknown(x.goodPolls), orUnknown(x.delivered),
                  orUnknown(x.lost), orUnknown(x.carried),
                  x.lastGood ? localText(*x.lastGood, home.offset) : "none"});
    }
    page.raw("</table>\n</section>\n");
}

void writeFailures(HtmlPage& page, const Home& home) {
    page.raw("<section>\n<h2>Registers that could not be read</h2>\n<table>\n");
    page.titles({"Meter", "Register", "Why", "Count", "Longest run", "First", "Last"});
    const auto add = [&](const std::string& meter, const Failures& failures) {
        for (const auto& [failed, x] : failures)
            page.row({meter, nameOf(failed.place), failed.kind, std::to_string(x.seen.count),
                      orUnknown(x.longestRun), localText(x.seen.first, home.offset),
                      localText(x.seen.last, home.offset)});
    };
    for (const Meter& x : home.meters)
        add(nameOf(x), x.failures);
    add("unknown", home.unattributed);
    page.raw("</table>\n</section>\n");
}

void writeNotices(HtmlPage& page, const Report& report) {
    page.raw("<section>\n<h2>Troubles</h2>\n");
    if (report.summary.notices.empty())
        page.element("p", "None.");
    for (const Notice& x : report.summary.notices) {
        page.raw(x.needsPerson ? "<article class=\"trouble\">\n" : "<article>\n");
        page.element("h3", x.title + (x.meter ? ": " + nameOf(report.home.meters[*x.meter]) : ""));
        page.element("p", (x.subject.empty() ? "" : x.subject + ", ") +
                              std::to_string(x.seen.count) + " times, " +
                              localText(x.seen.first, report.home.offset) + " to " +
                              localText(x.seen.last, report.home.offset));
        page.element("p", x.meaning);
        page.element("p", x.remedy);
        page.raw("</article>\n");
    }
    for (const Unknown& x : report.summary.unknown)
        page.element("p", "Not in this log: " + x.what + ". VX_LOG=" + x.rules + " shows them.");
    page.raw("</section>\n");
}

} // namespace

void writeHtml(std::FILE* file, const Report& report) {
    HtmlPage page(file);
    page.raw(head);
    page.element("h1", "Report of the Modbus reader");
    writeOverview(page, report);
    writeNotices(page, report);
    if (!report.home.meters.empty())
        writeMeters(page, report.home);
    writePlots(page, report);
    writeFailures(page, report.home);
    page.raw("</body>\n</html>\n");
}

} // namespace inspector
