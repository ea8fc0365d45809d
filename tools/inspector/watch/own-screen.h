#pragma once

#include "inspector/watch/watch-screen.h"

#include <string>
#include <termios.h>
#include <vector>

namespace inspector {

/// The terminal while it shows one picture after another and takes keys one by one. What it showed
/// before comes back at the end.
class OwnScreen {
public:
    /// Throws `std::runtime_error` if standard output is no terminal, or there is none for keys.
    OwnScreen();
    ~OwnScreen();
    OwnScreen(const OwnScreen&) = delete;
    OwnScreen& operator=(const OwnScreen&) = delete;

    /// Gives the terminal back for a while, and takes it again.
    void leave();
    void enter();
    ScreenSize size() const;
    /// False if nobody takes it any more.
    bool show(const std::vector<std::string>& lines);
    /// Where keys come from.
    int keys() const { return m_keys; }

private:
    int m_keys;
    termios m_before{};
    bool m_hasColours;
};

} // namespace inspector
