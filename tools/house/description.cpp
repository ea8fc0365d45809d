#include "house/description.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <json-c/json.h>

namespace house {

Description::Description(std::shared_ptr<json_object> root, json_object* part, std::string name)
    : m_root(std::move(root)), m_part(part), m_name(std::move(name)) {}

Description Description::fromText(const std::string& text) {
    const std::shared_ptr<json_object> root(json_tokener_parse(text.c_str()), json_object_put);
    if (!root)
        throw std::runtime_error("No JSON");
    return {root, root.get(), ""};
}

Description Description::fromFile(const std::string& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in)
        throw std::runtime_error("Cannot read " + file);
    return fromText(text.str());
}

bool Description::has(const std::string& key) const {
    return json_object_object_get_ex(m_part, key.c_str(), nullptr) != 0;
}

Description Description::at(const std::string& key) const {
    json_object* part = nullptr;
    const std::string name = m_name.empty() ? key : m_name + " / " + key;
    if (json_object_object_get_ex(m_part, key.c_str(), &part) == 0)
        throw std::runtime_error("Missing: " + name);
    return {m_root, part, name};
}

void Description::forEach(const std::function<void(const Description&)>& visit) const {
    if (json_object_is_type(m_part, json_type_array) == 0)
        throw std::runtime_error("No array: " + m_name);
    for (std::size_t i = 0; i < json_object_array_length(m_part); ++i)
        visit({m_root, json_object_array_get_idx(m_part, i), m_name + " / " + std::to_string(i)});
}

void Description::forEachMember(
    const std::function<void(const std::string&, const Description&)>& visit) const {
    if (json_object_is_type(m_part, json_type_object) == 0)
        throw std::runtime_error("No object: " + m_name);
    auto end = json_object_iter_end(m_part);
    for (auto member = json_object_iter_begin(m_part); json_object_iter_equal(&member, &end) == 0;
         json_object_iter_next(&member)) {
        const std::string key = json_object_iter_peek_name(&member);
        visit(key, at(key));
    }
}

double Description::number() const {
    if (json_object_is_type(m_part, json_type_int) == 0 &&
        json_object_is_type(m_part, json_type_double) == 0)
        throw std::runtime_error("No number: " + m_name);
    return json_object_get_double(m_part);
}

std::string Description::text() const {
    if (!isText())
        throw std::runtime_error("No text: " + m_name);
    return json_object_get_string(m_part);
}

bool Description::isText() const {
    return json_object_is_type(m_part, json_type_string) != 0;
}

double Description::number(const std::string& key, double fallback) const {
    return has(key) ? number(key) : fallback;
}

std::string Description::text(const std::string& key, const std::string& fallback) const {
    return has(key) ? text(key) : fallback;
}

std::string Description::json() const {
    return json_object_to_json_string_ext(m_part,
                                          JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

} // namespace house
