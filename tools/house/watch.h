#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace house {

/// What a run of the house is told on its command line.
struct WatchOptions {
    std::string homeFile;
    /// The TCP port of the bus, unless `rtuLink` names the path at which the master's end of a
    /// serial line is linked.
    std::uint16_t tcpPort = 1502;
    std::string rtuLink;
    /// The reader to start, and the file that takes its standard error. Empty when somebody else
    /// starts it.
    std::string daemon;
    std::string logFile;
    /// Ends after so many polls; 0 goes on until a signal comes.
    std::size_t polls = 0;
    /// Texts of the form that `faults::order` takes.
    std::vector<std::string> faults;
};

/// Opens the house, starts the reader and shows the readings that arrive on standard output, a line
/// for each.
class Watch {
public:
    /// Blocks the signals that end it; construct it before any other thread exists.
    explicit Watch(const WatchOptions& options);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Runs to the end and gives the exit status: 0 when every meter delivered in every poll, or
    /// when a signal ended a run without a number of polls; else 1.
    int run();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace house
