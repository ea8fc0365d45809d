#include "meter-on-bus.h"

#include <gmock/gmock.h>

#include <csignal>

using namespace inspector;
using house::Fault;

using Scan = MeterOnBus;
INSPECTOR_ON_BOTH_LINES(Scan);

TEST_P(Scan, findsTheMeterThatAnswersIfOnlyByARefusal) {
    bus().unit(9).holding(0, {1});

    const ProgramResult result = runOnBus({"scan", "--from", "6", "--to", "9", "--time-out", "50"});

    const std::string line = isSerial() ? " at 19200 baud, 8E1" : "";
    EXPECT_EQ(result.standardOutput, "Meter 7" + line +
                                         ": the meter does not know this address (exception 2)\n"
                                         "Meter 9" +
                                         line +
                                         ": the meter does not know this address (exception 2)\n");
    EXPECT_EQ(result.standardError, "Asking 4 times; if nothing answers it takes 0.4 s.\n");
    EXPECT_EQ(result.status, 0);
}

TEST_P(Scan, tellsWhatItFoundAsJson) {
    const ProgramResult result =
        runOnBus({"scan", "--from", "7", "--to", "7", "--json", "--time-out", "50"});

    const std::string line = isSerial() ? R"("baud":19200,"parity":"E","stopBits":1,)" : "";
    EXPECT_EQ(result.standardOutput,
              R"({"found":[{"slaveAddress":7,)" + line +
                  R"json("answer":"the meter does not know this address (exception 2)"}],)json" +
                  R"("complete":true})" + "\n");
    EXPECT_EQ(result.standardError, "");
}

TEST_P(Scan, saysThatNothingAnswers) {
    meter().failAlways(Fault::silence);

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "8", "--time-out", "20"});

    EXPECT_EQ(result.standardOutput, "Nothing answers.\n");
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

TEST_P(Scan, garbageIsNoMeter) {
    meter().failAlways(Fault::garbled);

    const ProgramResult result = runOnBus({"scan", "--from", "7", "--to", "7", "--time-out", "50"});

    EXPECT_EQ(result.standardOutput, "Nothing answers.\n");
    EXPECT_EQ(result.status, 1);
}
