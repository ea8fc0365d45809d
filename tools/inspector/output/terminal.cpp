#include "inspector/output/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace inspector {

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

void Terminal::write(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), m_file);
}

void Terminal::line(std::string_view text) {
    write(text);
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
        line(text.substr(0, size));
        text.remove_prefix(std::min(size + 1, text.size()));
    }
}

std::string Terminal::bold(std::string_view text) const {
    return styled("1", text);
}

std::string Terminal::coloured(Severity severity, std::string_view text) const {
    return styled(severity == Severity::error     ? "31"
                  : severity == Severity::warning ? "33"
                                                  : "36",
                  text);
}

std::string Terminal::styled(std::string_view style, std::string_view text) const {
    if (!m_hasColours)
        return std::string(text);
    std::string result = "\x1b[";
    result.append(style).append("m").append(text).append("\x1b[0m");
    return result;
}

} // namespace inspector
