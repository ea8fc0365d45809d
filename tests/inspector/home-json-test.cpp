#include "inspector/live/live-home.h"
#include "inspector/web/home-json.h"
#include "written-log.h"

#include <gmock/gmock.h>

using namespace inspector;
using testing::HasSubstr;
using testing::Not;

namespace {

/// The failures of a register for so many reasons at one time; the reasons stand in their order.
void addFailures(LiveHome& home, const std::string& letter, int count, Moment time) {
    std::string text = utc(time);
    text.replace(text.size() - 1, 1, "+00:00");
    const std::string head = "[" + text +
                             "] 412 WARN  modbusSerial Could not read register "
                             "strerror((*__errno_location ())):" +
                             letter;
    const std::string tail = " aRegister:{" + powerRegister + "} toolkit.cpp:345";
    for (int i = 0; i < count; ++i)
        home.add(parseLine(std::string(head).append(std::to_string(1000 + i)).append(tail)));
}

} // namespace

TEST(HomeJson, tellsTheLastFailuresOfThousandsAndOfThoseOfOneTimeTheFirstOnes) {
    LiveHome home(start);
    addFailures(home, "a", 400, start);
    addFailures(home, "b", 300, start + 1000);
    home.finish();
    const std::string json =
        home.look(start + 2000, [](const HomeView& view) { return homeJson(view, "log", false); });

    for (const char* told : {R"("kind":"a1000")", R"("kind":"a1199")", R"("kind":"b1000")",
                             R"("kind":"b1299")", R"("failuresLeftOut":200)"})
        EXPECT_THAT(json, HasSubstr(told));
    EXPECT_THAT(json, Not(HasSubstr(R"("kind":"a1200")")));
}

TEST(HomeJson, tellsWhatToDoAsAReportDoes) {
    LiveHome home(start);
    addFailures(home, "Unknown error 112345691 ", 1, start);
    home.finish();
    const std::string json =
        home.look(start, [](const HomeView& view) { return homeJson(view, "log", false); });

    const std::string told =
        R"("meaning":"The answer doesn't fit the request. If this comes with )"
        R"(every register, an answer came too late.",)"
        R"("remedy":"See \"An answer that comes too late\" in operations.md."})";
    const std::size_t first = json.find(told);
    ASSERT_NE(first, std::string::npos) << json;
    // Of the notice and of the failure.
    EXPECT_NE(json.find(told, first + 1), std::string::npos) << json;
}
