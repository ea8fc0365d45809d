// Which run of the reader, and which of its polls, `replay` takes.

#include "replayed-log.h"

namespace inspector {
namespace {

/// A poll each at 19:00, 19:01 and 19:02, of a run that was started just before.
Lines threePolls() {
    Lines lines = Lines().started();
    lines.poll("1").at("19:01").poll("2").at("19:02").poll("3");
    return lines;
}

std::string unitOf(const std::string& word) {
    return R"("units":{"7":{"input 10 x1":[)" + word + "]}}";
}

const std::string inMidst =
    "modbus-inspector: it begins in the midst of a run: values that stood in for registers since "
    "before are missing until their register is read, and where the server fails at first the "
    "reader has no bus or no list of meters until it answers\n";

} // namespace

TEST(ReplayRuns, ofSeveralRunsThatWithTheMostPollsIsTaken) {
    const Lines lines =
        Lines().started().poll("1").started().poll("2").poll("3").started().poll("4");

    const std::string list = "modbus-inspector: run 1: 1 poll " + moment +
                             "modbus-inspector: run 2: 2 polls " + moment +
                             "modbus-inspector: run 3: 1 poll " + moment;

    const Replayed longest = replay(lines);
    const Replayed last = replay(lines, {"--run", "3"});

    EXPECT_NE(longest.polls.find("[2]"), std::string::npos);
    EXPECT_EQ(longest.told,
              pollsOf("2 polls") + "modbus-inspector: run 2 of 3; --run N takes another\n" + list);
    EXPECT_NE(last.polls.find("[4]"), std::string::npos);
    EXPECT_EQ(last.told,
              pollsOf("1 poll") + "modbus-inspector: run 3 of 3; --run N takes another\n" + list);
    EXPECT_EQ(refusal(lines.text, {"--run", "4"}), "modbus-inspector: -: No run 4, of 3\n");
}

TEST(ReplayRuns, linesOfTwoDaemonsAreTakenApart) {
    const std::string one = Lines().started().poll("1").poll("2").text;
    std::string other = one;
    for (std::size_t at = 0; (at = other.find(" 4711 ", at)) != std::string::npos; ++at)
        other.replace(at, 6, " 4712 ");
    std::string mixed;
    for (std::size_t i = 0, j = 0; i < one.size(); i = one.find('\n', i) + 1) {
        mixed += one.substr(i, one.find('\n', i) + 1 - i);
        mixed += other.substr(j, other.find('\n', j) + 1 - j);
        j = other.find('\n', j) + 1;
    }

    const Replayed result = replay(mixed, {"--run", "2"});

    EXPECT_EQ(result.polls, replay(one).polls);
    EXPECT_EQ(result.told, pollsOf("2 polls", 4712) +
                               "modbus-inspector: run 2 of 2; --run N takes another\n" +
                               "modbus-inspector: run 1: 2 polls " + moment +
                               "modbus-inspector: run 2: 2 polls " + moment);
}

TEST(ReplayRuns, pollsThatAreOlderOrNewerThanWantedAreLeftOut) {
    const std::string log = threePolls().text;
    const std::string second = "2026-11-22T19:01:00+01:00";
    const std::string timeOfSecond = R"("time":"2026-11-22T18:01:00.000Z")";

    const Replayed later = replay(log, {"--since", second});
    EXPECT_EQ(later.polls, "{" + timeOfSecond + "," + answers + "," + unitOf("2") + "},\n" +
                               R"({"time":"2026-11-22T18:02:00.000Z",)" + unitOf("3") + "}");
    EXPECT_TRUE(later.told.ends_with(inMidst)) << later.told;

    const Replayed earlier = replay(log, {"--until", second});
    EXPECT_EQ(earlier.polls, "{" + time + "," + answers + "," + unitOf("1") + "}");
    EXPECT_EQ(earlier.told.find(inMidst), std::string::npos) << earlier.told;
}

TEST(ReplayRuns, theRunWithTheMostPollsOfTheWantedTimeIsTaken) {
    const Lines lines = threePolls().at("19:03").started().poll("4");

    const Replayed result = replay(lines, {"--since", "2026-11-22T19:02:30+01:00"});

    EXPECT_NE(result.polls.find(unitOf("4")), std::string::npos) << result.polls;
    EXPECT_NE(result.told.find("run 2 of 2;"), std::string::npos) << result.told;
}

TEST(ReplayRuns, timesWithoutAPollAreRefused) {
    EXPECT_EQ(refusal(threePolls().text, {"--since", "2026-11-23"}),
              "modbus-inspector: -: No poll within these times\n");
    EXPECT_NE(refusal("", {"--since", "2026-11-23", "--until", "2026-11-22"})
                  .find("--since is not before --until"),
              std::string::npos);
}

} // namespace inspector
