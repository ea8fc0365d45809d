#pragma once

#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

struct ProgramResult {
    /// The exit status; nothing when a signal or the limit of `Patience` ended the program.
    std::optional<int> status;
    std::string standardOutput;
    std::string standardError;

    bool operator==(const ProgramResult&) const = default;
};

/// The real program while it runs, with @p input as its standard input.
class Program {
public:
    explicit Program(const std::vector<std::string>& arguments, const std::string& input = {},
                     const std::vector<std::string>& environment = {});

    void signal(int number) { m_process->signal(number); }
    ProgramResult wait();

private:
    TemporaryDirectory m_files;
    std::unique_ptr<house::ChildProcess> m_process;
};

/// Runs it to its end.
ProgramResult run(const std::vector<std::string>& arguments, const std::string& input = {});

/// What `map` finds in documents, by the name of their option. Three lines each.
std::string findings(const std::map<std::string, std::string>& documents);

} // namespace inspector
