#include "inspector/home/diagnostics.h"

#include "inspector/log/text-fields.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <stdexcept>

namespace inspector {

extern const char* const diagnosticsText;

namespace {

using Value = rapidjson::Value;

std::string textOf(const Value& object, const char* key) {
    const auto found = object.FindMember(key);
    return found == object.MemberEnd() ? std::string() : found->value.GetString();
}

std::vector<std::string> listOf(const Value& object, const char* key) {
    std::vector<std::string> texts;
    if (const auto found = object.FindMember(key); found != object.MemberEnd())
        for (const Value& text : found->value.GetArray())
            texts.emplace_back(text.GetString());
    return texts;
}

/// Without the marks of literal text, which a terminal doesn't show.
std::string sentences(const Value& object, const char* key) {
    std::string all;
    for (const std::string& sentence : listOf(object, key))
        all += (all.empty() ? "" : " ") + sentence;
    std::erase(all, '`');
    return all;
}

Diagnostic entryOf(const Value& object) {
    Diagnostic entry;
    entry.key = textOf(object, "key");
    entry.severity = textOf(object, "severity");
    entry.channel = textOf(object, "channel");
    entry.line = textOf(object, object.HasMember("words") ? "words" : "line");
    entry.meaning = sentences(object, "meaning");
    entry.remedy = sentences(object, "remedy");
    entry.see = listOf(object, "see");
    if (const auto reasons = object.FindMember("reasons"); reasons != object.MemberEnd())
        for (const Value& reason : reasons->value.GetArray())
            entry.reasons.push_back(entryOf(reason));
    return entry;
}

std::vector<Diagnostic> readTable() {
    rapidjson::Document document;
    document.Parse(diagnosticsText);
    if (document.HasParseError())
        throw std::logic_error("docs/diagnostics.json is no JSON");
    std::vector<Diagnostic> entries;
    for (const char* list : {"diagnostics", "marks"})
        if (document.HasMember(list))
            for (const Value& entry : document[list].GetArray())
                entries.push_back(entryOf(entry));
    return entries;
}

std::string_view nameOf(vx::LogSeverity severity) {
    if (severity == vx::LogSeverity::fatal)
        return "FATAL";
    return severity == vx::LogSeverity::error ? "ERROR" : "WARN";
}

} // namespace

const std::vector<Diagnostic>& diagnostics() {
    static const std::vector<Diagnostic> entries = readTable();
    return entries;
}

const Diagnostic* findDiagnostic(std::string_view key, std::string_view reason) {
    const auto named = [](const std::vector<Diagnostic>& entries,
                          std::string_view name) -> const Diagnostic* {
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [&](const Diagnostic& x) { return x.key == name; });
        return found == entries.end() ? nullptr : &*found;
    };
    const Diagnostic* entry = named(diagnostics(), key);
    return entry == nullptr || reason.empty() ? entry : named(entry->reasons, reason);
}

std::string Explanation::wholeRemedy() const {
    std::string whole = remedy;
    for (const std::string& heading : see)
        whole += (whole.empty() ? "" : " ") + ("See \"" + heading) + "\" in operations.md.";
    return whole;
}

Explanation explanationOf(std::string_view key, std::string_view reason) {
    const Diagnostic* entry = findDiagnostic(key);
    if (entry == nullptr)
        return {};
    const Diagnostic* part = reason.empty() ? nullptr : findDiagnostic(key, reason);
    if (part == nullptr)
        return {entry->line, entry->meaning, entry->remedy, entry->see};
    // A reason that has no remedy of its own leaves that of its line.
    const Diagnostic* cure = part->remedy.empty() && part->see.empty() ? entry : part;
    return {part->line, part->meaning, cure->remedy, cure->see};
}

const Diagnostic* diagnosticOf(const Line& line) {
    for (const Diagnostic& entry : diagnostics())
        if (!entry.channel.empty() && entry.channel == line.channel &&
            entry.severity == nameOf(line.severity) && fitsPattern(line.text, entry.line))
            return &entry;
    return nullptr;
}

const Diagnostic* reasonOf(const Diagnostic& entry, std::string_view words) {
    for (const Diagnostic& reason : entry.reasons) {
        const std::string_view start =
            std::string_view(reason.line).substr(0, reason.line.find("…"));
        if (words.find(start) != std::string_view::npos)
            return &reason;
    }
    return nullptr;
}

} // namespace inspector
