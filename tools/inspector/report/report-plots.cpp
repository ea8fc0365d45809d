#include "inspector/live/course-json.h"
#include "inspector/report/html-page.h"
#include "inspector/report/report.h"
#include "inspector/report/wording.h"
#include "inspector/web/page/page-texts.h"

#include <algorithm>

namespace inspector {
namespace {

/// After which time without a reading the last power tells nothing any more.
Moment longestGap(const Report& report) {
    constexpr Moment minute = 60000;
    constexpr Moment polls = 4;
    Moment longest = std::max(minute, polls * report.home.pollLengths.quantile(0.5).value_or(0));
    for (const MeterCourse& course : report.courses)
        longest = std::max(longest, 2 * course.pointLength());
    return longest;
}

/// What the script of the page draws.
std::string powersJson(const Report& report) {
    JsonOutput json;
    json.beginObject();
    json.member("longest", longestGap(report));
    json.key("meters");
    json.beginList();
    for (std::size_t i = 0; i < report.courses.size(); ++i) {
        json.beginObject();
        json.member("name", nameOf(report.home.meters[i]));
        writePowers(json, report.courses[i]);
        json.endObject();
    }
    json.endList();
    json.endObject();
    return std::string(json.text());
}

/// A name must not end the script.
std::string withinScript(std::string json) {
    for (std::size_t i = json.find('<'); i != std::string::npos; i = json.find('<', i))
        json.replace(i, 1, "\\u003c");
    return json;
}

std::string energyText(const Day& day, std::size_t member) {
    constexpr double wattSecondsOfKilowattHour = 3.6e6;
    return day.last[member] == 0
               ? std::string("–")
               : fixed((day.last[member] - day.first[member]) / wattSecondsOfKilowattHour, 2);
}

std::string tariffTexts(const Day& day) {
    std::string text;
    for (std::size_t i = firstEnergy + 2; i < measuredMembers.size(); i += 2)
        if (day.last[i] != 0 || day.last[i + 1] != 0)
            text += (text.empty() ? "T" : ", T") + std::to_string((i - firstEnergy) / 2) + " " +
                    energyText(day, i) + " / " + energyText(day, i + 1);
    return text;
}

void writeDays(HtmlPage& page, const Report& report) {
    page.raw("<section>\n<h2>Energy by day</h2>\n<table>\n");
    page.titles(
        {"Day", "Meter", "Consumed kWh", "Produced kWh", "Tariffs, consumed / produced kWh"});
    for (std::size_t i = 0; i < report.courses.size(); ++i) {
        for (const Day& day : report.courses[i].days()) {
            page.row({dayText(day.number), nameOf(report.home.meters[i]),
                      energyText(day, firstEnergy), energyText(day, firstEnergy + 1),
                      tariffTexts(day)});
        }
    }
    page.raw("</table>\n</section>\n");
}

bool hasPowers(const MeterCourse& course) {
    return !course.powers().empty();
}

bool hasDays(const MeterCourse& course) {
    return !course.days().empty();
}

} // namespace

void writePlots(HtmlPage& page, const Report& report) {
    if (std::any_of(report.courses.begin(), report.courses.end(), hasPowers)) {
        page.raw(
            "<section>\n<h2>Power</h2>\n<p>Above zero it flows to the consumer, below zero the "
            "consumer delivers it.</p>\n<div id=\"plot\" role=\"img\" aria-label=\"Power of the "
            "meters\"></div>\n<div id=\"legend\"></div>\n</section>\n<style>");
        page.raw(dygraphCss);
        page.raw("</style>\n<script type=\"application/json\" id=\"powers\">");
        page.raw(withinScript(powersJson(report)));
        page.raw("</script>\n");
        for (const std::string_view script : {dygraphJs, powerPlotJs, reportJs}) {
            page.raw("<script>\n");
            page.raw(script);
            page.raw("</script>\n");
        }
    }
    if (std::any_of(report.courses.begin(), report.courses.end(), hasDays))
        writeDays(page, report);
}

} // namespace inspector
