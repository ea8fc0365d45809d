#include "demo.h"
#include "example-home.h"

#include <algorithm>
#include <gmock/gmock.h>

using namespace house;

TEST_F(Demo, walksThroughCommissioningWithTheInspector) {
    replace("tools/commissioning-walk", R"(echo "walk $*")");

    for (const std::string rtu : {"", "--rtu "}) {
        const ProgramResult result = run("script/demo --inspect " + rtu);

        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.standardOutput,
                    testing::HasSubstr("\nwalk " + rtu +
                                       "build/release/modbus-inspector build/release/modbus-house "
                                       "build/release/modbus-reader build/demo/"));
        EXPECT_EQ(result.standardError, builtWithInspector);
    }
}

TEST_F(Demo, refusesAWalkThroughAnotherHome) {
    m_directory.write("home.json", exampleHome());
    for (const std::string option :
         {"--polls 3", "--fault 3=silent", "--home home.json", "--web", "--listen 127.0.0.1:0"}) {
        EXPECT_EQ(run("script/demo --inspect " + option),
                  refused("--inspect goes with --rtu alone"));
        EXPECT_EQ(run("script/demo " + option + " --inspect"),
                  refused("--inspect goes with --rtu alone"));
    }
}

TEST_F(Demo, refusesAnAddressThatIsNone) {
    for (const std::string address :
         {"x", "8090", "localhost:8090", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536",
          "127.0.0.1:x", "256.0.0.1:0", "127.0.1:0", "127.0.0.01:0", "::1:0", "[]:0", ""})
        EXPECT_EQ(
            run("script/demo --listen '" + address + "'"),
            refused("--listen: '" + address + "' is no address and port such as 127.0.0.1:8090"));
}

TEST_F(Demo, showsTheLogAtEachFormOfAnAddress) {
    for (const std::string address : {"0.0.0.0:0", "192.168.100.249:65535", "[::1]:8090"})
        EXPECT_THAT(run("script/demo --listen '" + address + "'").standardOutput,
                    testing::HasSubstr(".log --listen " + address + "\n"));
}

TEST_F(Demo, showsTheLogAsAPageUntilTheHouseEnds) {
    for (const std::string form : {"--web", "--listen 127.0.0.1:0"}) {
        const ProgramResult result = run("script/demo --polls 3 " + form);

        EXPECT_EQ(result.status, 0);
        const std::string address = form == "--web" ? "127.0.0.1:8090" : "127.0.0.1:0";
        EXPECT_THAT(
            result.standardOutput,
            testing::MatchesRegex("A simulated home on Modbus TCP. The reader's log: (.*)\n\n"
                                  "serve build/demo/.*\\.log --listen " +
                                  address + "\n--polls\n3\n--daemon\n(.*\n)*"));
        EXPECT_EQ(result.standardError, builtWithInspector);
    }
}

TEST_F(Demo, showsTheLogAsATableInATerminal) {
    const ProgramResult result = run("/usr/bin/script -qefc 'script/demo --polls 3' /dev/null");

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, testing::HasSubstr("\nwatch build/demo/modbus-reader-"));
    EXPECT_THAT(result.standardOutput, testing::HasSubstr("\n--polls\r\n3\r\n--daemon\r\n"));
}

TEST_F(Demo, tellsTheLastReadingsAloneWhenTheHouseWasShown) {
    replace("build/house", "echo poll 1; echo 'Last readings, now:'; echo none; exit 1");

    const ProgramResult result = run("script/demo --web");

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.standardOutput, testing::EndsWith("8090\nLast readings, now:\nnone\n"));
}

TEST_F(Demo, endsTheHouseIfItsLogCanNotBeShown) {
    letTheHouseStay();
    replace("build/inspector", "until [ -s house ]; do :; done; echo no port; exit 2");

    const ProgramResult result =
        run("script/demo --web; status=$?; kill -0 $(<house); exit $status");

    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.standardOutput, testing::EndsWith("\nno port\nended\n"));
    EXPECT_THAT(result.standardError, testing::HasSubstr("No such process"));
}

TEST_F(Demo, aSignalEndsTheHouseAndWhatShowsIt) {
    letTheHouseStay();
    replace("build/inspector", "echo $$ >viewer; exec sleep infinity");

    for (const std::string signal : {"INT", "TERM", "HUP"}) {
        const ProgramResult result =
            run("rm -f house viewer; env --default-signal=INT script/demo --web & until [ -s house "
                "-a -s viewer ]; do :; done\n"
                "kill -" +
                signal +
                " $!; wait $!; status=$?; kill -0 $(<house); kill -0 $(<viewer)\n"
                "exit $status");

        EXPECT_EQ(result.status, 0) << signal;
        EXPECT_THAT(result.standardOutput, testing::EndsWith("\nended\n"));
        EXPECT_EQ(std::count(result.standardError.begin(), result.standardError.end(), '\n'), 5);
    }
}

TEST_F(Demo, givesTheStatusOfWhatCanNotShowTheLogThoughTheHouseIsCutOff) {
    replace("build/house", "echo $$ >house; exec sleep infinity");
    replace("build/inspector", "until [ -s house ]; do :; done; echo no port; exit 2");

    EXPECT_EQ(run("script/demo --web").status, 2);
}

TEST_F(Demo, aSignalWhileItPreparesEndsItWhateverBecomesOfThat) {
    for (const std::string program : {"script/bootstrap", "path/cmake"}) {
        replace(program, "trap '' INT; kill -INT 0; echo prepared");

        EXPECT_EQ(run("setsid script/demo --web"), (ProgramResult{130, "", "prepared\n"}))
            << program;
        replace(program, "");
    }
}

TEST_F(Demo, aSignalAtAnyMomentUntilItWaitsLeavesNothing) {
    replace("build/house", "trap 'kill $!; exit 0' TERM; sleep infinity & echo $$ >>pids; wait");
    replace("build/inspector", "echo $$ >>pids; exec sleep infinity");
    m_directory.write("signal", R"(
        turns=0
        signal_at_turn() {
            [[ $BASHPID == $$ && ${FUNCNAME[1]-} == show_log ]] && ((++turns == turn)) || return 0
            [[ $BASH_COMMAND != "wait -n"* ]] || touch last
            kill -INT 0
        }
        set -o functrace
        trap signal_at_turn DEBUG)");

    const ProgramResult result = run(R"(
        touch pids
        for ((turn = 1; turn < 100; ++turn)); do
            turn=$turn BASH_ENV=signal setsid script/demo --web >/dev/null
            [[ ! -e last ]] || break
        done 2>/dev/null
        for pid in $(<pids); do ! kill -0 $pid || echo left $pid; done 2>/dev/null
        ls build/demo | grep -v 'log$'
        ((turn > 5 && turn < 100)))");

    EXPECT_EQ(result, (ProgramResult{0, "", ""}));
}
