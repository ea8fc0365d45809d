#include "e2e/process-world.h"

const std::string ProcessWorld::firstPoll = R"(?? GET …/rtuconfig                200
-- reconnect
?? GET …/attached                 200
?? GET …/config/supported         200
>> unit 7  read input 10 x1
<< 05DC
>> unit 7  read holding 20 x2
<< 0000 0002
-- =================================
=  )" + std::string(message) + "\n";

ProcessWorld::ProcessWorld() {
    catchUpBy([this] { readLog(); });
    serve(oneMeter);
    connectMeter();
}

void ProcessWorld::TearDown() {
    stop();
    closeAll();
}

void ProcessWorld::connectMeter() {
    bus->unit(7).input(10, {1500}).holding(20, {0, 2});
}

void ProcessWorld::start(const std::vector<std::string>& environment,
                         const std::vector<std::string>& arguments,
                         const std::vector<std::string>& launcher) {
    const std::scoped_lock lock(m_logMutex);
    reader = std::make_unique<ReaderProcess>(environment, arguments, launcher);
}

void ProcessWorld::end() {
    stop();
    forget();
}

void ProcessWorld::stop() {
    if (!reader)
        return;
    reader->end();
    catchUp();
    const std::scoped_lock lock(m_logMutex);
    reader.reset();
}

std::string ProcessWorld::transcriptUntil(std::string_view text, std::size_t times) {
    waitForLog(text, times);
    return m_transcript.takeUntil(text, times);
}

std::vector<std::string> ProcessWorld::logUntil(std::string_view text, std::size_t times) {
    waitForLog(text, times);
    return m_transcript.takeLogUntil(text, times);
}

void ProcessWorld::waitForLog(std::string_view text, std::size_t times) {
    reader->waitForLog([&] {
        catchUp();
        return m_transcript.countLog(text) >= times;
    });
}

void ProcessWorld::readLog() {
    const std::scoped_lock lock(m_logMutex);
    if (!reader)
        return;
    for (const std::string& line : reader->takeNewLines()) {
        logged(line);
        awaitMessages();
        tell(line);
    }
}

/// Adds what nobody but the log knows of.
void ProcessWorld::tell(const std::string& line) {
    if (line.starts_with("notice modbusreaderMain retry timer"))
        m_transcript.add(Transcript::Kind::call, "tick");
    if (line.starts_with("notice modbusSerial doReconnect"))
        m_transcript.add(Transcript::Kind::call, "reconnect");
    if (line.starts_with("===="))
        m_transcript.add(Transcript::Kind::call, line);
}
