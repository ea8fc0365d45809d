#include "inspector/recording/recording-text.h"

#include "inspector/output/json-output.h"
#include "inspector/output/safe-text.h"
#include "vx/date-time.h"

#include <json-c/json.h>

#include <chrono>
#include <memory>
#include <string_view>

namespace inspector {
namespace {

/// Whether the house would serve this JSON as it stands. It stands some levels deep in a
/// description, which may have 32 in all.
bool isServedAsItStands(const std::string& body) {
    constexpr int deepest = 20;
    const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(
        json_tokener_new_ex(deepest), json_tokener_free);
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    const std::unique_ptr<json_object, int (*)(json_object*)> json(
        json_tokener_parse_ex(tokener.get(), body.c_str(), static_cast<int>(body.size() + 1)),
        json_object_put);
    return json && json_tokener_get_error(tokener.get()) == json_tokener_success &&
           body == json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN |
                                                                  JSON_C_TO_STRING_NOSLASHESCAPE);
}

std::string hexadecimal(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

void addBody(JsonOutput& out, const std::string& body) {
    if (isServedAsItStands(body)) {
        out.key("json");
        out.json(body);
    } else if (body == utf8Of(body)) {
        out.member("text", body);
    } else {
        out.member("bytes", hexadecimal(body));
    }
}

void addAnswer(JsonOutput& out, const ServerAnswer& answer) {
    constexpr int ok = 200;
    if (answer.kind == ServerAnswer::Kind::closed)
        return out.value("closed");
    if (answer.kind == ServerAnswer::Kind::silent)
        return out.value("silent");
    out.beginObject();
    if (answer.status != ok)
        out.member("status", answer.status);
    addBody(out, answer.body);
    out.endObject();
}

/// Adds an answer that is new, and keeps it as the last one.
void addChange(JsonOutput& out, const char* name, const std::optional<ServerAnswer>& answer,
               std::optional<ServerAnswer>& last) {
    if (!answer || answer == last)
        return;
    out.key(name);
    addAnswer(out, *answer);
    last = answer;
}

std::string keyOf(const BusRead& read) {
    return (read.isInput ? "input " : "holding ") + std::to_string(read.address) + " x" +
           std::to_string(read.count);
}

void addOutcomes(JsonOutput& out, const std::vector<std::string>& outcomes) {
    if (outcomes.size() == 1)
        return out.json(outcomes.front());
    out.beginObject();
    out.key("inTurn");
    out.beginList();
    for (const std::string& outcome : outcomes)
        out.json(outcome);
    out.endList();
    out.endObject();
}

using Reads = std::map<BusRead, std::vector<std::string>>;

/// Per unit the reads whose outcomes are new.
void addReads(JsonOutput& out, const Reads& reads) {
    if (reads.empty())
        return;
    out.key("units");
    out.beginObject();
    std::optional<int> unit;
    for (const auto& [read, outcomes] : reads) {
        if (unit && unit != read.unit)
            out.endObject();
        if (unit != read.unit) {
            out.key(std::to_string(read.unit));
            out.beginObject();
        }
        unit = read.unit;
        out.key(keyOf(read));
        addOutcomes(out, outcomes);
    }
    out.endObject();
    out.endObject();
}

} // namespace

bool RecordingText::add(const RecordedPoll& poll) {
    Answers answers = m_answers;
    Reads changes;
    for (const auto& [read, outcomes] : poll.reads) {
        const auto last = m_reads.find(read);
        if (last == m_reads.end() || last->second != outcomes)
            changes.emplace(read, outcomes);
    }
    JsonOutput out;
    out.beginObject();
    const std::chrono::system_clock::time_point time{std::chrono::milliseconds(poll.time)};
    out.member("time", vx::toString(time));
    addChange(out, "rtuconfig", poll.rtuConfig, answers.rtuConfig);
    addChange(out, "attached", poll.attached, answers.attached);
    addChange(out, "supported", poll.supported, answers.supported);
    addReads(out, changes);
    out.endObject();
    if (m_polls.size() + out.text().size() > mostPolls)
        return false;
    m_polls.append(m_polls.empty() ? "" : ",\n").append(out.text());
    m_answers = std::move(answers);
    for (auto& [read, outcomes] : changes)
        m_reads[read] = std::move(outcomes);
    return true;
}

std::string RecordingText::home(const std::vector<std::string>& about, BusName bus) const {
    JsonOutput lines;
    lines.beginList();
    for (const std::string& line : about)
        lines.value(line);
    lines.endList();
    std::string text = "{\"recording\":{\"about\":";
    text.append(lines.text()).append(",\n");
    if (!bus.empty())
        text.append("\"bus\":\"").append(bus).append("\",\n");
    return text.append("\"polls\":[\n").append(m_polls).append("\n]}}\n");
}

} // namespace inspector
