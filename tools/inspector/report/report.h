#pragma once

#include "inspector/home/home.h"
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
};

void printReport(Terminal& terminal, const Report& report);
void writeReport(JsonOutput& output, const Report& report);
/// One page without outside references.
void writeHtml(std::FILE* file, const Report& report);

} // namespace inspector
