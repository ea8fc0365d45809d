// Everywhere else the line of a source position is left open; here it is the statement's own.

#include "standard-error-pieces.h"
#include "support/log-function.h"
#include "support/thrown-text.h"
#include "vx/assert.h"
#include "vx/exception.h"
#include "vx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::EndsWith;
using testing::HasSubstr;

namespace {

vx::LogChannel channel("positionTest", vx::LogSeverity::notice);

} // namespace

TEST(Position, aLogLineHasTheLineOfItsStatement) {
    std::string message;
    const LogFunction taking(
        [&](const char*, vx::LogSeverity, const std::string& text) { message = text; });

    const int line = __LINE__ + 1;
    VX_LOG(channel, notice, "text");

    EXPECT_THAT(message, EndsWith(vx::str("-test.cpp:", line)));
}

TEST(Position, anExceptionHasTheLineOfItsThrow) {
    const int line = __LINE__ + 1;
    const auto text = thrownBy<vx::Exception>([] { VX_THROW("text"); });
    const auto other = thrownBy<vx::Exception>([] { VX_THROW_UNLESS(false, "text"); });

    EXPECT_THAT(text, EndsWith(vx::str("-test.cpp:", line)));
    EXPECT_THAT(other, EndsWith(vx::str("-test.cpp:", line + 1)));
}

TEST(Position, anAssertionHasTheLineOfItsStatement) {
    const int line = __LINE__ + 1;
    const auto pieces = piecesOfAbort([] { VX_ASSERT(false); });

    EXPECT_THAT(joined(pieces), HasSubstr(vx::str("position-test.cpp:", line, " ")));
}
