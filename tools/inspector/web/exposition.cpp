#include "inspector/web/exposition.h"

#include "inspector/output/safe-text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace inspector {
namespace {

constexpr std::size_t longestLabel = 128;

std::string escaped(std::string_view value) {
    std::string result;
    for (const char c : utf8Of(value, longestLabel)) {
        if (c == '\\' || c == '"')
            result += '\\';
        if (c == '\n')
            result += "\\n";
        else
            result += c;
    }
    return result;
}

std::string numberOf(double value) {
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value > 0 ? "+Inf" : "-Inf";
    // The largest double has 309 digits.
    std::array<char, 400> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string_view unitOf(std::string_view family) {
    for (const std::string_view unit : {"seconds", "watts", "joules"})
        if (family.ends_with(unit))
            return unit;
    return {};
}

} // namespace

void Exposition::metric(std::string_view name, std::string_view type, std::string_view help) {
    m_name = name;
    m_type = type;
    m_help = help;
    m_hasHead = false;
}

void Exposition::writeHead() {
    std::string family(m_name);
    std::string type(m_type);
    for (const std::string_view suffix : {"_total", "_info"})
        if (m_isOpen && family.ends_with(suffix))
            family.resize(family.size() - suffix.size());
    if (!m_isOpen && type == "info")
        type = "gauge";
    m_text += "# HELP " + family + " " + std::string(m_help) + "\n";
    m_text += "# TYPE " + family + " " + type + "\n";
    if (m_isOpen && !unitOf(family).empty())
        m_text += "# UNIT " + family + " " + std::string(unitOf(family)) + "\n";
}

void Exposition::sample(Labels labels, double value, std::string_view suffix) {
    if (!std::exchange(m_hasHead, true))
        writeHead();
    m_text.append(m_name).append(suffix);
    std::string_view separator = "{";
    for (const auto& [name, text] : labels) {
        m_text.append(separator).append(name).append("=\"").append(escaped(text)).append("\"");
        separator = ",";
    }
    if (labels.size() > 0)
        m_text += '}';
    m_text.append(" ").append(numberOf(value)).append("\n");
}

std::string Exposition::finish() {
    if (m_isOpen)
        m_text += "# EOF\n";
    return std::move(m_text);
}

} // namespace inspector
