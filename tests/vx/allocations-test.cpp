#include "support/allocations.h"
#include "vx/enum.h"
#include "vx/log.h"
#include "vx/str.h"

#include <gtest/gtest.h>

using vx::LogChannel;
using vx::LogSeverity;

enum class Lamp : std::int32_t { off = 0, on = 1 };

static vx::EnumTable vxEnum(Lamp) {
    static constexpr vx::EnumRow rows[] = {{Lamp::off, "switched off for the night"},
                                           {Lamp::on, "switched on for the night"}};
    return {std::begin(rows), std::end(rows), "Lamp"};
}

namespace {

/// A channel at notice, whatever the rules of the caller say.
struct Channel : LogChannel {
    Channel() : LogChannel("logTest", LogSeverity::notice) { severity = LogSeverity::notice; }
};

class LogAllocations : public testing::Test {
protected:
    const Channel channel;
    const int slaveAddress = 3;
    const std::string name = "a name too long to stand in the string itself";
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

TEST_F(LogAllocations, aSuppressedLineAllocatesNever) {
    EXPECT_EQ(allocationsOf([&] { VX_LOG(channel, debug, "Reading meter", slaveAddress, name); }),
              0U);
}

TEST_F(LogAllocations, aLineOfThreeItemsAllocatesTwice) {
    EXPECT_EQ(allocationsOf([&] { VX_LOG(channel, notice, "Reading meter", slaveAddress, name); }),
              2U);
}

TEST(StrAllocations, aTextCostsItselfAlone) {
    EXPECT_EQ(allocationsOf([] { vx::str("a piece too long to stand in the string itself", 3); }),
              1U);
}

TEST(EnumAllocations, aNameCostsItsTextAlone) {
    EXPECT_EQ(allocationsOf([] { vx::fromEnum<std::string>(Lamp::on); }), 1U);
}

TEST(EnumAllocations, theValueOfANameCostsNone) {
    EXPECT_EQ(allocationsOf([] { vx::toEnum<Lamp>("switched on for the night"); }), 0U);
    EXPECT_EQ(allocationsOf([] { vx::tryToEnum<Lamp>("no such name in this table"); }), 0U);
}

TEST(TextStreamAllocations, aTextThatFillsTheRoomInPlaceToItsEndCostsItselfAlone) {
    const std::string most(400, 'a');
    const std::string rest(96, 'b');

    EXPECT_EQ(allocationsOf([&] { vx::str(most, rest); }), 1U);
}

TEST_F(LogAllocations, aPathOfTheGreatestLengthCostsItsTextAlone) {
    const vx::detail::LogPosition position{channel, "vx/the-text-of-32-characters.cpp", 1};
    ASSERT_EQ(std::string_view(position.file).size(), vx::detail::maxPathSize);

    EXPECT_EQ(allocationsOf([&] { vx::str(position); }), 1U);
}
