#include "standard-error-pieces.h"
#include "vx/assert.h"

#include <boost/assert.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::StartsWith;

// This file alone is compiled so, which is the build that a controller runs.
#ifndef NDEBUG
#error "Must be compiled with NDEBUG"
#endif

TEST(AssertWithoutDebug, staysInForce) {
    const int size = 3;

    EXPECT_THAT(joined(piecesOfAbort([&] { VX_ASSERT(size >= 20, "Too short.", size); })),
                StartsWith("Assertion failed. Too short. size:3 condition:size >= 20 "
                           "tests/vx/assert-without-debug-test.cpp:"));
}

TEST(AssertWithoutDebug, ofBoostStaysInForce) {
    EXPECT_THAT(joined(piecesOfAbort([] { BOOST_ASSERT(1 == 2); })),
                StartsWith("Assertion failed.  condition:1 == 2 "
                           "tests/vx/assert-without-debug-test.cpp:"));
    EXPECT_THAT(joined(piecesOfAbort([] { BOOST_ASSERT_MSG(1 == 2, "Different."); })),
                StartsWith("Assertion failed. Different. condition:1 == 2 "
                           "tests/vx/assert-without-debug-test.cpp:"));
}
