#pragma once

#include "vx/items.h"

#include <ostream>
#include <utility>

namespace vx {

/// A scope that adds its text to every message that its thread builds while it is open: log lines,
/// exceptions and failed assertions. VX_LOG_CONTEXT makes one. Contexts live on the stack and form
/// a chain per thread; another thread doesn't see them. They are destroyed in reverse order of
/// creation by the thread that made them, or an assertion fails.
class LogContext {
public:
    LogContext();
    virtual ~LogContext();
    LogContext(const LogContext&) = delete;
    LogContext& operator=(const LogContext&) = delete;

    /// Writes the text of this context, with one blank at its end. Called anew for each message,
    /// never if none is built. What it throws, the statement throws that builds the message.
    virtual void print(std::ostream& stream) const = 0;

    /// The enclosing context of the same thread, or null. Mutable, as a context that ends before an
    /// inner one takes itself out of the chain, and inner ones are const objects.
    mutable LogContext* prev;
};

/// Innermost context of the calling thread, or null. Valid until that context ends.
LogContext* logContext();

namespace detail {

/// Innermost context of the calling thread, which then has none: later messages of the thread show
/// no context.
LogContext* takeLogContext();

} // namespace detail

/// Writes @p context and the ones around it, innermost first; nothing for null.
std::ostream& operator<<(std::ostream& stream, LogContext* context);

namespace detail {

/// Context that prints through a function object. It runs only when a message is really built.
template <class F>
class LogContextImpl final : public LogContext {
public:
    explicit LogContextImpl(F function) : m_function(std::move(function)) {}
    void print(std::ostream& stream) const override { m_function(stream); }

private:
    F m_function;
};

/// Writes all items in order; in braces, which evaluate them from left to right.
struct WriteAll {
    template <class... Items>
    explicit WriteAll(std::ostream& stream, const Items&... items) {
        (write(stream, items), ...);
    }
};

} // namespace detail
} // namespace vx

#define VX_JOIN(left, right) VX_JOIN_1(left, right)
#define VX_JOIN_1(left, right) left##right

/// Adds `key:value ` for each expression to the messages of the enclosing scope. The values are
/// those of the moment of the message, so what the expressions name must live as long as the scope:
///
///     VX_LOG_CONTEXT(slaveAddress);
///     VX_LOG(channel, warning, "No answer");     // No answer slaveAddress:3 toolkit.cpp:12
///
/// At most one in a line.
#define VX_LOG_CONTEXT(...)                                                                        \
    const ::vx::detail::LogContextImpl VX_JOIN(vxLogContext, __LINE__)(                            \
        [&](std::ostream& vxStream) { ::vx::detail::WriteAll{vxStream VX_ITEMS(__VA_ARGS__)}; })
