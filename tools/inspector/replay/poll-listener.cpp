#include "inspector/replay/poll-listener.h"

#include "inspector/recording/read-failure.h"
#include "inspector/recording/recording-text.h"

#include <charconv>

namespace inspector {
namespace {

/// The text behind @p start; none if it doesn't begin so.
std::optional<std::string_view> behind(std::string_view text, std::string_view start) {
    if (!text.starts_with(start))
        return std::nullopt;
    return text.substr(start.size());
}

/// The number that @p text begins with.
std::optional<int> tryToNumber(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

bool isNumber(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// The first @p count of the words that the log shows, as a JSON list; none if they aren't all
/// there.
std::optional<std::string> tryToWords(std::string_view text, int count) {
    constexpr int highest = 65535;
    std::string list = "[";
    for (int i = 0; i < count; ++i) {
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        const std::string_view digits = text.substr(0, text.find(' '));
        const std::optional<int> word = tryToNumber(digits);
        if (!word || !isNumber(digits) || *word > highest)
            return std::nullopt;
        list.append(i == 0 ? "" : ",").append(digits);
        text.remove_prefix(digits.size());
    }
    return list + "]";
}

} // namespace

bool PollListener::beginsPoll(const Line& line) {
    return line.channel == "modbusSerial" && line.severity == vx::LogSeverity::debug &&
           line.text == "Main loop is alive";
}

void PollListener::take(const Line& line) {
    if (beginsPoll(line))
        return beginPoll(line);
    if (!m_poll)
        return;
    if (line.channel == "modbusSerial") {
        if (m_isOver)
            beginPollInMidst(line);
        m_isDamaged = m_isDamaged || line.isCut;
        if (!line.isCut)
            takeSerial(line.text);
    } else if (line.channel == "HttpClient" && line.text.starts_with("Request failed: ")) {
        m_isTimeOut = line.text.find("Reason: Operation timed out") != std::string_view::npos;
    } else if (line.channel == "modbusreaderMain" ||
               (line.channel == "modbusreaderSocketWriter" && line.text != "Connect")) {
        // Neither says anything while a poll runs.
        m_isOver = true;
    }
}

void PollListener::beginPoll(const Line& line) {
    // As the one before has come to its end by then.
    m_isOver = true;
    finishPoll();
    m_poll = RecordedPoll{};
    m_poll->time = line.time;
    m_isOver = false;
    m_isDamaged = false;
    m_failures.clear();
    m_size = 0;
    m_isTimeOut = false;
    m_register.reset();
}

/// Of a poll whose first lines are missing.
void PollListener::beginPollInMidst(const Line& line) {
    beginPoll(line);
    m_isDamaged = true;
}

void PollListener::end() {
    finishPoll();
}

void PollListener::finishPoll() {
    if (!m_poll)
        return;
    judge();
    m_finish(*m_poll);
    m_poll.reset();
    m_isFirst = false;
}

/// Completes the answers of the server, and says how much of the poll there is.
void PollListener::judge() {
    dropRegister();
    // Only what follows tells whether the first one was that of the list, which is shown in any
    // case.
    if (!m_poll->supported && !m_failures.empty()) {
        m_poll->supported = m_failures.back();
        m_failures.pop_back();
    }
    if (!m_failures.empty())
        m_poll->attached = m_failures.front();
    const bool hasAnswers = m_poll->rtuConfig && m_poll->attached && m_poll->supported;
    if (!m_isOver)
        m_poll->extent = RecordedPoll::Extent::begun;
    else if (m_isDamaged || !hasAnswers)
        m_poll->extent = RecordedPoll::Extent::damaged;
}

void PollListener::takeSerial(std::string_view text) {
    takeReply(text);
    takeBus(text);
}

void PollListener::takeReply(std::string_view text) {
    const auto reply = [](std::string_view body) {
        return ServerAnswer{ServerAnswer::Kind::reply, 200, std::string(body)};
    };
    if (const auto body = behind(text, "result:"))
        m_poll->rtuConfig = reply(*body);
    else if (const auto list = behind(text, "Attached Meters result:"))
        m_poll->attached = reply(*list);
    else if (const auto models = behind(text, "Supported Meters result:"))
        m_poll->supported = reply(*models);
    else if (const auto rest = behind(text, "Error requesting from server code:"))
        takeFailedRequest(*rest);
    else if (text.starts_with("querySerialConnectionConfig m_config:{} ") && m_isFirst)
        m_isFromStart = true;
}

void PollListener::takeFailedRequest(std::string_view rest) {
    constexpr std::string_view key = " result:";
    constexpr int lowest = 200;
    constexpr int highest = 999;
    const int code = tryToNumber(rest).value_or(-1);
    ServerAnswer answer;
    if (code < lowest || code > highest)
        answer.kind = m_isTimeOut ? ServerAnswer::Kind::silent : ServerAnswer::Kind::closed;
    else if (const std::size_t at = rest.find(key); at != std::string_view::npos)
        answer = {ServerAnswer::Kind::reply, code, std::string(rest.substr(at + key.size()))};
    m_isTimeOut = false;
    if (!m_poll->attached)
        m_poll->rtuConfig = answer;
    else if (m_failures.size() < 2)
        m_failures.push_back(answer);
    else
        m_failures.back() = answer;
}

// The bus

void PollListener::takeBus(std::string_view text) {
    if (text.starts_with("Connecting TCP "))
        connected(tcpBus, text);
    else if (text.starts_with("Modbus serial device connecting "))
        connected(rtuBus, text);
    else if (const auto address = behind(text, "Reading meter now slaveAddress:"))
        takeMeter(*address);
    else if (const auto aRegister = behind(text, "Reading register aRegister:"))
        takeRegister(*aRegister);
    else if (const auto parameters = behind(text, "Reading register params aRegister.address:"))
        takeParameters(*parameters);
    else if (const auto words = behind(text, "ARRAY debug:"))
        takeWords(*words);
    else if (const auto reason = behind(text, "Could not read register strerror("))
        takeFailure(*reason);
    else if (const auto reading = behind(text, "Reading aReading:"))
        takeReading(*reading);
}

void PollListener::connected(BusName bus, std::string_view text) {
    constexpr int unitOfTcp = 255;
    m_hasChangedBus = m_hasChangedBus || (!m_bus.empty() && bus != m_bus);
    m_bus = bus;
    m_connection = text;
    m_unit = bus == tcpBus ? std::optional(unitOfTcp) : std::nullopt;
}

void PollListener::takeMeter(std::string_view address) {
    dropRegister();
    m_slaveAddress = tryToNumber(address).value_or(0);
}

void PollListener::takeRegister(std::string_view text) {
    dropRegister();
    m_isInput = text.find("\"registerType\":input") != std::string_view::npos;
    m_isSerial = text.find("\"fieldType\":serial") != std::string_view::npos;
}

/// A serial may stand on the list of attached meters, and is not asked for then.
void PollListener::dropRegister() {
    m_isDamaged = m_isDamaged || (m_register && !m_isSerial);
    m_register.reset();
}

void PollListener::takeParameters(std::string_view text) {
    const std::optional<int> address = tryToNumber(text);
    const std::optional<int> count = tryToNumber(text.substr(text.rfind(':') + 1));
    if (!address || !count) {
        m_isDamaged = true;
        return;
    }
    constexpr int word = 0xFFFF;
    m_register = Register{*address & word, *count & word};
}

void PollListener::takeWords(std::string_view text) {
    const auto words = m_register ? tryToWords(text, m_register->count) : std::nullopt;
    if (words)
        addOutcome(*words);
    else
        m_isDamaged = true;
    m_register.reset();
}

/// Such as "*__errno_location ())):Connection timed out aRegister:{…}".
void PollListener::takeFailure(std::string_view text) {
    constexpr std::string_view start = "):";
    constexpr std::string_view end = " aRegister:";
    const std::size_t from = text.find(start);
    const std::size_t to = text.rfind(end);
    if (from == std::string_view::npos || to == std::string_view::npos || to < from ||
        !m_register) {
        m_isDamaged = true;
        return;
    }
    const std::string_view words = text.substr(from + start.size(), to - from - start.size());
    if (goesOverTheBus(words))
        addOutcome(failureOf(words, m_slaveAddress));
    m_register.reset();
}

/// What was made of a meter. Names another one if lines of that are missing.
void PollListener::takeReading(std::string_view text) {
    constexpr std::string_view key = "\"slaveAddress\":";
    constexpr int lowEightBits = 0xFF;
    // The id ahead of it may have any text; an address of 0 is left out.
    const std::size_t at = text.rfind(key);
    const int address =
        at == std::string_view::npos ? 0 : tryToNumber(text.substr(at + key.size())).value_or(0);
    m_isDamaged = m_isDamaged || address != (m_slaveAddress & lowEightBits);
}

void PollListener::addOutcome(const std::string& outcome) {
    // Beyond, no more is needed to find it too large.
    if (m_size > RecordingText::mostPolls)
        return;
    m_size += outcome.size();
    if (const std::optional<int> unit = readUnit())
        m_poll->reads[{*unit, m_isInput, m_register->address, m_register->count}].push_back(
            outcome);
}

std::optional<int> PollListener::readUnit() {
    constexpr int last = 247;
    constexpr int unitOfTcp = 255;
    if ((m_slaveAddress >= 0 && m_slaveAddress <= last) ||
        (m_slaveAddress == unitOfTcp && m_bus != rtuBus))
        m_unit = m_slaveAddress;
    return m_unit;
}

} // namespace inspector
