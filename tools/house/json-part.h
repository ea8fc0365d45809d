#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct json_object;

namespace house {

/// A part of a JSON text that knows its place. Everything that is missing or wrong throws a
/// `std::runtime_error` that names the file, if it comes from one, and the place in it, like
/// "home.json: behaviour / speed: No number".
class JsonPart {
public:
    static JsonPart fromFile(const std::string& file);
    static JsonPart fromText(const std::string& text);

    bool has(const std::string& key) const;
    JsonPart at(const std::string& key) const;
    /// The elements of an array or the members of an object, in order.
    void forEach(const std::function<void(const JsonPart&)>& visit) const;
    void forEachMember(const std::function<void(const std::string&, const JsonPart&)>& visit) const;

    /// A finite number.
    double number() const;
    /// A whole number in a range.
    int whole(int from, int to) const;
    bool isTrue() const;
    std::string text() const;
    bool isText() const;
    double number(const std::string& key) const { return at(key).number(); }
    double number(const std::string& key, double fallback) const;
    bool isTrue(const std::string& key, bool fallback) const;
    std::string text(const std::string& key) const { return at(key).text(); }
    std::string text(const std::string& key, const std::string& fallback) const;

    /// The part as JSON text.
    std::string json() const;

    /// Throws unless the part is an object that has no keys but these.
    void allowOnly(const std::vector<std::string>& keys) const;
    /// Throws unless the text behind @p key, if there is one, is among @p names: the reader would
    /// take it for the first of them, without a word.
    void checkName(const std::string& key, const auto& names) const {
        if (has(key) && std::find(names.begin(), names.end(), text(key)) == names.end())
            at(key).fail("No such name: " + text(key));
    }
    /// Throws @p complaint unless the part is @p good.
    void check(bool good, const std::string& complaint) const;
    [[noreturn]] void fail(const std::string& complaint) const;

private:
    JsonPart(std::shared_ptr<json_object> root, json_object* part, std::string file,
             std::string path);
    static JsonPart parse(const std::string& text, const std::string& file);
    JsonPart child(json_object* part, const std::string& key) const;

    std::shared_ptr<json_object> m_root;
    json_object* m_part;
    std::string m_file;
    std::string m_path;
};

} // namespace house
