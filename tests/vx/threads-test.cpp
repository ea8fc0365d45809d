#include "support/channel-severity.h"
#include "support/log-function.h"
#include "support/thrown-text.h"
#include "vx/log.h"
#include "vx/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

using testing::AnyOf;

namespace {

// What these tests find without the thread sanitizer is luck; under it, each of them reports the
// lock that it is named for, if that lock is missing.

constexpr std::size_t threadCount = 4;
constexpr std::size_t rounds = 200;

vx::LogChannel channel("threadsTest", vx::LogSeverity::notice);

/// Runs @p work in several threads at once; each gets its own number.
void inThreads(const std::function<void(std::size_t number)>& work) {
    std::latch start(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < threadCount; ++number)
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            work(number);
        });
    for (std::thread& thread : threads)
        thread.join();
}

struct Sample {
    std::string name;
    std::vector<int> values;

    bool operator==(const Sample&) const = default;
    VX_FIELDS(Sample, name, values)
};

} // namespace

TEST(Threads, theLogFunctionIsNeverCalledByTwoAtOnce) {
    std::vector<std::string> lines; // guarded by the logger's own lock alone
    const LogFunction taking([&](const char*, vx::LogSeverity, const std::string& message) {
        lines.push_back(message);
    });

    inThreads([](std::size_t number) {
        for (std::size_t round = 0; round < rounds; ++round)
            VX_LOG(channel, notice, number, round);
    });

    EXPECT_EQ(lines.size(), threadCount * rounds);
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), threadCount * rounds);
}

TEST(Threads, theLogFunctionIsReplacedWhileOthersLog) {
    std::vector<std::string> lines;
    const auto collect = [&](const char*, vx::LogSeverity, std::string message) {
        lines.push_back(std::move(message));
    };

    const LogFunction collecting(collect);
    inThreads([&](std::size_t number) {
        for (std::size_t round = 0; round < rounds; ++round) {
            if (number == 0)
                vx::Logger::instance().setLogFunction(collect);
            else
                VX_LOG(channel, notice, number, round);
        }
    });

    EXPECT_EQ(lines.size(), (threadCount - 1) * rounds);
}

TEST(Threads, channelsComeAndGoWhileOthersAreListed) {
    inThreads([](std::size_t number) {
        for (std::size_t round = 0; round < rounds; ++round) {
            const vx::LogChannel own(vx::str("threadsTest", number), vx::LogSeverity::notice);
            const auto all = vx::Logger::instance().channelSeverities();
            EXPECT_GT(all.size(), 1U);
        }
    });
}

TEST(Threads, severitiesAreSetAndReadByAll) {
    const SavedSeverities saved;
    vx::Logger& logger = vx::Logger::instance();
    logger.setDefaultSeverity(vx::LogSeverity::error);

    inThreads([&](std::size_t number) {
        const bool even = number % 2 == 0;
        for (std::size_t round = 0; round < rounds; ++round) {
            if (even)
                logger.setDefaultSeverity(vx::LogSeverity::error);
            else
                logger.setChannelSeverity("threadsTest", vx::LogSeverity::debug);
            EXPECT_EQ(logger.defaultSeverity(), vx::LogSeverity::error);
            EXPECT_THAT(logger.channelSeverity("threadsTest"),
                        AnyOf(vx::LogSeverity::error, vx::LogSeverity::debug));
            const vx::LogChannel own(vx::str("threadsTest", number), vx::LogSeverity::notice);
        }
    });
}

TEST(Threads, oneJsonTreeIsRenderedByAll) {
    const auto tree = vx::parseJsonFragment(R"({"meters":[{"slaveAddress":7},{"id":"a"}]})");

    inThreads([&](std::size_t) {
        for (std::size_t round = 0; round < rounds; ++round)
            EXPECT_EQ(vx::toJson(tree), R"({"meters":[{"slaveAddress":7},{"id":"a"}]})");
    });
}

TEST(Threads, aParentAndItsChildAreRenderedAtOnce) {
    const auto parent = vx::parseJsonFragment(R"({"meters":[{"slaveAddress":7}]})");
    const auto child =
        vx::makeJsonFragment(json_object_get(json_object_object_get(parent.get(), "meters")));

    inThreads([&](std::size_t number) {
        const bool takesParent = number % 2 == 0;
        for (std::size_t round = 0; round < rounds; ++round)
            EXPECT_EQ(vx::toJson(takesParent ? parent : child),
                      takesParent ? R"({"meters":[{"slaveAddress":7}]})"
                                  : R"([{"slaveAddress":7}])");
    });
}

TEST(Threads, recordsAreConvertedBothWaysByAll) {
    inThreads([](std::size_t number) {
        const std::string text = vx::str(R"({"name":"m","values":[7,)", number, "]}");
        for (std::size_t round = 0; round < rounds; ++round)
            EXPECT_EQ(vx::toJson(vx::toJsonFragment(vx::fromJson<Sample>(text.c_str()))), text);
    });
}

TEST(Threads, aFailedConversionNamesTheContextsOfItsOwnThreadAlone) {
    inThreads([](std::size_t number) {
        for (std::size_t round = 0; round < rounds; ++round) {
            VX_LOG_CONTEXT(number, round);
            EXPECT_EQ(thrownText([] { vx::fromJson<Sample>(R"({"values":[1,true]})"); }),
                      vx::str("Expecting json number / string. type:1 condition:type == "
                              "json_type_string || type == json_type_int || type == "
                              "json_type_double vx/record.h:<line> / 1 / values number:",
                              number, " round:", round));
        }
    });
}
