#pragma once

#include "vx/log.h"

#include <utility>

/// Has a function take the lines of the log for its scope.
class LogFunction {
public:
    explicit LogFunction(vx::Logger::LogFunction function) {
        vx::Logger::instance().setLogFunction(std::move(function));
    }
    ~LogFunction() { vx::Logger::instance().setLogFunction(vx::Logger::defaultLogFunction); }
    LogFunction(const LogFunction&) = delete;
    LogFunction& operator=(const LogFunction&) = delete;
};
