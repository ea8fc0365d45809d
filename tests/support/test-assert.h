#pragma once

/// The function that an assertion of vx::testAssert names, in the compiler's own words.
#ifdef __clang__
inline constexpr const char* functionOfTestAssert =
    "auto vx::testAssert()::(anonymous class)::operator()() const";
#else
inline constexpr const char* functionOfTestAssert = "vx::testAssert()::<lambda()>";
#endif
