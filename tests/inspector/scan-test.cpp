#include "meter-on-bus.h"

#include "house/patience.h"
#include "inspector/bus/bus.h"

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <memory>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

using namespace inspector;
using house::Fault;

using Scan = MeterOnBus;
INSPECTOR_ON_BOTH_LINES(Scan);

TEST_P(Scan, findsTheMeterThatAnswersIfOnlyByARefusal) {
    bus().unit(9).holding(0, {1});

    const ProgramResult result =
        runOnBus({"scan", "--from", "6", "--to", "9", "--time-out", "300"});

    const std::string line = isSerial() ? " at 19200 baud, 8E1" : "";
    EXPECT_EQ(result.standardOutput, "Meter 7" + line +
                                         ": the meter does not know this address (exception 2)\n"
                                         "Meter 9" +
                                         line +
                                         ": the meter does not know this address (exception 2)\n");
    EXPECT_EQ(result.standardError,
              "Asking 4 addresses, each for two registers; if nothing answers it takes 2.4 s.\n");
    EXPECT_EQ(result.status, 0);
}

TEST_P(Scan, tellsWhatItFoundAsJson) {
    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "7", "--json", "--time-out", "1000"});

    const std::string line = isSerial() ? R"("baud":19200,"parity":"E","stopBits":1,)" : "";
    EXPECT_EQ(result.standardOutput,
              R"({"found":[{"slaveAddress":7,)" + line +
                  R"json("answer":"the meter does not know this address (exception 2)"}],)json" +
                  R"("garbled":[],"complete":true})" + "\n");
    EXPECT_EQ(result.standardError,
              "Asking 1 address, each for two registers; if nothing answers it takes 2.0 s.\n");
}

TEST_P(Scan, saysThatNothingAnswersButSilence) {
    meter().failAlways(Fault::silence);

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "8", "--time-out", "50"});

    EXPECT_EQ(result.standardOutput, "Nothing answers.\n");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Scan, saysWhereSomethingGarbledComes) {
    meter().failAlways(Fault::garbled);

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "8", "--time-out", "50"});

    EXPECT_EQ(result.standardOutput,
              isSerial()
                  ? "Address 7 at 19200 baud, 8E1: the answer is garbled, its check sum is "
                    "wrong; there may be two meters on it, or the line has another setting\n"
                  : "Address 7: the answer is no answer to this request; there may be two "
                    "meters on it, or the line behind the gateway has another setting, or it "
                    "answers later than --time-out\n");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Scan, tellsAsJsonWhereSomethingGarbledComes) {
    meter().failAlways(Fault::garbled);
    bus().unit(8).input(0, {1});

    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "8", "--json", "--time-out", "300"});

    const std::string line = isSerial() ? R"("baud":19200,"parity":"E","stopBits":1,)" : "";
    EXPECT_EQ(result.standardOutput,
              R"({"found":[{"slaveAddress":8,)" + line +
                  R"("answer":"answers"}],"garbled":[{"slaveAddress":7,)" + line + R"("answer":")" +
                  (isSerial() ? "the answer is garbled, its check sum is wrong"
                              : "the answer is no answer to this request") +
                  "\"}],\"complete\":true}\n");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Scan, findsAMeterThatIsGarbledInOneSpaceAlone) {
    constexpr int triesOfASpace = 3;
    meter().failNext(house::Space::input, 0, Fault::garbled, triesOfASpace);

    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "7", "--time-out", "300"});

    EXPECT_THAT(result.standardOutput, testing::EndsWith(": answers\n"));
    EXPECT_EQ(bus().requestCount(), triesOfASpace + 1U);
    EXPECT_EQ(result.status, 0);
}

TEST_P(Scan, callsNoAddressGarbledThatItAskedInOneSpaceAlone) {
    meter().failAlways(Fault::garbled);
    std::unique_ptr<Program> program;
    std::promise<void> isRunning;
    bus().beforeAnswer([&, running = isRunning.get_future().share()] {
        running.wait();
        if (bus().requestCount() == 0)
            program->signal(SIGINT);
    });
    program =
        std::make_unique<Program>(onBus({"scan", "--from", "7", "--to", "7", "--time-out", "300"}));
    isRunning.set_value();

    const ProgramResult result = program->wait();

    EXPECT_EQ(result.standardOutput, "Ended ahead of time: the other addresses are unknown.\n");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Scan, ctrlCEndsItWithWhatIsKnown) {
    Program program(onBus({"scan", "--from", "7", "--time-out", "1000"}));
    // Meter 7 answers the first one; nobody answers the second one.
    ASSERT_TRUE(bus().waitForRequests(2));

    program.signal(SIGINT);

    const ProgramResult result = program.wait();
    EXPECT_EQ(result.standardOutput, std::string("Meter 7") +
                                         (isSerial() ? " at 19200 baud, 8E1" : "") +
                                         ": the meter does not know this address (exception 2)\n"
                                         "Ended ahead of time: the other addresses are unknown.\n");
    EXPECT_EQ(result.status, 1);
}

TEST_P(Scan, aLateAnswerIsNeitherAnotherMetersNorHidesOne) {
    meter().failNext(0, Fault::late(std::chrono::milliseconds(450)), 2);
    bus().unit(9).holding(0, {1});

    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "9", "--time-out", "300"});

    EXPECT_EQ(result.standardOutput, std::string("Meter 9") +
                                         (isSerial() ? " at 19200 baud, 8E1" : "") +
                                         ": the meter does not know this address (exception 2)\n");
}

using ScanOfTcp = MeterOnBus;
INSTANTIATE_TEST_SUITE_P(Line, ScanOfTcp, testing::Values(BusKind::tcp));

TEST_P(ScanOfTcp, asksAgainWhenTheConnectionIsLost) {
    bus().beforeAnswer([this] {
        if (bus().requestCount() == 0)
            bus().dropConnections();
    });

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "7"});

    EXPECT_EQ(result.standardOutput,
              "Meter 7: the meter does not know this address (exception 2)\n");
    EXPECT_EQ(bus().requestCount(), 2U);
    EXPECT_EQ(result.status, 0);
}

TEST_P(ScanOfTcp, givesUpWhereEachConnectionIsClosed) {
    bus().beforeAnswer([this] { bus().dropConnections(); });

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "7"});

    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError,
                testing::EndsWith("modbus-inspector: Each request loses the connection: the "
                                  "connection is gone\n"));
    EXPECT_EQ(result.status, 2);
}

TEST_P(ScanOfTcp, tellsAsJsonWhatItFoundBeforeTheConnectionWasLost) {
    bus().beforeAnswer([this] {
        if (bus().requestCount() > 0)
            bus().dropConnections();
    });

    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "8", "--json", "--time-out", "1000"});

    EXPECT_EQ(result.standardOutput,
              R"json({"found":[{"slaveAddress":7,"answer":"the meter does not know this )json"
              R"json(address (exception 2)"}],"garbled":[],"complete":false})json"
              "\n");
    EXPECT_EQ(result.status, 2);
}

using ScanOfASerialLine = MeterOnBus;
INSTANTIATE_TEST_SUITE_P(Line, ScanOfASerialLine, testing::Values(BusKind::serial));

TEST(ScanOfAnAdapter, takesEachErrorOfTheSystemForALostLineButThatNothingComes) {
    for (const int error : {EIO, ENODEV, ENXIO, ECONNRESET, EPIPE, EBADF})
        EXPECT_TRUE(Answer{.error = error}.isWithoutConnection()) << error;
    for (const int error : {0, ETIMEDOUT, EMBBADCRC, EMBXILADD})
        EXPECT_FALSE(Answer{.error = error}.isWithoutConnection()) << error;
}

TEST(ScanOfAnAdapter, thatIsUnpluggedFindsNotNothing) {
    int adapter = 0;
    int line = 0;
    char name[64];
    ASSERT_EQ(openpty(&adapter, &line, name, nullptr, nullptr), 0);
    Program program(
        {"scan", "--rtu", name, "--share", "--from", "7", "--to", "7", "--time-out", "60000"});
    pollfd request{adapter, POLLIN, 0};
    ASSERT_EQ(poll(&request, 1, static_cast<int>(house::Patience::limit().count())), 1);

    close(line);
    close(adapter);

    const ProgramResult result = program.wait();
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError, testing::EndsWith(std::string("modbus-inspector: ") + name +
                                                        ": No such file or directory\n"));
    EXPECT_EQ(result.status, 2);
}

TEST_P(ScanOfASerialLine, triesFiveRatesAndThreeParities) {
    // A pseudo terminal has no rate, so the meter answers at each of them.
    const ProgramResult result = run({"scan", "--rtu", device(), "--all-lines", "--from", "7",
                                      "--to", "7", "--time-out", "1000"});

    std::string expected;
    for (const char* baud : {"9600", "19200", "38400", "57600", "115200"})
        for (const char* form : {"8E1", "8N2", "8O1"})
            expected += std::string("Meter 7 at ") + baud + " baud, " + form +
                        ": the meter does not know this address (exception 2)\n";
    EXPECT_EQ(result.standardOutput, expected);
    EXPECT_EQ(result.standardError, "Asking 1 address at 15 settings of the line, each for two "
                                    "registers; if nothing answers it takes 30.0 s.\n");
    EXPECT_EQ(result.status, 0);
}
