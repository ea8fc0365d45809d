#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// One ordered account of what happened around a reader, and of its log.
///
/// Its text is made for people to read and compare:
///
///     ?? GET …/rtuconfig                200
///     -- connect tcp 127.0.0.1:1502
///     >> unit 7  read holding 10 x1
///     << silence
///     !! warning modbusSerial Could not read register …
///     =  {"id":…}
///
/// Log lines below a warning and the steps of the bus don't stand in the text, but can be asked
/// for. Whatever a test takes is forgotten. All functions are thread-safe.
class Transcript {
public:
    enum class Kind {
        /// A request to the local server, and its status.
        request,
        /// Something the reader does to its connection to the bus, or the tick of its timer.
        call,
        /// The choice of a slave, a pause or a read, as the library is asked for it.
        step,
        /// A request on the bus and its answer, on two lines.
        bus,
        /// A log line below a warning.
        line,
        /// A warning or an error of the log.
        complaint,
        /// A message of the metering service.
        message,
    };

    void add(Kind kind, std::string text);

    /// Everything so far.
    std::string take();
    /// Everything up to and without the @p times'th log line that contains @p text.
    std::string takeUntil(std::string_view text, std::size_t times);
    /// The log lines of that part alone, all the rest of which is forgotten.
    std::vector<std::string> takeLogUntil(std::string_view text, std::size_t times);
    /// The texts of one kind. What is of another kind stays.
    std::vector<std::string> takeAll(Kind kind);
    /// The log lines that contain @p text. What does not stays.
    std::vector<std::string> takeLog(std::string_view text = "");
    /// How many log lines so far contain @p text.
    std::size_t countLog(std::string_view text) const;

private:
    struct Event {
        Kind kind;
        std::string text;

        bool isLog() const { return kind == Kind::line || kind == Kind::complaint; }
        bool isLogWith(std::string_view part) const {
            return isLog() && text.find(part) != std::string::npos;
        }
    };

    std::vector<Event> takeEventsUntil(std::string_view text, std::size_t times);

    mutable std::mutex m_mutex;
    std::vector<Event> m_events;
};

/// Fails the test unless @p transcript is what stands in the file of the running test,
/// "transcripts/Suite.test.txt" beside its source. With the variable REWRITE_TRANSCRIPTS in the
/// environment the file is written instead, and whoever set it reads the difference.
void expectTranscriptOfFile(const std::string& transcript);
