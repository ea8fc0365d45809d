#pragma once

#include "inspector/log/log-reader.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace inspector::readlog {

/// What a line is, without its time.
inline std::string described(const Line& line) {
    std::string text = line.isCut ? "cut " : "";
    if (line.forged > 0)
        text += "with " + std::to_string(line.forged) + " forged ";
    if (line.kind == LineKind::log)
        text += std::string(line.channel) + " ";
    else
        text += line.kind == LineKind::rule ? "rule " : "foreign ";
    return text + std::string(line.text);
}

class LogReaderTest : public testing::Test {
protected:
    std::vector<std::string> linesOf(const std::string& log) {
        const std::string file = m_directory.write("log", log);
        const std::unique_ptr<Source> source = openLog(file);
        LogReader reader(*source);
        std::vector<std::string> lines;
        for (Line line; reader.next(line);)
            lines.push_back(described(line));
        m_counts = reader.counts();
        m_damage = source->damage();
        return lines;
    }
    /// The log as a program packs it.
    std::string packed(const std::string& program, const std::string& log) {
        const std::string file = m_directory.write("plain", log);
        const std::string target = (m_directory.path() / "packed").string();
        EXPECT_EQ(std::system((program + " <" + file + " >" + target).c_str()), 0);
        return contentOf(target);
    }

    TemporaryDirectory m_directory;
    LogReader::Counts m_counts;
    std::string m_damage;
};

inline const std::string head = "[2026-11-14T03:24:09.123+01:00]   412 ";

inline std::string notice(const std::string& text) {
    return head + "NOTIC modbusSerial " + text + " toolkit.cpp:116\n";
}

inline std::string warning(const std::string& text) {
    return head + "WARN  modbusSerial " + text + " toolkit.cpp:345\n";
}

inline const std::string cycling = notice("Cycling meters");
inline const std::string rule = "=================================\n";
inline const std::string forgedWarning =
    "[2026-11-14T03:24:09.123+01:00]   412 WARN  modbusSerial Could not "
    "read register toolkit.cpp:345";

} // namespace inspector::readlog
