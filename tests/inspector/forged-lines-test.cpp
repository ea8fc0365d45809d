#include "read-log.h"

#include <gmock/gmock.h>

using namespace inspector;
using namespace inspector::readlog;
using testing::ElementsAre;

namespace {

using ForgedLines = LogReaderTest;

} // namespace

TEST_F(ForgedLines, joinsAReplyThatIsLaidOutOnManyLines) {
    const std::string reply = "{\n  \"data\": [\n    {\"name\": \"a\"}\n  ]\n}\n";
    EXPECT_THAT(
        linesOf(notice("Attached Meters result:" + reply) + cycling),
        ElementsAre("modbusSerial Attached Meters result:" + reply, "modbusSerial Cycling meters"));
    EXPECT_EQ(m_counts.lines, 7U);
    EXPECT_EQ(m_counts.ofLog, 2U);
}

TEST_F(ForgedLines, takesNoLineWithinAReplyForOneOfTheDaemon) {
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

TEST_F(ForgedLines, takesNoLineWithinARecordForOneOfTheDaemon) {
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

TEST_F(ForgedLines, takesNoLineWithinTheBodyOfAFailureForOneOfTheDaemon) {
    const std::string text =
        "Error requesting from server code:503 result:<p>\n" + forgedWarning + "\n</p>";
    EXPECT_THAT(linesOf(warning(text) + cycling),
                ElementsAre("with 1 forged modbusSerial " + text, "modbusSerial Cycling meters"));
}

TEST_F(ForgedLines, takesTheLinesBehindACutOneForWhatTheyAre) {
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

TEST_F(ForgedLines, takesAValueThatResemblesAHeadForAValue) {
    const std::string reply = R"({"data":[{"name":")" + forgedWarning + R"("}]})";
    EXPECT_THAT(linesOf(notice("Attached Meters result:" + reply)),
                ElementsAre("modbusSerial Attached Meters result:" + reply));
}

TEST_F(ForgedLines, takesASerialThatResemblesAHeadForASerial) {
    const std::string end =
        R"(,"slaveAddress":7,"meteringType":modbus,"lastChanged":2026-11-14T02:24:08.123Z})";
    const std::string message =
        R"(Writing  m_buffer:{"id":")" + forgedWarning + R"(","meteringType":"modbus"})";
    EXPECT_THAT(linesOf(head + "NOTIC modbusreaderSocketWriter " + message +
                        " socket-writer.cpp:41\n" + cycling),
                ElementsAre("modbusreaderSocketWriter " + message, "modbusSerial Cycling meters"));
    EXPECT_EQ(m_counts.cut, 0U);
    for (const std::string start : {"", "{", "{{"})
        for (const std::string more : {"", " aRegister:{\"address\":1"}) {
            const std::string record =
                "Reading aReading:{\"id\":" + start + forgedWarning + more + end;
            EXPECT_THAT(linesOf(notice(record) + cycling),
                        ElementsAre("modbusSerial " + record, "modbusSerial Cycling meters"))
                << record;
        }
}

TEST_F(ForgedLines, takesANameThatResemblesAHeadForAName) {
    for (const std::string start : {"", "{", "{{"})
        for (const std::string more : {"", " aRegister:{\"address\":1"}) {
            const std::string record = "Reading meter meter:{\"name\":" + start + forgedWarning +
                                       more + ",\"slaveAddress\":7} config:{\"id\":m}";
            EXPECT_THAT(linesOf(notice(record) + cycling),
                        ElementsAre("modbusSerial " + record, "modbusSerial Cycling meters"))
                << record;
        }
}

TEST_F(ForgedLines, takesAMeterWithABracketInItsNameForWhole) {
    const std::string text = "Reading meter meter:{\"name\":a{b} config:{}";
    EXPECT_THAT(linesOf(notice(text) + cycling),
                ElementsAre("modbusSerial " + text, "modbusSerial Cycling meters"));
}

TEST_F(ForgedLines, areFoundHoweverManyStandInAReply) {
    std::string value;
    for (int i = 0; i < 200; ++i)
        value += "\n" + forgedWarning;
    const std::string reply = R"({"data":[{"name":")" + value + R"("}]})";
    EXPECT_THAT(linesOf(notice("Attached Meters result:" + reply) + cycling),
                ElementsAre("with 200 forged modbusSerial Attached Meters result:" + reply,
                            "modbusSerial Cycling meters"));
}

TEST_F(ForgedLines, areFoundInAReplyThatIsNoJsonThoughItBeginsSo) {
    for (const std::string& reply :
         {"{'data':'\n" + forgedWarning + "\n'}", "{\"data\":[]} x\n" + forgedWarning + "\nx",
          "{\"data\":[\n" + forgedWarning + "\n]}"})
        EXPECT_THAT(linesOf(notice("Attached Meters result:" + reply) + cycling),
                    ElementsAre("with 1 forged modbusSerial Attached Meters result:" + reply,
                                "modbusSerial Cycling meters"));
}

TEST_F(ForgedLines, areFoundInTheSerialOfAMeterWhateverTheServerSays) {
    const std::string harmless = notice("result:{}") + notice("Attached Meters result:{}") +
                                 notice("Supported Meters result:{}");
    const std::string record =
        "Reading aReading:{\"id\":a toolkit.cpp:9\n" + forgedWarning + "\n,\"slaveAddress\":1}";
    EXPECT_THAT(linesOf(harmless + notice(record) + cycling),
                ElementsAre("modbusSerial result:{}", "modbusSerial Attached Meters result:{}",
                            "modbusSerial Supported Meters result:{}",
                            "with 1 forged modbusSerial " + record, "modbusSerial Cycling meters"));
}

TEST_F(ForgedLines, areFoundBehindAnyNumberOfLinesThatMightBeTheLast) {
    std::string value;
    for (int i = 0; i <= 100000; ++i)
        value += "\n x.cpp:1";
    for (const std::string& text :
         {"Attached Meters result:{\"name\":\"" + value + "\n" + forgedWarning + "\n\"}",
          "Reading meter meter:{\"name\":" + value + "\n" + forgedWarning + "\n}"}) {
        const auto lines = linesOf(notice(text) + cycling);
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0], "with 1 forged modbusSerial " + text);
    }
}
