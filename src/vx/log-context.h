#pragma once

#include "vx/items.h"

#include <ostream>
#include <utility>

namespace vx {

/// A scope that adds its text to every message built while it is open. Contexts live on the stack,
/// form a chain per thread, and are destroyed strictly in reverse order of creation.
class LogContext {
public:
    LogContext();
    virtual ~LogContext();
    LogContext(const LogContext&) = delete;
    LogContext& operator=(const LogContext&) = delete;

    /// Writes the text of this context, with one blank at its end.
    virtual void print(std::ostream& stream) const = 0;

    /// The enclosing context of the same thread, or null. One that ends out of order is taken from
    /// the chain of inner ones, which are const where VX_LOG_CONTEXT defines them.
    mutable LogContext* prev;
};

/// Innermost context of this thread, or null.
LogContext* logContext();

namespace detail {

/// The chain of this thread, which is left without one.
LogContext* takeLogContext();

} // namespace detail

/// Writes the chain from @p context on, innermost first.
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

/// Adds `key:value ` for each expression to the messages of the enclosing scope.
#define VX_LOG_CONTEXT(...)                                                                        \
    const ::vx::detail::LogContextImpl VX_JOIN(vxLogContext, __LINE__)(                            \
        [&](std::ostream& vxStream) { ::vx::detail::WriteAll{vxStream VX_ITEMS(__VA_ARGS__)}; })
