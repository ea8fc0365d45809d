#include "inspector/report/html-page.h"
#include "inspector/report/report-rows.h"
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

void writeOverview(HtmlPage& page, const Report& report) {
    page.raw("<table>\n");
    for (const auto& [name, text] : overviewOf(report))
        page.row({name, text});
    page.raw("</table>\n");
}

void writeMeters(HtmlPage& page, const Home& home) {
    page.raw("<section>\n<h2>Meters</h2>\n<table>\n");
    page.titles({"Address", "Id", "Name", "Polls", "Good", "Delivered", "Lost", "Carried",
                 "Last good reading"});
    for (const Meter& x : home.meters)
        page.row(rowOf(x, home));
    page.raw("</table>\n</section>\n");
}

void writeFailures(HtmlPage& page, const Home& home) {
    page.raw("<section>\n<h2>Registers that could not be read</h2>\n<table>\n");
    page.titles({"Meter", "Register", "Why", "Count", "Longest run", "First", "Last"});
    const auto add = [&](const std::string& meter, const Failures& failures) {
        for (const auto& [failed, x] : failures)
            page.row(rowOf(meter, failed, x, home));
    };
    for (const Meter& x : home.meters)
        add(nameOf(x), x.failures);
    add("?", home.unattributed);
    page.raw("</table>\n</section>\n");
}

void writeNotices(HtmlPage& page, const Report& report) {
    page.raw("<section>\n<h2>Troubles</h2>\n");
    if (report.summary.notices.empty())
        page.element("p", "None.");
    for (const Notice& x : report.summary.notices) {
        page.raw(x.needsPerson ? "<article class=\"trouble\">\n" : "<article>\n");
        page.element("h3", x.explanation.title +
                               (x.meter ? ": " + nameOf(report.home.meters[*x.meter]) : ""));
        page.element("p",
                     (x.subject.empty() ? "" : x.subject + ", ") + occasionsOf(x, report.home));
        page.element("p", x.explanation.meaning);
        page.element("p", x.explanation.wholeRemedy());
        page.raw("</article>\n");
    }
    for (const Unknown& x : report.summary.unknown)
        page.element("p", sentenceOf(x));
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
