#include "inspector/watch/own-screen.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace inspector {
namespace {

constexpr std::string_view begin = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view end = "\x1b[?25h\x1b[?1049l";

bool write(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
           std::fflush(stdout) == 0;
}

} // namespace

OwnScreen::OwnScreen() : m_keys(-1) {
    if (isatty(STDOUT_FILENO) == 0)
        throw std::runtime_error("standard output is no terminal");
    // Standard input may be the log.
    m_keys = open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (m_keys == -1 || tcgetattr(m_keys, &m_before) == -1)
        throw std::runtime_error("there is no terminal for keys");
    const char* const noColour = std::getenv("NO_COLOR");
    m_hasColours = noColour == nullptr || *noColour == '\0';
    enter();
}

OwnScreen::~OwnScreen() {
    leave();
    close(m_keys);
}

void OwnScreen::enter() {
    termios own = m_before;
    own.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(m_keys, TCSANOW, &own);
    write(begin);
}

void OwnScreen::leave() {
    write(end);
    tcsetattr(m_keys, TCSANOW, &m_before);
}

ScreenSize OwnScreen::size() const {
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? ScreenSize{size.ws_col, size.ws_row, m_hasColours}
                   : ScreenSize{80, 24, m_hasColours};
}

bool OwnScreen::show(const std::vector<std::string>& lines) {
    std::string text = "\x1b[H";
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += lines[i] + "\x1b[K" + (i + 1 < lines.size() ? "\r\n" : "");
    return write(text + "\x1b[J");
}

} // namespace inspector
