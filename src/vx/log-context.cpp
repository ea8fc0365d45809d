#include "vx/log-context.h"

#include "vx/assert.h"

namespace vx {
namespace {

// NOLINTNEXTLINE(readability-identifier-naming)
thread_local LogContext* t_logContext = nullptr;

} // namespace

LogContext::LogContext() : prev(t_logContext) {
    t_logContext = this;
}

LogContext::~LogContext() {
    // Contexts must end in reverse order of their creation. One that ends too early fails the
    // assertion below, which prints the chain. This object can't be printed any more, as its
    // derived part is gone already, so it leaves the chain first.
    for (LogContext* x = t_logContext; x != nullptr && x != this; x = x->prev)
        if (x->prev == this)
            x->prev = prev;
    VX_ASSERT(t_logContext == this);
    t_logContext = prev;
}

LogContext* logContext() {
    return t_logContext;
}

LogContext* detail::takeLogContext() {
    return std::exchange(t_logContext, nullptr);
}

std::ostream& operator<<(std::ostream& stream, LogContext* context) {
    for (; context != nullptr; context = context->prev)
        context->print(stream);
    return stream;
}

} // namespace vx
