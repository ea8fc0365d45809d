#pragma once

#include "vx/assert.h"
#include "vx/log.h"

#include <cstddef>
#include <cstdint>
#include <string>

// A fuzz target is one source with this function. It is linked with libFuzzer, which makes up the
// inputs, or with `replay.cpp`, which takes those that are kept in `corpus/`. Whatever the input
// is, the target must not crash, and each VX_ASSERT in it must hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// What a function sees of @p text that takes it by its address alone.
inline std::string upToNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

/// From the first call on, the text of every log line is built, down to debug, and dropped.
inline void dropLog() {
    static const bool done = [] {
        auto& logger = vx::Logger::instance();
        logger.setDefaultSeverity(vx::LogSeverity::debug);
        logger.setLogFunction([](const char*, vx::LogSeverity, const std::string&) {});
        return true;
    }();
    static_cast<void>(done);
}

} // namespace fuzz
