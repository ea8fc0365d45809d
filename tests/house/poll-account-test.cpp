#include "house/poll-account.h"

#include <gtest/gtest.h>

using namespace house;
using namespace std::chrono_literals;

TEST(PollAccount, messageBelongsToThePollInWhichItsReadBegan) {
    const PollAccount::Time start{std::chrono::hours{1}};
    PollAccount account({{"Apartment", 1}, {"Solar", 2}});
    account.pollBegan(start + 700us);
    EXPECT_EQ(account.delivered(1, start), 1U);
    account.pollBegan(start + 2s);
    EXPECT_EQ(account.delivered(2, start + 1s), 1U);

    EXPECT_TRUE(account.isComplete(1));
    EXPECT_FALSE(account.isComplete(2));
    EXPECT_EQ(account.missing(2), (std::vector<std::string>{"poll 2: Apartment", "poll 2: Solar"}));
}

TEST(PollAccount, messageFromBeforeTheFirstPollIsLeftOut) {
    const PollAccount::Time start{std::chrono::hours{1}};
    PollAccount account({{"Apartment", 1}});
    account.pollBegan(start);

    EXPECT_EQ(account.delivered(1, start - 1ms), 0U);

    EXPECT_EQ(account.missing(1), std::vector<std::string>{"poll 1: Apartment"});
}

TEST(PollAccount, pollThatNeverBeganIsMissing) {
    const PollAccount account({{"Apartment", 1}});

    EXPECT_FALSE(account.isComplete(1));
    EXPECT_EQ(account.missing(1), std::vector<std::string>{"poll 1: Apartment"});
}
