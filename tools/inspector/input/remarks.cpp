#include "inspector/input/remarks.h"

#include "inspector/daemon/zero-names.h"
#include "inspector/input/nearest.h"
#include "inspector/output/number-text.h"
#include "vx/json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace inspector {
namespace {

std::string listOf(const std::vector<std::string_view>& names) {
    std::string list;
    for (const std::string_view name : names)
        list += (list.empty() ? "" : ", ") + quoted(name);
    return list;
}

/// What a decimal number stands for; nothing for another text.
std::optional<double> decimal(std::string_view text) {
    constexpr std::string_view blanks = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    if (text.substr(0, 1) == "+" && text.substr(1, 1) != "-")
        text.remove_prefix(1);
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::string textOf(double number) {
    return rounded(number, 10);
}

/// What somebody may have meant by a text that is no decimal number.
std::optional<std::string> meantBy(std::string text) {
    std::replace(text.begin(), text.end(), ',', '.');
    if (decimal(text))
        return text;
    constexpr std::string_view ahead = "0x";
    constexpr int hexadecimal = 16;
    long number = 0;
    const char* const end = text.data() + text.size();
    if (text.compare(0, ahead.size(), ahead) != 0)
        return std::nullopt;
    const auto [rest, error] =
        std::from_chars(text.data() + ahead.size(), end, number, hexadecimal);
    if (error != std::errc() || rest != end)
        return std::nullopt;
    return std::to_string(number);
}

/// Nothing for what the daemon doesn't take.
std::optional<double> takenFor(const std::string& number, bool isText, const Shape& shape) {
    try {
        const auto fragment = isText ? vx::makeJsonFragment(json_object_new_string(number.c_str()))
                                     : vx::parseJsonFragment(number.c_str());
        return shape.taken(fragment.get());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/// Whether the daemon takes the number for what it shows.
bool isTakenAsShown(double shown, double taken, const Shape& shape) {
    return shape.kind == Shape::Kind::integer
               ? shown == taken
               : static_cast<float>(shown) == static_cast<float>(taken);
}

} // namespace

Remark onUnknownKey(std::string_view key, const Shape& record) {
    std::vector<std::string_view> known;
    for (const Shape::Field& field : record.fields)
        known.push_back(field.key);
    const auto near = nearest(key, known);
    return {"unknown-key", Severity::warning,
            "The daemon knows no key " + quoted(key) + " here and ignores it.",
            near ? "Did you mean " + quoted(*near) + "? Else delete it."
                 : "Delete it; those known are " + listOf(known) + "."};
}

std::optional<Remark> onKeyOfEnvelope(std::string_view key) {
    if (!nearest(key, {"data"}))
        return std::nullopt;
    return Remark{"unknown-key", Severity::warning,
                  "The daemon reads nothing of a reply but \"data\" and ignores the key " +
                      quoted(key) + ".",
                  "Did you mean \"data\"? Else delete it."};
}

Remark onDuplicateKey(std::string_view key) {
    return {"duplicate-key", Severity::warning,
            "The key " + quoted(key) +
                " stands here more than once, and the daemon takes the last.",
            "Keep one of them."};
}

std::optional<Remark> onName(std::string_view name, const vx::EnumTable& table) {
    const auto isIt = [&](const vx::EnumRow& row) { return row.name == name; };
    if (std::any_of(table.begin, table.end, isIt))
        return std::nullopt;
    std::vector<std::string_view> known;
    std::string_view zero;
    for (const vx::EnumRow* row = table.begin; row != table.end; ++row) {
        known.push_back(row->name);
        if (row->value == 0)
            zero = row->name;
    }
    const auto near = nearest(name, known);
    const ZeroName effect = effectOfZero(table, near.value_or(""));
    return Remark{"unknown-name", effect.severity,
                  "The daemon doesn't know the name " + quoted(name) + " and takes " +
                      quoted(zero) + " instead, its value 0: " + std::string(effect.text) + ".",
                  near ? "Did you mean " + quoted(*near) + "?"
                       : "Take one that it knows: " + listOf(known) + "."};
}

std::optional<Remark> onNumber(const std::string& number, bool isText, const Shape& shape) {
    const std::optional<double> taken = takenFor(number, isText, shape);
    if (!taken || !std::isfinite(*taken))
        return std::nullopt;
    const std::optional<double> shown = decimal(number);
    if (shown && isTakenAsShown(*shown, *taken, shape))
        return std::nullopt;
    const bool isWhole = shape.kind == Shape::Kind::integer;
    const auto meant = !shown    ? meantBy(number)
                       : isWhole ? std::nullopt
                                 : std::optional(textOf(*shown));
    return Remark{"number-misread", Severity::warning,
                  "The daemon takes " + textOf(*taken) + " for " +
                      (isText ? quoted(number) : number) + ".",
                  meant     ? "Write " + *meant + "."
                  : isWhole ? "Write a whole number in decimal."
                            : "Write a number in decimal."};
}

Remark onRegisterWithoutField() {
    return {"no-field", Severity::warning,
            "Without \"fieldType\" the daemon reads this register and drops it.",
            "Add the field that it is to fill, or \"none\" if it is read for nothing on purpose."};
}

} // namespace inspector
