#include "vx/log-context.h"

#include "vx/assert.h"

namespace vx {
namespace {

// NOLINTNEXTLINE(readability-identifier-naming): the name stands in the assertion's text
thread_local LogContext* t_logContext = nullptr;

} // namespace

LogContext::LogContext() : prev(t_logContext) {
    t_logContext = this;
}

LogContext::~LogContext() {
    // Contexts end in reverse order of their begin. One that doesn't is taken out of the chain
    // first, as the assertion below prints the chain, and this object can't be printed any more.
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
