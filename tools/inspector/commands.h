#pragma once

#include <functional>

// NOLINTNEXTLINE(readability-identifier-naming): the name is the library's.
namespace CLI {

class App;

} // namespace CLI

namespace inspector {

/// Runs what the command line asks for and returns the exit status.
using Command = std::function<int()>;

// Each adds a subcommand, which sets the command when it is parsed.
void addMap(CLI::App& app, Command& command);
void addRead(CLI::App& app, Command& command);
void addReplay(CLI::App& app, Command& command);
void addReport(CLI::App& app, Command& command);
void addScan(CLI::App& app, Command& command);
void addSchema(CLI::App& app, Command& command);
void addServe(CLI::App& app, Command& command);
void addSolve(CLI::App& app, Command& command);
void addWatch(CLI::App& app, Command& command);

} // namespace inspector
