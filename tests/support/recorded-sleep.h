#pragma once

#include <functional>

/// The calls of `sleep` in this process, which go on to the C library.
namespace recorded_sleep {

/// For its scope, tells @p callback the seconds of each call before the sleep. One at a time.
class Observer {
public:
    explicit Observer(std::function<void(unsigned seconds)> callback);
    ~Observer();
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
};

} // namespace recorded_sleep
