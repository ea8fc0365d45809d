#pragma once

#include "inspector/input/sources.h"
#include "inspector/reading/bus-options.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace inspector {

// Options that several subcommands have, and what their values must be.

void addSources(CLI::App& command, Sources& sources);
/// Throws `CLI::ValidationError` if nothing is given, or two documents come from standard input.
void requireSources(const Sources& sources);
void addBus(CLI::App& command, BusOptions& options);

/// Decimal digits alone, as other forms would be read as octal or hexadecimal, and a sign as a huge
/// number.
CLI::Validator wholeNumber(int from, int to);
CLI::Validator named();

void addFile(CLI::App& command, const char* name, std::optional<std::string>& target,
             const char* text);

} // namespace inspector
