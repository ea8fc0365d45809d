// Everywhere else the line of a source position is left open; here it is the statement's own.

#include "standard-error-pieces.h"
#include "vx/assert.h"
#include "vx/exception.h"
#include "vx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::EndsWith;
using testing::HasSubstr;

namespace {

vx::LogChannel channel("positionTest", vx::LogSeverity::notice);

template <class Function>
std::string thrownBy(const Function& function) {
    try {
        function();
    } catch (const vx::Exception& e) {
        return e.what();
    }
    return "nothing thrown";
}

} // namespace

TEST(Position, aLogLineHasTheLineOfItsStatement) {
    std::string message;
    vx::Logger::instance().setLogFunction(
        [&](const char*, vx::LogSeverity, const std::string& text) { message = text; });

    const int line = __LINE__ + 1;
    VX_LOG(channel, notice, "text");
    vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction);

    EXPECT_THAT(message, EndsWith(vx::str("-test.cpp:", line)));
}

TEST(Position, anExceptionHasTheLineOfItsThrow) {
    const int line = __LINE__ + 1;
    EXPECT_THAT(thrownBy([] { VX_THROW("text"); }), EndsWith(vx::str("-test.cpp:", line)));
    EXPECT_THAT(thrownBy([] { VX_THROW_UNLESS(false, "text"); }),
                EndsWith(vx::str("-test.cpp:", line + 1)));
}

TEST(Position, anAssertionHasTheLineOfItsStatement) {
    const int line = __LINE__ + 1;
    const auto pieces = piecesOfAbort([] { VX_ASSERT(false); });

    EXPECT_THAT(joined(pieces), HasSubstr(vx::str("position-test.cpp:", line, " ")));
}
