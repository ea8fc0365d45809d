#include "house/json-part.h"

#include "house/descriptor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <json-c/json.h>

namespace house {

namespace {

/// Gives up on an endless device.
std::string readFile(const std::string& file) {
    constexpr std::size_t limit = 16U << 20;
    const Descriptor in(require(::open(file.c_str(), O_RDONLY | O_CLOEXEC), file.c_str()));
    std::array<char, 4096> chunk{};
    std::string text;
    while (text.size() <= limit) {
        const int size = require(static_cast<int>(::read(in.number(), chunk.data(), chunk.size())),
                                 file.c_str());
        if (size == 0)
            return text;
        text.append(chunk.data(), static_cast<std::size_t>(size));
    }
    throw std::runtime_error(file + ": Larger than 16 MB");
}

std::string joined(const std::string& head, const char* separator, const std::string& tail) {
    return head.empty() ? tail : head + separator + tail;
}

} // namespace

JsonPart::JsonPart(std::shared_ptr<json_object> root, json_object* part, std::string file,
                   std::string path)
    : m_root(std::move(root)), m_part(part), m_file(std::move(file)), m_path(std::move(path)) {}

JsonPart JsonPart::fromText(const std::string& text) {
    return parse(text, "");
}

JsonPart JsonPart::fromFile(const std::string& file) {
    return parse(readFile(file), file);
}

JsonPart JsonPart::parse(const std::string& text, const std::string& file) {
    const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                         json_tokener_free);
    // Strict, so that a text behind the JSON counts as an error too. With its final NUL, which ends
    // a number that is all of the text.
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT);
    const auto size = static_cast<int>(text.size() + 1);
    const std::shared_ptr<json_object> root(
        json_tokener_parse_ex(tokener.get(), text.c_str(), size), json_object_put);
    const json_tokener_error error = json_tokener_get_error(tokener.get());
    if (error == json_tokener_success)
        return {root, root.get(), file, ""};
    const auto end = text.begin() + static_cast<long>(json_tokener_get_parse_end(tokener.get()));
    const auto line = 1 + std::count(text.begin(), std::min(end, text.end()), '\n');
    const char* const reason =
        error == json_tokener_continue ? "unexpected end of data" : json_tokener_error_desc(error);
    throw std::runtime_error(
        joined(file, ": ", "No JSON in line " + std::to_string(line) + ": " + reason));
}

JsonPart JsonPart::child(json_object* part, const std::string& key) const {
    return {m_root, part, m_file, joined(m_path, " / ", key)};
}

void JsonPart::fail(const std::string& complaint) const {
    throw std::runtime_error(joined(m_file, ": ", joined(m_path, ": ", complaint)));
}

void JsonPart::check(bool good, const std::string& complaint) const {
    if (!good)
        fail(complaint);
}

bool JsonPart::has(const std::string& key) const {
    return json_object_object_get_ex(m_part, key.c_str(), nullptr) != 0;
}

JsonPart JsonPart::at(const std::string& key) const {
    json_object* part = nullptr;
    if (json_object_object_get_ex(m_part, key.c_str(), &part) == 0)
        child(nullptr, key).fail("Missing");
    return child(part, key);
}

void JsonPart::forEach(const std::function<void(const JsonPart&)>& visit) const {
    check(json_object_is_type(m_part, json_type_array) != 0, "No array");
    for (std::size_t i = 0; i < json_object_array_length(m_part); ++i)
        visit(child(json_object_array_get_idx(m_part, i), std::to_string(i)));
}

void JsonPart::forEachMember(
    const std::function<void(const std::string&, const JsonPart&)>& visit) const {
    check(json_object_is_type(m_part, json_type_object) != 0, "No object");
    auto end = json_object_iter_end(m_part);
    for (auto member = json_object_iter_begin(m_part); json_object_iter_equal(&member, &end) == 0;
         json_object_iter_next(&member)) {
        const std::string key = json_object_iter_peek_name(&member);
        visit(key, at(key));
    }
}

void JsonPart::allowOnly(const std::vector<std::string>& keys) const {
    forEachMember([&](const std::string& key, const JsonPart& member) {
        member.check(std::find(keys.begin(), keys.end(), key) != keys.end(), "No such key");
    });
}

double JsonPart::number() const {
    check(json_object_is_type(m_part, json_type_int) != 0 ||
              json_object_is_type(m_part, json_type_double) != 0,
          "No number");
    const double number = json_object_get_double(m_part);
    check(std::isfinite(number), "No finite number");
    return number;
}

int JsonPart::whole(int from, int to) const {
    const double value = number();
    check(value >= from && value <= to && std::trunc(value) == value,
          "No whole number from " + std::to_string(from) + " to " + std::to_string(to));
    return static_cast<int>(value);
}

bool JsonPart::isTrue() const {
    check(json_object_is_type(m_part, json_type_boolean) != 0, "Neither true nor false");
    return json_object_get_boolean(m_part) != 0;
}

std::string JsonPart::text() const {
    check(isText(), "No text");
    return json_object_get_string(m_part);
}

bool JsonPart::isText() const {
    return json_object_is_type(m_part, json_type_string) != 0;
}

double JsonPart::number(const std::string& key, double fallback) const {
    return has(key) ? number(key) : fallback;
}

bool JsonPart::isTrue(const std::string& key, bool fallback) const {
    return has(key) ? at(key).isTrue() : fallback;
}

std::string JsonPart::text(const std::string& key, const std::string& fallback) const {
    return has(key) ? text(key) : fallback;
}

std::string JsonPart::json() const {
    return json_object_to_json_string_ext(m_part,
                                          JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

} // namespace house
