#include "inspector/input/text-checks.h"

#include "inspector/input/pointer.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace inspector {
namespace {

/// Number of letters to insert, delete or replace, upper and lower case being the same.
std::size_t distance(std::string_view a, std::string_view b) {
    const auto isSame = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = corner + (isSame(a[i], b[j]) ? 0 : 1);
            corner = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

/// One that is contained in the other, as "scale" in "scaleValue", counts as near.
std::size_t farness(std::string_view text, std::string_view known) {
    const std::size_t edits = distance(text, known);
    const bool isPart = text.size() > 2 && (known.find(text) != std::string_view::npos ||
                                            text.find(known) != std::string_view::npos);
    return isPart ? std::min<std::size_t>(edits, 1) : edits;
}

class TextCheck {
public:
    TextCheck(std::string_view document, Findings& findings) : m_report(document, findings) {}

    void check(const JsonNode& node, const Shape& shape, const std::string& pointer) {
        using enum JsonNode::Kind;
        if (shape.kind == Shape::Kind::record && node.kind == object)
            checkRecord(node, shape, pointer);
        if (shape.kind == Shape::Kind::list && node.kind == list)
            for (std::size_t i = 0; i < node.children.size(); ++i)
                check(node.children[i], *shape.element, pointerTo(pointer, i));
        if (shape.kind == Shape::Kind::enumeration && node.kind == text)
            checkName(node, *shape.names, pointer);
    }

private:
    void checkRecord(const JsonNode& node, const Shape& shape, const std::string& pointer) {
        for (const JsonNode& child : node.children) {
            const auto field = std::find_if(shape.fields.begin(), shape.fields.end(),
                                            [&](const auto& x) { return x.key == child.key; });
            if (node.member(child.key) != &child)
                duplicateKey(pointerTo(pointer, child.key), child.key);
            else if (field == shape.fields.end())
                unknownKey(shape, child.key, pointerTo(pointer, child.key));
            else if (child.kind > JsonNode::Kind::number)
                check(child, *field->shape, pointerTo(pointer, child.key));
        }
    }

    void duplicateKey(const std::string& pointer, std::string_view key) {
        m_report("duplicate-key", Severity::warning, pointer,
                 "The key " + quoted(key) +
                     " stands here more than once, and the daemon takes the last.",
                 "Keep one of them.");
    }

    void unknownKey(const Shape& shape, std::string_view key, const std::string& pointer) {
        std::vector<std::string_view> known;
        for (const Shape::Field& field : shape.fields)
            known.push_back(field.key);
        m_report("unknown-key", Severity::warning, pointer,
                 "The daemon knows no key " + quoted(key) + " here and ignores it.",
                 "Did you mean " + quoted(nearest(key, known)) + "? Else delete it.");
    }

    void checkName(const JsonNode& node, const vx::EnumTable& table, const std::string& pointer) {
        std::vector<std::string_view> known;
        std::string_view zero;
        for (const vx::EnumRow* row = table.begin; row != table.end; ++row) {
            if (row->name == node.text)
                return;
            known.push_back(row->name);
            if (row->value == 0)
                zero = row->name;
        }
        m_report("unknown-name", Severity::error, pointer,
                 "The daemon doesn't know the name " + quoted(node.text) + " and takes " +
                     quoted(zero) + " instead, its value 0.",
                 "Did you mean " + quoted(nearest(node.text, known)) + "?");
    }

    Reporter m_report;
};

} // namespace

void checkText(const JsonNode& node, const Shape& shape, const std::string& pointer,
               std::string_view document, Findings& findings) {
    TextCheck(document, findings).check(node, shape, pointer);
}

std::string_view nearest(std::string_view text, const std::vector<std::string_view>& known) {
    return *std::min_element(known.begin(), known.end(),
                             [&](auto a, auto b) { return farness(text, a) < farness(text, b); });
}

} // namespace inspector
