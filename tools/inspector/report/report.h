#pragma once

#include "inspector/home/home.h"
#include "inspector/live/meter-course.h"
#include "inspector/log/log-reader.h"
#include "inspector/output/json-output.h"
#include "inspector/output/terminal.h"
#include "inspector/report/summary.h"

namespace inspector {

/// What logs told, and what it means.
struct Report {
    Home home = {};
    LogReader::Counts counts = {};
    /// Why a log ended early, with its name.
    std::vector<std::string> damages = {};
    Summary summary = {};
    /// In the order of the home's meters, for the page alone.
    std::vector<MeterCourse> courses = {};
};

class HtmlPage;

void printReport(Terminal& terminal, const Report& report);
void writeReport(JsonOutput& output, const Report& report);
/// One page without outside references.
void writeHtml(std::FILE* file, const Report& report);
/// Powers as a plot, and energies by day.
void writePlots(HtmlPage& page, const Report& report);

/// Keeps of what logs told what belongs to one meter, by its address or its id.
bool keepMeter(Report& report, const std::string& meter);

} // namespace inspector
