#include "support/allocations.h"
#include "vx/log.h"

#include <gtest/gtest.h>

using vx::LogChannel;
using vx::LogSeverity;

namespace {

/// A channel at notice, whatever the rules of the caller say.
struct Channel : LogChannel {
    Channel() : LogChannel("logTest", LogSeverity::notice) { severity = LogSeverity::notice; }
};

/// The allocations of a statement, once the first line has made what is made once.
template <class Statement>
std::size_t allocationsOf(const Statement& statement) {
    statement();
    const std::size_t first = allocations();
    statement();
    return allocations() - first;
}

} // namespace

TEST(LogAllocations, aSuppressedLineAllocatesNever) {
    const Channel channel;
    const int slaveAddress = 3;
    const std::string name = "a name too long to stand in the string itself";

    EXPECT_EQ(allocationsOf([&] { VX_LOG(channel, debug, "Reading meter", slaveAddress, name); }),
              0U);
}

TEST(LogAllocations, aLineOfThreeItemsAllocatesTwice) {
    const Channel channel;
    const int slaveAddress = 3;
    const std::string name = "a name too long to stand in the string itself";

    EXPECT_EQ(allocationsOf([&] { VX_LOG(channel, notice, "Reading meter", slaveAddress, name); }),
              2U);
}
