#include "inspector/output/terminal.h"

#include "inspector/output/safe-text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace inspector {
namespace {

constexpr std::string_view bolder = "\x1b[1m";
constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view yellow = "\x1b[33m";
constexpr std::string_view cyan = "\x1b[36m";
constexpr std::string_view ending = "\x1b[0m";

/// The style that a text begins with, or an empty one.
std::string_view styleAhead(std::string_view text) {
    for (const std::string_view style : {bolder, red, yellow, cyan, ending})
        if (text.substr(0, style.size()) == style)
            return style;
    return {};
}

} // namespace

Terminal::Terminal(std::FILE* file) : m_file(file) {
    if (isatty(fileno(file)) == 0)
        return;
    const char* noColour = std::getenv("NO_COLOR");
    m_hasColours = noColour == nullptr || *noColour == '\0';
    winsize size{};
    constexpr std::size_t narrowest = 40;
    if (ioctl(fileno(file), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        m_width = std::max<std::size_t>(size.ws_col, narrowest);
}

void Terminal::write(std::string_view shown) {
    std::fwrite(shown.data(), 1, shown.size(), m_file);
}

void Terminal::line(std::string_view text) {
    if (isPlain(text))
        write(text);
    else
        write(shown(text));
    write("\n");
}

void Terminal::paragraph(std::string_view text, std::size_t indent) {
    const std::string margin(indent, ' ');
    const std::size_t room = m_width > indent ? m_width - indent : 1;
    while (!text.empty()) {
        std::size_t size = text.size();
        if (size > room) {
            const std::size_t blank = text.rfind(' ', room);
            size = blank == std::string_view::npos ? std::min(text.find(' '), size) : blank;
        }
        write(margin);
        write(shownText(text.substr(0, size)));
        write("\n");
        text.remove_prefix(std::min(size + 1, text.size()));
    }
}

std::string Terminal::bold(std::string_view text) const {
    return styled(bolder, text);
}

std::string Terminal::coloured(Severity severity, std::string_view text) const {
    return styled(severity == Severity::error     ? red
                  : severity == Severity::warning ? yellow
                                                  : cyan,
                  text);
}

std::string Terminal::styled(std::string_view style, std::string_view text) const {
    if (!m_hasColours)
        return std::string(text);
    std::string result(style);
    return result.append(shownText(text)).append(ending);
}

/// All but its own styles.
std::string Terminal::shown(std::string_view text) const {
    if (!m_hasColours)
        return shownText(text);
    std::string result;
    while (!text.empty()) {
        const std::string_view style = styleAhead(text);
        const std::size_t end = std::min(text.find('\x1b', 1), text.size());
        const std::size_t size = style.empty() ? end : style.size();
        result += style.empty() ? shownText(text.substr(0, size)) : std::string(style);
        text.remove_prefix(size);
    }
    return result;
}

} // namespace inspector
