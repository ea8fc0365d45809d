#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

struct json_object;

namespace house {

/// A part of a JSON description. Everything that is missing or wrong throws a `std::runtime_error`
/// that names the file and the place in it, like "home.json: behaviour / speed: No number".
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

    /// A finite number.
    double number() const;
    /// A whole number in a range.
    int whole(int from, int to) const;
    std::string text() const;
    bool isText() const;
    double number(const std::string& key) const { return at(key).number(); }
    double number(const std::string& key, double fallback) const;
    std::string text(const std::string& key) const { return at(key).text(); }
    std::string text(const std::string& key, const std::string& fallback) const;

    /// The part as JSON text.
    std::string json() const;

    /// Throws unless the part is an object that has no keys but these.
    void allowOnly(std::initializer_list<const char*> keys) const;
    /// Throws @p complaint unless the part is @p good.
    void check(bool good, const std::string& complaint) const;
    [[noreturn]] void fail(const std::string& complaint) const;

private:
    Description(std::shared_ptr<json_object> root, json_object* part, std::string file,
                std::string path);
    static Description parse(const std::string& text, const std::string& file);
    Description child(json_object* part, const std::string& key) const;

    std::shared_ptr<json_object> m_root;
    json_object* m_part;
    std::string m_file;
    std::string m_path;
};

} // namespace house
