#pragma once

namespace inspector {

/// Runs the subcommand that the command line names and returns the exit status: 0 if all is good, 1
/// for findings or a reading that failed, 2 for wrong usage or unreadable input.
int run(int argc, char** argv);

} // namespace inspector
