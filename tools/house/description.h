#pragma once

#include <functional>
#include <memory>
#include <string>

struct json_object;

namespace house {

/// A part of a JSON description. Everything that is missing or of the wrong kind throws a
/// `std::runtime_error` that names the key.
class Description {
public:
    static Description fromFile(const std::string& file);
    static Description fromText(const std::string& text);

    bool has(const std::string& key) const;
    Description at(const std::string& key) const;
    /// The elements of an array or of an object's member, in order.
    void forEach(const std::function<void(const Description&)>& visit) const;
    void
    forEachMember(const std::function<void(const std::string&, const Description&)>& visit) const;

    double number() const;
    std::string text() const;
    bool isText() const;
    double number(const std::string& key) const { return at(key).number(); }
    double number(const std::string& key, double fallback) const;
    std::string text(const std::string& key) const { return at(key).text(); }
    std::string text(const std::string& key, const std::string& fallback) const;

    /// The part as JSON text.
    std::string json() const;

private:
    Description(std::shared_ptr<json_object> root, json_object* part, std::string name);

    std::shared_ptr<json_object> m_root;
    json_object* m_part;
    std::string m_name;
};

} // namespace house
