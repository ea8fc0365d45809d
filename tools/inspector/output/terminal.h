#pragma once

#include "inspector/output/finding.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace inspector {

/// Where text for people goes: as wide as the terminal, and in colours on one alone. What isn't
/// printable stands as `shownText` has it.
class Terminal {
public:
    explicit Terminal(std::FILE* file);

    /// In characters; no text is cut or wrapped for a file or a pipe.
    std::size_t width() const { return m_width; }
    void line(std::string_view text = {});
    /// What `shownText` and the styles of this terminal have passed already.
    void write(std::string_view shown);
    /// Breaks lines at blanks; those behind the first one begin at the same column.
    void paragraph(std::string_view text, std::size_t indent);

    std::string bold(std::string_view text) const;
    std::string coloured(Severity severity, std::string_view text) const;

private:
    std::string shown(std::string_view text) const;
    std::string styled(std::string_view style, std::string_view text) const;

    std::FILE* m_file;
    bool m_hasColours = false;
    std::size_t m_width = static_cast<std::size_t>(-1);
};

} // namespace inspector
