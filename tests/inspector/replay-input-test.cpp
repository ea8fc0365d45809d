// Which logs `replay` takes, what it says of those that aren't whole, and which files it writes.

#include "replayed-log.h"

#include "support/temporary-directory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace inspector {

TEST(ReplayInput, aLogWithoutDebugLinesIsRefusedWithTheSettingThatIsNeeded) {
    const std::string sentence =
        "modbus-inspector: -: No debug lines of modbusSerial, so no words of registers: log with "
        "VX_LOG=modbusSerial:D or VX_LOG=D\n";

    EXPECT_EQ(refusal(Lines().started().replies().tick().text), sentence);
    EXPECT_EQ(refusal(""), sentence);
    EXPECT_EQ(refusal("something else\n"), sentence);
}

TEST(ReplayInput, aLogWithoutTheBeginningOfAPollIsRefused) {
    EXPECT_EQ(refusal(Lines().add("DEBUG modbusSerial", "ARRAY debug: 5 toolkit.cpp:1").text),
              "modbus-inspector: -: No poll from its beginning on\n");
}

TEST(ReplayInput, aLogThatBeginsInTheMidstStartsWithTheFirstPollThatBegins) {
    Lines lines;
    lines.meter(7).asks(10, 1).gets("4").tick().alive().serial("result:" + serialReply);
    lines.serial(
        "querySerialConnectionConfig m_config:{\"baudRate\":baud9600} serverConfig.data:{}");
    lines.serial("Attached Meters result:" + attachedReply);
    lines.serial("Supported Meters result:" + supportedReply).tick();

    const Replayed result = replay(lines);

    EXPECT_EQ(result.polls, "{" + time + "," + answers + "}");
    EXPECT_EQ(
        result.told,
        pollsOf("1 poll") +
            "modbus-inspector: it begins in the midst of a run: values that stood in for registers "
            "since before are missing until their register is read, and where the server fails at "
            "first the reader has no bus or no list of meters until it answers\n");
}

TEST(ReplayInput, aPollWithoutAllItsLinesIsLeftOutAndTold) {
    Lines lines = Lines().started().poll("5");
    lines.alive().replies().meter(7).asks(10, 1).asks(11, 1).gets("1").tick();
    lines.alive().serial("result:" + serialReply).tick().poll("6");

    const Replayed result = replay(lines);

    EXPECT_EQ(result.polls, "{" + time + "," + answers + R"(,"units":{"7":{"input 10 x1":[5]}}},)" +
                                "\n{" + time + R"(,"units":{"7":{"input 10 x1":[6]}}})");
    EXPECT_EQ(result.told, pollsOf("2 polls") +
                               "modbus-inspector: 2 polls left out, as lines of them "
                               "are missing or cut: what follows may differ\n");
}

TEST(ReplayInput, aCutLineIsToldAndItsPollLeftOut) {
    Lines lines = Lines().started().poll("5").alive().replies().meter(7).asks(10, 1);
    lines.text += "[2026-11-22T19:00:00.000+01:00]  4711 DEBUG modbusSerial ARRAY debug: 1";

    const Replayed result = replay(lines.text + "\n" + Lines().tick().poll("6").text);

    EXPECT_EQ(result.told, pollsOf("2 polls") +
                               "modbus-inspector: 1 poll left out, as lines of them are missing or "
                               "cut: what follows may differ\n"
                               "modbus-inspector: lines that are cut: 1\n");
}

TEST(ReplayInput, wordsThatAreNoneMakeNoPoll) {
    const std::string nul(1, '\0');
    for (const std::string& words :
         {std::string("1x"), std::string("-1"), std::string("65536"), "1" + nul}) {
        const Replayed result = replay(
            Lines().started().poll("5").alive().replies().meter(7).asks(10, 2).gets(words).tick());
        EXPECT_TRUE(result.told.find("1 poll left out") != std::string::npos) << words;
    }
}

TEST(ReplayInput, linesThatAreMissingGiveNoReadToAnother) {
    const std::string leftOut = "1 poll left out, as lines of them are missing or cut";
    const auto told = [](const Lines& lines) {
        return replay(Lines().started().poll("5").text + lines.text).told;
    };
    const auto meterOf = [](int address) {
        return Lines().alive().replies().meter(7).asks(10, 1).gets("1").serial(
            R"(Reading aReading:{"id":a,"slaveAddress":9,"slaveAddress":)" +
            std::to_string(address) + "}");
    };

    EXPECT_EQ(told(meterOf(7).tick()).find(leftOut), std::string::npos);
    // "Reading meter now" of the meter 8.
    EXPECT_NE(told(meterOf(8).tick()).find(leftOut), std::string::npos);
    // What a register was asked for.
    EXPECT_NE(told(Lines().alive().replies().meter(7).gets("1").tick()).find(leftOut),
              std::string::npos);
    EXPECT_NE(told(Lines().alive().replies().meter(7).fails("Broken pipe").tick()).find(leftOut),
              std::string::npos);
    // The beginning of a poll; the one before is whole.
    const std::string midst =
        told(Lines().alive().replies().tick().meter(7).asks(10, 1).gets("1").tick());
    EXPECT_NE(midst.find(pollsOf("2 polls")), std::string::npos);
    EXPECT_NE(midst.find(leftOut), std::string::npos);
}

TEST(ReplayInput, theTextOfALogReachesTheTerminalWithoutControlCharacters) {
    const Replayed result =
        replay(Lines().started().alive().serial("Connecting TCP \x1b[2Jx").replies().tick());

    EXPECT_NE(result.told.find("Connecting TCP \\u001b[2Jx\n"), std::string::npos) << result.told;
}

TEST(ReplayInput, aFirstPollThatIsTooLargeForTheHouseIsRefusedAsThat) {
    Lines lines = Lines().started().alive().replies().meter(7);
    std::string words;
    for (int i = 0; i < 125; ++i)
        words += "65535 ";
    constexpr int beyond = 22000;
    for (int i = 0; i < beyond; ++i)
        lines.asks(i, 125).gets(words);

    EXPECT_EQ(refusal(lines.tick().poll("5").text),
              "modbus-inspector: -: The first poll is larger than what the house takes; --since "
              "takes later ones\n");
}

TEST(ReplayInput, theLastPollMayBreakOff) {
    const Replayed result =
        replay(Lines().started().poll("5").alive().replies().meter(7).asks(10, 1).gets("6"));

    EXPECT_TRUE(result.polls.ends_with(R"(,"units":{"7":{"input 10 x1":[6]}}})")) << result.polls;
    EXPECT_EQ(result.told, pollsOf("2 polls") + "modbus-inspector: the last poll breaks off\n");
}

TEST(ReplayInput, aLineWithinAValueIsNoLineOfTheReader) {
    const std::string attached =
        "{\"data\":[{\"serial\":\"S\n[2026-11-22T19:00:00.000+01:00]  4711 DEBUG modbusSerial "
        "Main loop is alive toolkit.cpp:1\n\"}]}";
    Lines lines = Lines().started().alive().serial("result:{}");
    lines.serial("Attached Meters result:" + attached).serial("Supported Meters result:{}").tick();

    const Replayed result = replay(lines);

    EXPECT_EQ(result.polls,
              "{" + time + R"(,"rtuconfig":{"json":{}},"attached":{"text":)" +
                  R"("{\"data\":[{\"serial\":\"S\n[2026-11-22T19:00:00.000+01:00]  )" +
                  R"(4711 DEBUG modbusSerial Main loop is alive toolkit.cpp:1\n\"}]}"},)" +
                  R"("supported":{"json":{}}})");
    EXPECT_EQ(result.told,
              pollsOf("1 poll") +
                  "modbus-inspector: lines that only look like the reader's, within values: 1\n");
}

TEST(ReplayInput, aFileIsReplacedByForceAlone) {
    const TemporaryDirectory files;
    const std::string log = files.write("log", Lines().started().poll("5").text);
    const std::string home = files.write("home.json", "of somebody");

    const ProgramResult refused = run({"replay", log, "-o", home});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.standardError, "modbus-inspector: " + home + ": File exists\n");
    EXPECT_EQ(contentOf(home), "of somebody");

    EXPECT_EQ(run({"replay", log, "-o", home, "--force"}).status, 0);
    EXPECT_TRUE(contentOf(home).starts_with(R"({"recording":)"));
    EXPECT_EQ(run({"replay", log, "-o", files.path() / "new.json", "--force"}).status, 0);
    EXPECT_EQ(contentOf(files.path() / "new.json"), contentOf(home));
}

TEST(ReplayInput, byForceNothingIsLostToALogThatIsRefusedAndOnlyFilesAreReplaced) {
    const TemporaryDirectory files;
    const std::string home = files.write("home.json", "of somebody");
    const std::string folder = files.path() / "folder";
    std::filesystem::create_directory(folder);

    EXPECT_EQ(run({"replay", "-", "-o", home, "--force"}).status, 2);
    EXPECT_EQ(contentOf(home), "of somebody");
    EXPECT_EQ(run({"replay", "-", "-o", folder, "--force"}).standardError,
              "modbus-inspector: " + folder + ": no regular file, so it isn't replaced\n");
}

TEST(ReplayInput, theLogItselfIsNoFileForTheHome) {
    const TemporaryDirectory files;
    const std::string log = files.write("log", Lines().started().poll("5").text);
    const std::string link = files.path() / "link";
    std::filesystem::create_symlink(log, link);

    EXPECT_EQ(run({"replay", log, "-o", link, "--force"}).standardError,
              "modbus-inspector: " + link + ": it is the log itself\n");
    EXPECT_EQ(contentOf(log), Lines().started().poll("5").text);
}

TEST(ReplayInput, onAFullFileSystemTheOldFileStaysAsItIs) {
    const TemporaryDirectory files;
    const std::string log = files.write("log", Lines().started().poll("5").text);
    const std::string full = files.path() / "full";
    std::filesystem::create_directory(full);
    ASSERT_EQ(std::system(("mount -t tmpfs -o size=8k tmpfs " + full).c_str()), 0);
    std::ofstream(full + "/home.json") << "of somebody";
    std::ofstream(full + "/rest") << std::string(8000, '.');

    const ProgramResult result = run({"replay", log, "-o", full + "/home.json", "--force"});

    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.standardError.ends_with(full + "/home.json: No space left on device\n"))
        << result.standardError;
    EXPECT_EQ(contentOf(full + "/home.json"), "of somebody");
    EXPECT_FALSE(std::filesystem::exists(full + "/home.json.new"));
    EXPECT_EQ(std::system(("umount " + full).c_str()), 0);
}

TEST(ReplayInput, nothingIsLeftWhenItIsEndedWhileItReads) {
    const TemporaryDirectory files;
    const std::string script = "cd '" + files.path().string() +
                               "' && mkfifo log && { " INSPECTOR_EXECUTABLE
                               " replay log -o home.json & exec 3>log; kill -TERM $!; wait $!;"
                               " test $? = 143 && test ! -e home.json; }";

    EXPECT_EQ(std::system(script.c_str()), 0);
}

TEST(ReplayInput, nothingIsLeftOfALogThatIsRefused) {
    const TemporaryDirectory files;

    EXPECT_EQ(run({"replay", "-", "-o", files.path() / "home.json"}).status, 2);
    EXPECT_FALSE(std::filesystem::exists(files.path() / "home.json"));
    EXPECT_EQ(run({"replay", files.path() / "none", "-o", "-"}).standardError,
              "modbus-inspector: " + (files.path() / "none").string() +
                  ": No such file or directory\n");
}

} // namespace inspector
