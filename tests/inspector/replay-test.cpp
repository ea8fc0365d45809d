// What `replay` makes of the lines of a log.

#include "replayed-log.h"

namespace inspector {
namespace {

/// What `replay` makes of the reads of one poll.
std::string units(Lines lines) {
    const std::string polls = replay(lines.tick()).polls;
    const std::size_t at = polls.find(R"("units":)");
    return at == std::string::npos ? "" : polls.substr(at + 8, polls.size() - at - 9);
}

/// What it makes of one register's failure.
std::string failure(const std::string& reason) {
    const std::string head = R"({"7":{"input 10 x1":)";
    const std::string text = units(Lines().alive().replies().meter(7).asks(10, 1).fails(reason));
    return text.starts_with(head) ? text.substr(head.size(), text.size() - head.size() - 2) : text;
}

} // namespace

TEST(ReplayOutput, aPollTellsOnlyWhatIsOtherwiseThanInThePollBefore) {
    const Replayed result = replay(Lines().started().poll("5").poll("5").poll("6"));

    EXPECT_EQ(result.polls, "{" + time + "," + answers + R"(,"units":{"7":{"input 10 x1":[5]}}},)" +
                                "\n{" + time + "},\n{" + time +
                                R"(,"units":{"7":{"input 10 x1":[6]}}})");
    EXPECT_EQ(result.told, pollsOf("3 polls"));
}

TEST(ReplayOutput, theHomeSaysWhatItIsOf) {
    const ProgramResult result = run({"replay", "-", "-o", "-"}, Lines().started().poll("5").text);

    EXPECT_TRUE(result.standardOutput.starts_with(
        R"({"recording":{"about":["1 poll of the reader with the process number 4711, )" +
        moment.substr(0, moment.size() - 1) +
        R"(","the log doesn't tell the kind of bus: if it was a serial line, play it with --rtu"],)" +
        "\n\"polls\":[\n"))
        << result.standardOutput;
}

TEST(ReplayOutput, theHomeIsOfTheKindOfBusThatTheLogTells) {
    const std::string tcp = "Connecting TCP config:{}";
    const std::string rtu = "Modbus serial device connecting serialDevice:/dev/ttymxc2 baud:9600";
    const auto replayed = [](const std::vector<std::string>& connections) {
        Lines lines = Lines().started().alive();
        for (const std::string& connection : connections)
            lines.serial(connection);
        return run({"replay", "-", "-o", "-"}, lines.replies().tick().text);
    };
    const std::string note = "the bus of that time, to be played ";

    const ProgramResult ofTcp = replayed({tcp});
    EXPECT_NE(ofTcp.standardOutput.find("],\n\"bus\":\"tcp\",\n\"polls\""), std::string::npos);
    EXPECT_NE(ofTcp.standardError.find(note + "without --rtu: " + tcp), std::string::npos);
    const ProgramResult ofRtu = replayed({rtu});
    EXPECT_NE(ofRtu.standardOutput.find("],\n\"bus\":\"rtu\",\n\"polls\""), std::string::npos);
    EXPECT_NE(ofRtu.standardError.find(note + "with --rtu: " + rtu), std::string::npos);
    const ProgramResult ofBoth = replayed({tcp, rtu});
    EXPECT_EQ(ofBoth.standardOutput.find("\"bus\""), std::string::npos);
    EXPECT_NE(ofBoth.standardError.find("the bus of that time: " + rtu), std::string::npos);
}

TEST(ReplayOutput, readsAreToldByUnitKindAddressAndCount) {
    EXPECT_EQ(units(Lines()
                        .alive()
                        .replies()
                        .meter(7)
                        .asks(10, 2, "input")
                        .gets("1 65535")
                        .asks(10, 1, "holding")
                        .gets("3")
                        .meter(8)
                        .asks(70000, 1, "none")
                        .gets("4")),
              R"({"7":{"holding 10 x1":[3],"input 10 x2":[1,65535]},"8":{"holding 4464 x1":[4]}})");
}

TEST(ReplayOutput, aReadThatAPollDoesSeveralTimesIsToldInTurn) {
    EXPECT_EQ(
        units(Lines().alive().replies().meter(7).asks(10, 1).gets("1").meter(7).asks(10, 1).fails(
            "Connection timed out")),
        R"({"7":{"input 10 x1":{"inTurn":[[1],"silent"]}}})");
}

TEST(ReplayOutput, aSerialOfTheListIsNoRead) {
    EXPECT_EQ(units(Lines()
                        .alive()
                        .replies()
                        .meter(7)
                        .asks(1, 2, "holding", "serial")
                        .asks(10, 1)
                        .gets("5")),
              R"({"7":{"input 10 x1":[5]}})");
}

TEST(ReplayOutput, anAddressThatTheLibraryRefusesReadsTheUnitBefore) {
    const auto lines = [](const std::string& connected) {
        return units(Lines()
                         .alive()
                         .replies()
                         .serial(connected)
                         .meter(300)
                         .asks(10, 1)
                         .gets("1")
                         .meter(7)
                         .asks(10, 1)
                         .gets("2")
                         .meter(255)
                         .asks(11, 1)
                         .gets("3"));
    };

    EXPECT_EQ(lines("Connecting TCP config:{}"),
              R"({"7":{"input 10 x1":[2]},"255":{"input 10 x1":[1],"input 11 x1":[3]}})");
    EXPECT_EQ(lines("Modbus serial device connecting serialDevice:/dev/ttymxc2 baud:9600"),
              R"({"7":{"input 10 x1":[2],"input 11 x1":[3]}})");
}

TEST(ReplayOutput, aReadFailsAsTheLogSays) {
    EXPECT_EQ(failure("Connection timed out"), R"("silent")");
    EXPECT_EQ(failure("Unknown error 112345679"), R"("exception:1")");
    EXPECT_EQ(failure("Unknown error 112345689"), R"("exception:11")");
    EXPECT_EQ(failure("Unknown error 112345690"), R"("garbled")");
    EXPECT_EQ(failure("Unknown error 112345691"), R"("short")");
    EXPECT_EQ(failure("Unknown error 112345692"), R"("exception:255")");
    EXPECT_EQ(failure("Unknown error 112345695"), R"("unit:8")");
    for (const char* reason : {"Connection reset by peer", "Broken pipe", "Bad file descriptor",
                               "Input/output error", "Invalid argument"})
        EXPECT_EQ(failure(reason), R"("closed")") << reason;
    // It never was on the bus.
    EXPECT_EQ(failure("Unknown error 112345694"), "");
}

TEST(ReplayOutput, failuresOfTheServerAreTold) {
    const std::string failed = "Error requesting from server code:";
    const auto answersOf = [](Lines lines) {
        const std::string polls = replay(lines.tick()).polls;
        return polls.substr(time.size() + 2, polls.size() - time.size() - 3);
    };

    EXPECT_EQ(answersOf(Lines()
                            .alive()
                            .serial(failed + "404 result:<p>\nNo</p>")
                            .serial("Attached Meters result:a")
                            .serial(failed + "503 result:a")
                            .serial("Supported Meters result:b")),
              R"("rtuconfig":{"status":404,"text":"<p>\nNo</p>"},)"
              R"("attached":{"status":503,"text":"a"},"supported":{"text":"b"})");
    EXPECT_EQ(answersOf(Lines()
                            .alive()
                            .serial("result:{}")
                            .serial("Attached Meters result:a")
                            .serial(failed + "503 result:a")),
              R"("rtuconfig":{"json":{}},"attached":{"text":"a"},)"
              R"("supported":{"status":503,"text":"a"})");
    const std::string request = "Request failed: GET http://127.0.0.1:8088/, Reason: ";
    EXPECT_EQ(
        answersOf(Lines()
                      .alive()
                      .add("ERROR HttpClient", request + "Operation timed out after 120000 ms")
                      .serial(failed + "-1 result:")
                      .add("ERROR HttpClient", request + "Empty reply from server")
                      .serial("Attached Meters result:")
                      .serial(failed + "-1 result:")
                      .serial(failed + "-1 result:")),
        R"("rtuconfig":"silent","attached":"closed","supported":"closed")");
}

TEST(ReplayOutput, aBodyIsToldByteForByte) {
    const auto bodyOf = [](const std::string& body) {
        const std::string polls = replay(Lines()
                                             .alive()
                                             .serial("result:" + body)
                                             .serial("Attached Meters result:")
                                             .serial("Supported Meters result:")
                                             .tick())
                                      .polls;
        const std::size_t from = polls.find(R"("rtuconfig":)") + 12;
        return polls.substr(from, polls.find(R"(,"attached")") - from);
    };

    EXPECT_EQ(bodyOf(R"({"data":[1.50,"a/b"]})"), R"({"json":{"data":[1.50,"a/b"]}})");
    EXPECT_EQ(bodyOf(R"({"data": [1,]})"), R"({"text":"{\"data\": [1,]}"})");
    EXPECT_EQ(bodyOf("{\n  \"data\": null\n}"), R"({"text":"{\n  \"data\": null\n}"})");
    EXPECT_EQ(bodyOf("\x1F\x8B"), R"({"bytes":"1f8b"})");
    const std::string deep = std::string(25, '[') + std::string(25, ']');
    EXPECT_EQ(bodyOf(deep), R"({"text":")" + deep + "\"}");
}

} // namespace inspector
