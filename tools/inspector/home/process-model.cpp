#include "inspector/home/process-model.h"

#include "inspector/home/diagnostics.h"
#include "inspector/log/text-fields.h"
#include "vx/enum.h"

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

constexpr std::string_view failureStart = "Could not read register strerror(";

FailureKind failureOf(std::string_view text) {
    FailureKind failure;
    const std::string_view words = between(text, ")):", " aRegister:").value_or("");
    const Diagnostic* entry = findDiagnostic("register-unread");
    const Diagnostic* reason = entry == nullptr ? nullptr : reasonOf(*entry, words);
    constexpr std::size_t longestWords = 100;
    failure.kind = reason == nullptr ? std::string(words.substr(0, longestWords)) : reason->key;
    const std::string_view record = behind(text, " aRegister:").value_or("");
    failure.place.address = static_cast<int>(wholeBehind(record, "\"address\":").value_or(0));
    failure.place.isInput = record.find("\"registerType\":input") != std::string_view::npos;
    if (const auto name = between(record, "\"fieldType\":", ","))
        failure.place.fieldType = vx::tryToEnum<vxModel::ModbusFieldType>(std::string(*name))
                                      .value_or(vxModel::ModbusFieldType::none);
    return failure;
}

// More in one poll comes of a log that is none.
constexpr std::size_t mostPending = 20000;
constexpr std::size_t mostPendingAlone = 500;

} // namespace

void ProcessModel::add(const Line& line) {
    // What lies behind a long silence is a clock that was set, or a process that was stopped.
    if (line.time < m_lastTime || line.time - m_lastTime > longestSilence)
        m_begin.reset();
    if (line.severity <= vx::LogSeverity::warning && line.severity != vx::LogSeverity::print)
        addTrouble(line);
    if (line.channel == "modbusSerial")
        addSerial(line);
    else if (line.channel == "modbusreaderSocketWriter")
        addWriter(line);
    else if (line.channel == "modbusreaderMain")
        addMain(line);
    m_hasBegun = m_hasBegun || !line.channel.starts_with("vx");
    m_lastTime = line.time;
}

bool ProcessModel::isStart(const Line& line) {
    return line.channel == "modbusreaderMain" && line.text.starts_with("Starting modbus Reader");
}

void ProcessModel::addMain(const Line& line) {
    if (isStart(line)) {
        m_book.home().starts.add(line.time);
        beginPoll(Mark::tick, line.time);
    } else if (line.text.starts_with("callback")) {
        beginPoll(Mark::tick, line.time);
    }
}

/// A reply, or a text that tells which meter is read, or a value.
void ProcessModel::addSerial(const Line& line) {
    const std::string_view text = line.text;
    Home& home = m_book.home();
    takeAttached(text);
    if (text.starts_with("Main loop is alive")) {
        beginPoll(Mark::alive, line.time);
    } else if (text.starts_with("result:")) {
        beginPoll(Mark::serialReply, line.time);
        home.serialReply = text.substr(7);
    } else if (text.starts_with("value:")) {
        m_poll.hasValues = true;
        m_haste.take(line.time);
        if (const auto value = numberBehind(text, "value:"))
            m_shifts.take(
                *value, between(text, "modbusFieldType:", " ").value_or("").substr(0, longestName));
    } else if (text.starts_with("Reading aReading:")) {
        addReading(line);
    } else if (text.starts_with("Reading meter now slaveAddress:")) {
        // Addresses beyond are sent as their low eight bits.
        m_slaveAddress = static_cast<int>(wholeBehind(text, "slaveAddress:").value_or(0) & 0xFF);
        m_shifts.begin(*m_slaveAddress);
        m_haste.begin(line.time);
        if (!m_poll.addresses)
            m_poll.addresses.emplace();
        if (m_poll.addresses->size() < mostPendingAlone)
            m_poll.addresses->push_back(*m_slaveAddress);
    } else if (text.starts_with(failureStart)) {
        addFailure(line);
    } else if (text.starts_with("Attached Meters result:")) {
        beginPoll(Mark::attachedReply, line.time);
        if (const std::string_view reply = text.substr(23); reply != home.attachedReply)
            m_attachedReply = reply;
    } else if (text.starts_with("Supported Meters result:")) {
        const std::string_view reply = text.substr(24);
        if (home.supportedReply != reply)
            home.supportedReply = reply;
    } else if (text.starts_with("Connecting TCP") ||
               text.starts_with("Modbus serial device connecting")) {
        home.connection = text;
        m_haste.connect(text);
    }
}

/// The daemon shows this reply before it looks at its status, and a failed one again behind it. The
/// failure of the next request shows another one.
void ProcessModel::takeAttached(std::string_view next) {
    if (!m_attachedReply)
        return;
    const bool isFailed = next.starts_with("Error requesting from server") &&
                          behind(next, " result:") == *m_attachedReply;
    if (!isFailed)
        m_book.takeAttached(std::move(*m_attachedReply));
    m_attachedReply.reset();
}

void ProcessModel::addReading(const Line& line) {
    const auto reading = readingOf(*behind(line.text, "aReading:"));
    m_slaveAddress.reset();
    if (!reading)
        return;
    const std::size_t meter = m_book.indexOf(reading->slaveAddress, reading->id);
    if (m_shifts.end() && meter != MeterBook::none)
        m_book.home().meters[meter].shifted.add(line.time);
    if (m_haste.end())
        m_book.home().lateAnswers["hasty"].add(line.time);
    if (m_poll.readings.size() == mostPendingAlone)
        return;
    m_poll.readings.push_back(*reading);
    if (!reading->id.empty() && m_offered.size() < mostPendingAlone)
        m_offered.push_back(meter);
}

void ProcessModel::addFailure(const Line& line) {
    // The first failure behind the messages of a poll belongs to the next one.
    if (!m_mark && m_isOffering) {
        enterPoll();
        m_isOffering = false;
    }
    const FailureKind failure = failureOf(line.text);
    m_shifts.fail(failure.kind == "timeout");
    m_haste.fail(line.time, failure.kind);
    if (m_poll.failures.size() < mostPending)
        m_poll.failures.push_back({failure, line.time, m_slaveAddress});
    else
        ++m_book.home().leftOut;
    if (!m_mark && !m_hasMessages && m_poll.failures.size() >= mostPendingAlone)
        m_book.enterUnattributed(m_poll.failures);
}

void ProcessModel::addTrouble(const Line& line) {
    // It is the reason of another line.
    if (fitsPattern(line.text, findDiagnostic("no-descriptors")->line))
        m_book.noteTrouble({"no-descriptors", {}}, line);
    if (line.channel == "modbusSerial" && line.text.starts_with(failureStart))
        return;
    const Diagnostic* entry = diagnosticOf(line);
    const Diagnostic* reason = entry == nullptr ? nullptr : reasonOf(*entry, line.text);
    m_hasServerTrouble = m_hasServerTrouble || line.channel == "HttpClient" ||
                         line.text.starts_with("Error requesting from server") ||
                         line.text.starts_with("Could not convert reply");
    m_book.noteTrouble({entry == nullptr ? "" : entry->key, reason == nullptr ? "" : reason->key},
                       line);
}

/// A mark that stands behind the last one in the order of a poll is of the same poll, as is what
/// stands between them.
void ProcessModel::beginPoll(Mark mark, Moment time) {
    const std::optional<Mark> last = std::exchange(m_mark, mark);
    if (last && mark > *last)
        return;
    // A log that begins in the middle of a poll doesn't tell the whole of it.
    m_poll.isPart = !last;
    enterPoll();
    if (last)
        addLength(time);
    m_isOffering = false;
    m_begin = time;
}

void ProcessModel::addLength(Moment end) {
    if (m_begin && end > *m_begin)
        m_book.home().pollLengths.add(end - *m_begin);
}

void ProcessModel::enterPoll() {
    m_poll.end = m_lastTime;
    m_book.enter(m_poll, m_number);
    m_offered.clear();
    m_slaveAddress.reset();
}

/// The messages of a poll are offered one right after another at its end, each meter's once.
void ProcessModel::beginOffer(Moment time, bool isAgain) {
    constexpr Moment longestPause = 500;
    const bool isFirst = !m_isOffering || isAgain || time - m_lastOffer > longestPause;
    const bool wasOffering = m_isOffering;
    m_isOffering = true;
    m_lastOffer = time;
    if (m_mark || !isFirst)
        return;
    // No failure stands between the messages of the poll before and these.
    if (wasOffering)
        enterPoll();
    // Polls without messages may stand between.
    if (!std::exchange(m_hasServerTrouble, false))
        addLength(time);
    m_hasMessages = true;
    m_begin = time;
}

void ProcessModel::addWriter(const Line& line) {
    if (line.text.starts_with("Writing ")) {
        written(line);
    } else if (line.text.starts_with("TRANSFERRED ")) {
        transferred(line);
    } else if (line.text.starts_with("Could not connect ec:")) {
        lostMessage(line.time);
    }
}

/// Where nothing tells polls apart, such lines don't either: they tell of no reading.
void ProcessModel::lostMessage(Moment time) {
    if (!m_mark && !m_hasMessages) {
        m_book.lostUnknown();
        return;
    }
    beginOffer(time, false);
    m_poll.isBlind = true;
    if (m_offered.empty()) {
        m_book.lostUnknown();
    } else {
        m_book.lost(m_offered.front());
        m_offered.pop_front();
    }
}

void ProcessModel::written(const Line& line) {
    const auto message = behind(line.text, "m_buffer:");
    const auto reading = message ? readingOf(*message) : std::nullopt;
    if (!reading)
        return;
    const auto isOf = [&](const LoggedReading& x) {
        return x.slaveAddress == reading->slaveAddress && x.id == reading->id;
    };
    beginOffer(line.time, std::any_of(m_poll.readings.begin(), m_poll.readings.end(), isOf));
    const std::size_t meter = m_book.indexOf(reading->slaveAddress, reading->id);
    const auto offered = std::find(m_offered.begin(), m_offered.end(), meter);
    if (offered != m_offered.end())
        m_offered.erase(offered);
    if (m_written.size() < mostPendingAlone)
        m_written.push_back({meter, static_cast<std::int64_t>(message->size())});
    // The record shows six digits of a value, the message all.
    const auto record = std::find_if(m_poll.readings.begin(), m_poll.readings.end(), isOf);
    if (record != m_poll.readings.end())
        *record = *reading;
    else if (m_poll.readings.size() < mostPendingAlone)
        m_poll.readings.push_back(*reading);
}

/// The service takes the messages in the order in which they were written.
void ProcessModel::transferred(const Line& line) {
    const auto size = wholeBehind(line.text, "m_buffer.size():");
    const auto taken = wholeBehind(line.text, " size:");
    const auto message = std::find_if(m_written.begin(), m_written.end(), [&](const Message& x) {
        return x.size == size.value_or(-1);
    });
    const std::size_t meter = message == m_written.end() ? MeterBook::none : message->meter;
    if (message != m_written.end())
        m_written.erase(m_written.begin(), std::next(message));
    if (size && size == taken)
        m_book.delivered(meter);
    else
        m_book.lost(meter);
    // Where it took nothing an error follows.
    if (size && taken && *taken > 0 && *taken < *size)
        m_book.noteTrouble({"partly-taken", {}}, line);
}

void ProcessModel::finish() {
    if (!m_mark && !m_hasMessages) {
        m_book.enterUnattributed(m_poll.failures);
        return;
    }
    m_poll.isPart = !m_isOffering;
    enterPoll();
    m_isOffering = false;
}

} // namespace inspector
