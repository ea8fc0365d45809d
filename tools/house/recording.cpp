#include "house/recording.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string_view>

#include <modbus/modbus.h>

namespace house {

namespace {

struct NamedPath {
    const char* name;
    const char* path;
};

constexpr NamedPath paths[] = {{"rtuconfig", LocalServer::rtuConfigPath},
                               {"attached", LocalServer::attachedPath},
                               {"supported", LocalServer::supportedPath}};

constexpr int highestUnit = 255;

// Answers of the local server

/// Longer than a client waits.
Answer silent() {
    return Answer::late(std::chrono::hours(1));
}

std::string toBytes(const JsonPart& digits) {
    const std::string text = digits.text();
    const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    digits.check(text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), isDigit),
                 "No bytes, each as two hexadecimal digits");
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string toBody(const JsonPart& answer) {
    answer.check(answer.has("json") + answer.has("text") + answer.has("bytes") == 1,
                 "Not one of json, text and bytes");
    if (answer.has("json"))
        return answer.at("json").json();
    return answer.has("text") ? answer.text("text") : toBytes(answer.at("bytes"));
}

Answer toAnswer(const JsonPart& part) {
    if (part.isText()) {
        part.check(part.text() == "closed" || part.text() == "silent", "Neither closed nor silent");
        return part.text() == "closed" ? Answer::dropped() : silent();
    }
    constexpr int ok = 200;
    constexpr int noContent = 204;
    constexpr int notModified = 304;
    part.allowOnly({"status", "json", "text", "bytes"});
    const int status = part.has("status") ? part.at("status").whole(ok, 999) : ok;
    Answer answer = Answer::withStatus(static_cast<unsigned>(status), toBody(part));
    part.check((status != noContent && status != notModified) || answer.body->empty(),
               "An answer of this status has no body");
    return answer;
}

// Answers on the bus

/// A name and, behind a colon, a number, if there is one.
struct FaultForm {
    const char* name;
    unsigned to = 0;
    Fault (*make)(unsigned number);
};

constexpr FaultForm faultForms[] = {
    {"silent", 0, [](unsigned) { return Fault::silence; }},
    {"closed", 0, [](unsigned) { return Fault::hangUp; }},
    {"garbled", 0, [](unsigned) { return Fault::garbled; }},
    {"short", 0, [](unsigned) { return Fault::shortAnswer; }},
    {"exception", 255, Fault::exception},
    {"unit", 247, Fault::fromUnit},
};

std::optional<Fault> tryToFault(const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view digits = std::string_view(text).substr(std::min(colon + 1, text.size()));
    unsigned number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
    for (const FaultForm& form : faultForms) {
        const bool fits =
            form.to == 0 ? colon == text.size() : isNumber && number >= 1 && number <= form.to;
        if (text.compare(0, colon, form.name) == 0 && fits)
            return form.make(number);
    }
    return std::nullopt;
}

Reply failing(const Fault& fault, int count) {
    if (fault.kind() == Fault::Kind::exception)
        return {{}, fault.code(), {}};
    // An answer that goes wrong on its way was one of the right length.
    return {Words(static_cast<std::size_t>(std::min(count, MODBUS_MAX_READ_REGISTERS))), {}, fault};
}

Reply toReply(const JsonPart& part, int count) {
    if (part.isText()) {
        const std::optional<Fault> fault = tryToFault(part.text());
        part.check(fault.has_value(), "None of silent, closed, garbled, short, exception:1 to 255 "
                                      "and unit:1 to 247");
        return failing(*fault, count);
    }
    constexpr int highestWord = 65535;
    Reply reply;
    part.forEach([&](const JsonPart& word) {
        reply.words.push_back(static_cast<std::uint16_t>(word.whole(0, highestWord)));
    });
    part.check(static_cast<int>(reply.words.size()) == count && count <= MODBUS_MAX_READ_REGISTERS,
               "Not as many words as are asked for");
    return reply;
}

std::vector<Reply> toReplies(const JsonPart& part, int count) {
    std::vector<Reply> replies;
    if (!part.has("inTurn")) {
        replies.push_back(toReply(part, count));
        return replies;
    }
    part.allowOnly({"inTurn"});
    part.at("inTurn").forEach([&](const JsonPart& one) { replies.push_back(toReply(one, count)); });
    part.at("inTurn").check(!replies.empty(), "Empty");
    return replies;
}

/// A whole number in decimal digits alone, 0 to @p last.
std::optional<int> tryToNumber(const std::string& digits, int last) {
    int number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || rest != end || number < 0 || number > last)
        return std::nullopt;
    return number;
}

} // namespace

Recording::Recording(const JsonPart& description) {
    description.allowOnly({"about", "bus", "polls"});
    description.checkName("bus", std::array{"tcp", "rtu"});
    m_bus = description.text("bus", "");
    if (description.has("about"))
        description.at("about").forEach([](const JsonPart& line) { line.text(); });
    description.at("polls").forEach(
        [this](const JsonPart& part) { m_polls.push_back(toPoll(part)); });
    description.at("polls").check(!m_polls.empty(), "Empty");
    collectMeters();
}

Recording::Poll Recording::toPoll(const JsonPart& part) {
    part.allowOnly({"time", "rtuconfig", "attached", "supported", "units"});
    if (part.has("time"))
        part.text("time");
    Poll poll;
    for (const auto& [name, path] : paths) {
        if (part.has(name))
            poll.answers[path] = std::make_shared<const Answer>(toAnswer(part.at(name)));
    }
    if (!part.has("units"))
        return poll;
    part.at("units").forEachMember([&](const std::string& unit, const JsonPart& registers) {
        const std::optional<int> number = tryToNumber(unit, highestUnit);
        registers.check(number.has_value(), "No unit from 0 to 255");
        collectReads(poll, *number, registers);
    });
    return poll;
}

void Recording::collectReads(Poll& poll, int unit, const JsonPart& registers) {
    registers.forEachMember([&](const std::string& key, const JsonPart& part) {
        const Read read = toRead(unit, key, part);
        poll.reads[read].replies = toReplies(part, read.count);
    });
}

Recording::Read Recording::toRead(int unit, const std::string& key, const JsonPart& part) {
    constexpr int highest = 65535;
    static const std::regex form("(input|holding) ([0-9]+) x([0-9]+)");
    std::smatch words;
    part.check(std::regex_match(key, words, form), R"(Not as "input 10 x2")");
    const std::optional<int> address = tryToNumber(words[2], highest);
    const std::optional<int> count = tryToNumber(words[3], highest);
    part.check(address && count, "Address or count above 65535");
    return {unit, words[1] == "input" ? Space::input : Space::holding, *address, *count};
}

// The table of readings names them.

void Recording::collectMeters() {
    for (const Poll& poll : m_polls) {
        const auto attached = poll.answers.find(LocalServer::attachedPath);
        if (attached != poll.answers.end())
            collectAttached(attached->second->body.value_or(""));
    }
    for (const Poll& poll : m_polls) {
        for (const auto& [read, turns] : poll.reads)
            addMeter("unit " + std::to_string(read.unit), read.unit);
    }
}

void Recording::collectAttached(const std::string& reply) {
    // The reader takes more than this house does, and what it can't take either may have been
    // recorded.
    try {
        JsonPart::fromText(reply).at("data").forEach([this](const JsonPart& meter) {
            addMeter(meter.text("name", "no name"), meter.at("slaveAddress").whole(0, highestUnit));
        });
    } catch (const std::runtime_error&) {
        return;
    }
}

void Recording::addMeter(const std::string& name, int slaveAddress) {
    const auto isOfIt = [&](const Meter& meter) { return meter.slaveAddress == slaveAddress; };
    if (std::any_of(m_meters.begin(), m_meters.end(), isOfIt))
        return;
    const auto isControl = [](unsigned char byte) { return std::iscntrl(byte) != 0; };
    const bool isPlain = std::none_of(name.begin(), name.end(), isControl);
    m_meters.push_back({isPlain ? name : "unit " + std::to_string(slaveAddress), slaveAddress});
}

void Recording::serveOn(LocalServer& server) {
    for (const auto& [name, path] : paths)
        server.serveBy(path, [this, path = std::string(path)] { return answer(path); });
}

/// A failure of one kind of bus is another one on the other, or none.
void Recording::requireBusOf(const ModbusSlave& slave) const {
    const bool isSerial = slave.port() == 0;
    if (isSerial && m_bus == "tcp")
        throw std::runtime_error("The recording is one of Modbus TCP: play it without --rtu");
    if (!isSerial && m_bus == "rtu")
        throw std::runtime_error("The recording is one of a serial line: play it with --rtu");
}

void Recording::liveOn(ModbusSlave& slave) {
    requireBusOf(slave);
    for (const Poll& poll : m_polls) {
        for (const auto& [read, turns] : poll.reads)
            slave.unit(read.unit);
    }
    slave.answerBy(
        [this](const Query& query, std::optional<Reply>& reply) { answer(query, reply); });
}

std::string Recording::moment() const {
    const std::lock_guard lock(m_mutex);
    return std::to_string(m_begun) + " of " + std::to_string(m_polls.size()) + " recorded";
}

void Recording::beginPoll() {
    for (auto& [read, turns] : m_now.reads)
        turns.next = 0;
    if (m_begun == m_polls.size())
        return;
    const Poll& poll = m_polls[m_begun++];
    for (const auto& [path, answer] : poll.answers)
        m_now.answers[path] = answer;
    for (const auto& [read, turns] : poll.reads)
        m_now.reads[read] = turns;
}

Answer Recording::answer(const std::string& path) {
    const std::lock_guard lock(m_mutex);
    if (path == LocalServer::rtuConfigPath)
        beginPoll();
    const auto found = m_now.answers.find(path);
    return found != m_now.answers.end() ? *found->second : Answer::withStatus(404, "Not Found");
}

void Recording::answer(const Query& query, std::optional<Reply>& reply) {
    if (!query.reads())
        return;
    const std::lock_guard lock(m_mutex);
    const auto found = m_now.reads.find({query.unit, query.space(), query.address, query.count});
    if (found == m_now.reads.end())
        return;
    Turns& turns = found->second;
    reply = turns.replies[turns.next];
    turns.next = std::min(turns.next + 1, turns.replies.size() - 1);
}

} // namespace house
