// Alone, as whoever reads a setting includes it.
#include "vx/conf.h"

#include "vx/system.h"

#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(ConfHeader, aloneGivesFragmentsTheirTextAndTheirComparison) {
    const TemporaryDirectory directory;
    const auto system = vx::makeSystem({directory.path().string(), "/usr/share"});
    system->conf().writeJson("key", R"({"a":[1,2]})");

    const auto one = system->conf().readJsonIfExists("key").value();
    const auto other = system->conf().readJsonIfExists("key").value();

    EXPECT_NE(one.get(), other.get());
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
    EXPECT_EQ(vx::str(one), R"({"a":[1,2]})");
    std::ostringstream stream;
    stream << one;
    EXPECT_EQ(stream.str(), R"({"a":[1,2]})");
}
