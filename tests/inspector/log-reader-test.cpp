#include "read-log.h"

#include "inspector/input/sources.h"

#include <gmock/gmock.h>

using namespace inspector;
using namespace inspector::readlog;
using testing::ElementsAre;

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

TEST_F(LogReaderTest, tellsThatAPackedFileNeedsMoreMemoryThanItTakes) {
    EXPECT_THAT(linesOf(packed("zstd --long=27", cycling)), ElementsAre());
    EXPECT_EQ(m_damage,
              "the file was compressed with a window above 32 MB: unpack it with zstd first");
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
    for (const std::string time :
         {"Nov 22 18:01:30", "Nov  2 18:01:30", "Nov 22 18:01:30.123456",
          "2026-11-22T18:01:30+0100", "Sun 2026-11-22 18:01:30 CET", "Dez 22 18:01:30",
          "déc. 22 18:01:30", "Mär  2 18:01:30", "11月 22 18:01:30"}) {
        const std::string prefix = time + " controller modbus-reader[412]: ";
        EXPECT_THAT(
            linesOf("-- Journal begins at Sun 2026-11-01. --\n" + prefix + line + prefix + rule),
            ElementsAre("foreign -- Journal begins at Sun 2026-11-01. --",
                        "modbusSerial Cycling meters", "rule ================================="))
            << time;
    }
}

TEST_F(LogReaderTest, keepsALineThatOnlyResemblesSuchAPrefix) {
    EXPECT_THAT(linesOf("Nov 22\nNov 22 18:01:30\nNov 22 18:01:30 host a b: c\n"
                        "at the 22 18:01:30 host a: b\n"),
                ElementsAre("foreign Nov 22", "foreign Nov 22 18:01:30",
                            "foreign Nov 22 18:01:30 host a b: c",
                            "foreign at the 22 18:01:30 host a: b"));
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

TEST_F(LogReaderTest, findsARecordBehindALineThatWasCutWithoutALineEnd) {
    const std::string reading = R"(Reading aReading:{"id":S,"meteringType":modbus})";
    const std::string failure = "Could not read register strerror(x):y aRegister:{\"address\":1}";
    const std::string meter = "Reading meter meter:{\"name\":a} config:{\"id\":m}";
    for (const std::string cut : {"Reading aReading:{\"id\":S", "Reading meter meter:{\"na",
                                  "Reading meter meter:{\"name\":a}",
                                  "Reading meter meter:{\"name\":a} config:{", "Cycling"})
        for (const std::string& behind : {reading, failure, meter})
            EXPECT_THAT(linesOf(head + "NOTIC modbusSerial " + cut + notice(behind)),
                        ElementsAre("cut modbusSerial " + cut, "modbusSerial " + behind))
                << cut;
    const std::string message = R"(Writing  m_buffer:{"id":"S","meteringType":"modbus"})";
    const std::string writing =
        head + "NOTIC modbusreaderSocketWriter " + message + " socket-writer.cpp:41\n";
    for (const std::string cut : {R"(Writing  m_buffer:{"id":"S)", "Writing  m_buffer:{"})
        EXPECT_THAT(linesOf(head + "NOTIC modbusreaderSocketWriter " + cut + writing),
                    ElementsAre("cut modbusreaderSocketWriter " + cut,
                                "modbusreaderSocketWriter " + message));
    const std::string cut = "Reading aReading:{\"id\":S";
    EXPECT_THAT(linesOf(head + "NOTIC modbusSerial " + cut + writing),
                ElementsAre("cut modbusSerial " + cut, "modbusreaderSocketWriter " + message));
}

TEST_F(LogReaderTest, looksForSoManyLinesWithoutALineEndOnly) {
    std::string heads;
    for (int i = 0; i < 1000; ++i)
        heads += head + "NOTIC modbusSerial Reading aReading:{";
    EXPECT_EQ(linesOf(heads + "\n" + cycling + heads + "\n" + cycling).size(), 2U * 17 + 2);
    EXPECT_EQ(m_counts.cut, 2U * 17);
}
