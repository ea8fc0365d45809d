#include "house/poll-account.h"

#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

namespace {

constexpr PollAccount::Time start{std::chrono::hours{1}};

} // namespace

TEST(PollAccount, messageBelongsToThePollInWhichItsReadBegan) {
    PollAccount account({{"Apartment", 1}, {"Solar", 2}}, 2);
    account.pollBegan(start + 700us);
    EXPECT_EQ(account.delivered(1, start), 1U);
    account.pollBegan(start + 2s);

    EXPECT_EQ(account.delivered(2, start + 1s), 1U);

    EXPECT_EQ(account.missing(), (std::vector<std::string>{"poll 2: Apartment", "poll 2: Solar"}));
}

TEST(PollAccount, isCompleteWhenEachMeterHasDeliveredInEachWantedPoll) {
    PollAccount account({{"Apartment", 1}, {"Solar", 2}}, 2);
    account.pollBegan(start);
    account.pollBegan(start + 2s);
    account.pollBegan(start + 4s);
    account.delivered(1, start);
    account.delivered(2, start);
    account.delivered(1, start + 2s);
    EXPECT_FALSE(account.isComplete());

    account.delivered(2, start + 2s);

    EXPECT_TRUE(account.isComplete());
    EXPECT_EQ(account.missing(), std::vector<std::string>());
}

TEST(PollAccount, countsADeliveryOfTheSameMeterOnce) {
    PollAccount account({{"Apartment", 1}}, 2);
    account.pollBegan(start);
    account.pollBegan(start + 2s);

    account.delivered(1, start);
    account.delivered(1, start + 1s);

    EXPECT_FALSE(account.isComplete());
    EXPECT_EQ(account.missing(), std::vector<std::string>{"poll 2: Apartment"});
}

TEST(PollAccount, messageFromBeforeTheFirstPollIsLeftOut) {
    PollAccount account({{"Apartment", 1}}, 1);
    account.pollBegan(start);

    EXPECT_EQ(account.delivered(1, start - 1ms), 0U);

    EXPECT_EQ(account.missing(), std::vector<std::string>{"poll 1: Apartment"});
}

TEST(PollAccount, pollThatNeverBeganIsMissing) {
    const PollAccount account({{"Apartment", 1}}, 1);

    EXPECT_FALSE(account.isComplete());
    EXPECT_EQ(account.missing(), std::vector<std::string>{"poll 1: Apartment"});
}

TEST(PollAccount, tellsTheFirstGapsOfAHugeNumberOfPollsAndCountsTheRest) {
    PollAccount account({{"Apartment", 1}, {"Solar", 2}}, 1'000'000'000);
    account.pollBegan(start);
    account.delivered(1, start);

    const std::vector<std::string> missing = account.missing();

    ASSERT_EQ(missing.size(), PollAccount::toldGaps + 1);
    EXPECT_EQ(missing[0], "poll 1: Solar");
    EXPECT_EQ(missing[1], "poll 2: Apartment");
    EXPECT_EQ(missing.back(), "and 1999999979 more");
}

TEST(PollAccount, remembersTheGapsOfPollsThatAreClosed) {
    PollAccount account({{"Apartment", 1}}, 3);
    for (std::size_t i = 0; i < PollAccount::openPolls + 3; ++i)
        account.pollBegan(start + i * 2s);

    EXPECT_EQ(account.delivered(1, start), 0U);
    EXPECT_EQ(account.delivered(1, start + 6s), 4U);

    EXPECT_EQ(account.pollsBegun(), PollAccount::openPolls + 3);
    EXPECT_EQ(account.missing(), (std::vector<std::string>{"poll 1: Apartment", "poll 2: Apartment",
                                                           "poll 3: Apartment"}));
}

TEST(PollAccount, pollsOfAHomeWithoutMetersAreCompleteWhenTheyBegin) {
    PollAccount account({}, 2);
    account.pollBegan(start);
    EXPECT_FALSE(account.isComplete());

    account.pollBegan(start + 2s);

    EXPECT_TRUE(account.isComplete());
}
