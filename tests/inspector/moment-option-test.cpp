#include "inspector/report/report-command.h"
#include "support/time-zone.h"
#include "vx/date-time.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

using namespace inspector;

TEST(MomentOfOption, readsATimeInAZoneOrInThatOfTheMachine) {
    const TimeZone zone("CET-1");
    EXPECT_EQ(momentOfOption("2026-11-14T02:24:09Z"), 1794623049000);
    EXPECT_EQ(momentOfOption("2026-11-14T03:24:09+01:00"), 1794623049000);
    EXPECT_EQ(momentOfOption("2026-11-14 03:24:09"), 1794623049000);
    EXPECT_EQ(momentOfOption("2026-11-14 03:24"), 1794623040000);
    EXPECT_EQ(momentOfOption("2026-11-14"), 1794610800000);
}

TEST(MomentOfOption, readsWhatIsSoLongAgo) {
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(vx::now().time_since_epoch()).count();
    for (const auto& [text, length] : {std::pair{"-90s", 90}, std::pair{"-2min", 120},
                                       std::pair{"-3h", 10800}, std::pair{"-1d", 86400}}) {
        const auto moment = momentOfOption(text);
        ASSERT_TRUE(moment) << text;
        EXPECT_NEAR(static_cast<double>(now - *moment), 1000.0 * length, 5000);
    }
}

TEST(MomentOfOption, refusesAllElse) {
    for (const std::string text :
         {"", "x", "2026", "2026-11-14T03:24:09+1", "2026-11-14T03:24:09 Z x", "-", "-1", "-1y",
          "1h", "-99999999999999999999d", "-99999999d", "--1h", "-9223372036854775808s",
          "2026-11-14+-1:30", "2026-11-14+1 :30"})
        EXPECT_FALSE(momentOfOption(text)) << text;
}
