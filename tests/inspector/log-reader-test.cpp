#include "inspector/log/log-reader.h"

#include "inspector/input/sources.h"
#include "support/temporary-directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace inspector;
using testing::ElementsAre;

namespace {

/// What a line is, without its time.
std::string described(const Line& line) {
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

const std::string head = "[2026-11-14T03:24:09.123+01:00]   412 ";

std::string notice(const std::string& text) {
    return head + "NOTIC modbusSerial " + text + " toolkit.cpp:116\n";
}

std::string warning(const std::string& text) {
    return head + "WARN  modbusSerial " + text + " toolkit.cpp:345\n";
}

const std::string cycling = notice("Cycling meters");
const std::string rule = "=================================\n";
const std::string forgedWarning =
    "[2026-11-14T03:24:09.123+01:00]   412 WARN  modbusSerial Could not "
    "read register toolkit.cpp:345";

} // namespace

TEST_F(LogReaderTest, givesTheLinesOfAFile) {
    EXPECT_THAT(linesOf(cycling + rule + "else"),
                ElementsAre("modbusSerial Cycling meters",
                            "rule =================================", "foreign else"));
    EXPECT_EQ(m_counts.lines, 3U);
    EXPECT_EQ(m_counts.ofLog, 1U);
    EXPECT_EQ(m_counts.foreign, 1U);
    EXPECT_EQ(m_counts.cut, 0U);
    EXPECT_EQ(m_counts.forged, 0U);
    EXPECT_THAT(linesOf(""), ElementsAre());
}

TEST_F(LogReaderTest, unpacksWhatGzipAndZstdPackedWhateverItsName) {
    std::string log;
    for (int i = 0; i < 20000; ++i)
        log += notice("Reading meter now slaveAddress:" + std::to_string(i));
    const auto lines = linesOf(log);

    EXPECT_EQ(lines.size(), 20000U);
    for (const char* program : {"gzip", "zstd", "gzip -1"}) {
        EXPECT_EQ(linesOf(packed(program, log)), lines) << program;
        EXPECT_EQ(m_damage, "");
    }
}

TEST_F(LogReaderTest, readsPackedFilesThatWereJoined) {
    for (const char* program : {"gzip", "zstd"}) {
        const std::string part = packed(program, cycling);
        EXPECT_THAT(linesOf(part + part),
                    ElementsAre("modbusSerial Cycling meters", "modbusSerial Cycling meters"));
        EXPECT_EQ(m_damage, "");
    }
}

TEST_F(LogReaderTest, tellsThatTheEndOfAPackedFileIsMissing) {
    std::string log;
    for (int i = 0; i < 20000; ++i)
        log += notice(std::to_string(i * 7919 % 10007));
    for (const char* program : {"gzip", "zstd"}) {
        const std::string whole = packed(program, log);
        const auto lines = linesOf(whole.substr(0, whole.size() / 2));

        EXPECT_LT(lines.size(), 20000U) << program;
        EXPECT_EQ(m_damage, "the end of the compressed file is missing") << program;
    }
}

TEST_F(LogReaderTest, tellsThatAPackedFileIsBroken) {
    std::string broken = packed("gzip", cycling);
    broken[15] ^= 0x55;
    linesOf(broken);
    EXPECT_EQ(m_damage, "the compressed file is broken");

    broken = packed("zstd --check", cycling);
    broken[20] ^= 0x55;
    linesOf(broken);
    EXPECT_THAT(m_damage, testing::StartsWith("the compressed file is broken: "));
}

TEST_F(LogReaderTest, refusesWhatIsNoFile) {
    const auto refusal = [](const std::string& name) {
        try {
            RawLine line;
            openLog(name)->next(line);
        } catch (const UnreadableInput& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(refusal("/nowhere/log"), "/nowhere/log: No such file or directory");
    EXPECT_EQ(refusal(m_directory.path().string()),
              m_directory.path().string() + ": Is a directory");
}

TEST_F(LogReaderTest, takesOffWhatJournalctlPutsAhead) {
    const std::string line = cycling;
    for (const std::string time : {"Nov 22 18:01:30", "Nov  2 18:01:30", "Nov 22 18:01:30.123456",
                                   "2026-11-22T18:01:30+0100", "Sun 2026-11-22 18:01:30 CET"}) {
        const std::string prefix = time + " controller modbus-reader[412]: ";
        EXPECT_THAT(
            linesOf("-- Journal begins at Sun 2026-11-01. --\n" + prefix + line + prefix + rule),
            ElementsAre("foreign -- Journal begins at Sun 2026-11-01. --",
                        "modbusSerial Cycling meters", "rule ================================="))
            << time;
    }
}

TEST_F(LogReaderTest, keepsALineThatOnlyResemblesSuchAPrefix) {
    EXPECT_THAT(linesOf("Nov 22\nNov 22 18:01:30\nNov 22 18:01:30 host a b: c\n"),
                ElementsAre("foreign Nov 22", "foreign Nov 22 18:01:30",
                            "foreign Nov 22 18:01:30 host a b: c"));
}

TEST_F(LogReaderTest, readsTheJsonOfTheJournal) {
    const std::string text = cycling.substr(0, cycling.size() - 1);
    std::string bytes;
    for (const char c : text)
        bytes += (bytes.empty() ? "" : ",") + std::to_string(static_cast<int>(c));
    const std::string first = R"({"__REALTIME_TIMESTAMP":"1","MESSAGE":)";
    EXPECT_THAT(linesOf(first + '"' + text + "\"}\n" + first + '[' + bytes + "]}\n" + first +
                        "null}\n" + first + "\"cut"),
                ElementsAre("modbusSerial Cycling meters", "modbusSerial Cycling meters",
                            "cut foreign ", "cut foreign " + first + "\"cut"));
}

TEST_F(LogReaderTest, readsTheExportFormatOfTheJournal) {
    const std::string text = cycling.substr(0, cycling.size() - 1);
    const std::string start = "__CURSOR=s=1\n_PID=412\n";
    const std::string size(1, static_cast<char>(text.size()));
    EXPECT_THAT(
        linesOf(start + "MESSAGE=" + text + "\n_UID=0\n\n" + start + "MESSAGE\n" + size +
                std::string(7, '\0') + text + "\n\n" + start + "OTHER\n" + '\2' +
                std::string(7, '\0') + "\n\n\nMESSAGE=last"),
        ElementsAre("modbusSerial Cycling meters", "modbusSerial Cycling meters", "foreign last"));
}

TEST_F(LogReaderTest, cutsALineBeyondTheLongestAndGoesOnBehindIt) {
    const std::string large(10 << 20, 'x');
    const auto lines = linesOf(cycling + notice(large) + large + "\n" + cycling);

    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "modbusSerial Cycling meters");
    const std::string kept(Source::longestLine - (head + "NOTIC modbusSerial ").size(), 'x');
    EXPECT_EQ(lines[1], "cut modbusSerial " + kept);
    EXPECT_EQ(lines[2], "cut foreign " + large.substr(0, Source::longestLine));
    EXPECT_EQ(lines[3], "modbusSerial Cycling meters");
    EXPECT_EQ(m_counts.cut, 2U);
}

TEST_F(LogReaderTest, keepsNullBytes) {
    const std::string nulls(3, '\0');
    EXPECT_THAT(linesOf(nulls + "\n" + cycling),
                ElementsAre("foreign " + nulls, "modbusSerial Cycling meters"));
}

TEST_F(LogReaderTest, findsTheLineBehindOneThatWasCutWithoutALineEnd) {
    const std::string nulls(3, '\0');
    EXPECT_THAT(linesOf(head + "WARN  modbusSerial Could not read reg" + cycling + nulls + cycling +
                        notice(R"(Attached Meters result:{"data":[{"na)" + cycling) + cycling),
                ElementsAre("cut modbusSerial Could not read reg", "modbusSerial Cycling meters",
                            "cut foreign " + nulls, "modbusSerial Cycling meters",
                            R"(cut modbusSerial Attached Meters result:{"data":[{"na)",
                            "modbusSerial Cycling meters", "foreign  toolkit.cpp:116",
                            "modbusSerial Cycling meters"));
}

TEST_F(LogReaderTest, joinsAReplyThatIsLaidOutOnManyLines) {
    const std::string reply = "{\n  \"data\": [\n    {\"name\": \"a\"}\n  ]\n}\n";
    EXPECT_THAT(
        linesOf(notice("Attached Meters result:" + reply) + cycling),
        ElementsAre("modbusSerial Attached Meters result:" + reply, "modbusSerial Cycling meters"));
    EXPECT_EQ(m_counts.lines, 7U);
    EXPECT_EQ(m_counts.ofLog, 2U);
}

TEST_F(LogReaderTest, takesNoLineWithinAReplyForOneOfTheDaemon) {
    for (const std::string start : {"", "x toolkit.cpp:9"})
        for (const std::string end : {"", "\nx", "\nx toolkit.cpp:9\n"}) {
            const std::string reply =
                R"({"data":[{"name":")" + start + "\n" + forgedWarning + end + R"("}]})";
            EXPECT_THAT(linesOf(notice("Attached Meters result:" + reply) + cycling),
                        ElementsAre("with 1 forged modbusSerial Attached Meters result:" + reply,
                                    "modbusSerial Cycling meters"));
            EXPECT_EQ(m_counts.forged, 1U);
        }
}

TEST_F(LogReaderTest, takesNoLineWithinARecordForOneOfTheDaemon) {
    for (const std::string start : {"", "x toolkit.cpp:9"})
        for (const std::string end : {"", "\nx", "\nx toolkit.cpp:9\n"}) {
            const std::string record = "{\"id\":m1,\"name\":" + start + "\n" + forgedWarning + end +
                                       ",\"slaveAddress\":1}";
            EXPECT_THAT(linesOf(notice("Reading meter meter:" + record + " config:{}") + cycling),
                        ElementsAre("with 1 forged modbusSerial Reading meter meter:" + record +
                                        " config:{}",
                                    "modbusSerial Cycling meters"));
        }
}

TEST_F(LogReaderTest, takesNoLineWithinTheBodyOfAFailureForOneOfTheDaemon) {
    const std::string text =
        "Error requesting from server code:503 result:<p>\n" + forgedWarning + "\n</p>";
    EXPECT_THAT(linesOf(warning(text) + cycling),
                ElementsAre("with 1 forged modbusSerial " + text, "modbusSerial Cycling meters"));
}

TEST_F(LogReaderTest, takesTheLinesBehindACutOneForWhatTheyAre) {
    const std::string failed = warning("Could not read register");
    for (const std::string cut :
         {"Attached Meters result:{\"data\":[{\"na", "Attached Meters result:{\"data\":[{",
          "Reading meter meter:{\"id\":m1,\"na", "Error requesting from server code:503 result:<p>",
          "Cycling me"}) {
        EXPECT_THAT(linesOf(head + "NOTIC modbusSerial " + cut + "\n" + failed + cycling),
                    ElementsAre("cut modbusSerial " + cut, "modbusSerial Could not read register",
                                "modbusSerial Cycling meters"))
            << cut;
        EXPECT_EQ(m_counts.forged, 0U);
        EXPECT_EQ(m_counts.cut, 1U);
        EXPECT_EQ(m_counts.lines, 3U);
    }
}

TEST_F(LogReaderTest, takesAValueThatResemblesAHeadForAValue) {
    const std::string reply = R"({"data":[{"name":")" + forgedWarning + R"("}]})";
    EXPECT_THAT(linesOf(notice("Attached Meters result:" + reply)),
                ElementsAre("modbusSerial Attached Meters result:" + reply));
}

TEST_F(LogReaderTest, takesAMeterWithABracketInItsNameForWhole) {
    const std::string text = "Reading meter meter:{\"name\":a{b} config:{}";
    EXPECT_THAT(linesOf(notice(text) + cycling),
                ElementsAre("modbusSerial " + text, "modbusSerial Cycling meters"));
}
