#pragma once

#include "e2e/reader-process.h"
#include "support/world.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// A world with the real executable, and the home of one meter.
///
/// The transcript stands in the order in which the executable did everything: it waits for each
/// answer of server and bus, and writes each line before it goes on. What the log alone tells
/// stands there too:
///
///     -- tick
///     -- reconnect
///     -- =================================
///
/// The last one is the line of an offer to the metering service. From the second poll on the end of
/// a message, and with it its "=", stands in the poll after its own.
class ProcessWorld : public World {
protected:
    ProcessWorld();
    /// Ends the process and closes the home, whose threads may be within a test's own callback
    /// until then: a destructor would be too late for a fixture that is made of this one.
    void TearDown() override;

    /// The message of a good poll.
    static constexpr const char* message =
        R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
        R"("powerConsumed":1500.0,"energyConsumed":3600000.0})";
    /// The account of a good first poll, and of its delivery.
    static const std::string firstPoll;

    /// Puts the meter on the bus, where it stands from the beginning; a bus that is opened anew has
    /// none.
    void connectMeter();

    /// The executable; null before its start.
    std::unique_ptr<ReaderProcess> reader;
    /// As the constructor of `ReaderProcess`. One process runs at a time.
    void start(const std::vector<std::string>& environment = {},
               const std::vector<std::string>& arguments = {},
               const std::vector<std::string>& launcher = {});
    /// Ends the process, and forgets what it did since the last taking: nobody knows how far it
    /// came. A test whose later polls would complain ends it before it looks at anything else.
    void end();

    /// Waits for the @p times'th log line with @p text among those that have not been taken, and
    /// takes the transcript up to and without it. Up to the second "retry timer" there are two
    /// polls and one tick.
    std::string transcriptUntil(std::string_view text, std::size_t times = 1);
    /// As `log`, of the lines up to and without that one. What else happened until then is
    /// forgotten.
    std::vector<std::string> logUntil(std::string_view text, std::size_t times = 1);
    /// Waits for that line and takes nothing.
    void waitForLog(std::string_view text, std::size_t times = 1);

private:
    void stop();
    void readLog();
    void tell(const std::string& line);

    std::mutex m_logMutex;
};
