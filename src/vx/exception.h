#pragma once

#include "vx/enum-table.h"
#include "vx/items.h"
#include "vx/log-context.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>

namespace vx {

/// The one exception of a failure at run time. Throw it by VX_THROW or VX_THROW_UNLESS, which give
/// it a complete text: what failed, with which values, at which source position and in which log
/// context. Whoever catches it logs that text and need not know more. Throwing logs nothing.
class Exception : public std::runtime_error {
public:
    /// What a caller may decide by. The macros throw `failed`; the others come from the
    /// constructors.
    enum class Type : std::int32_t {
        failed = 0,
        overloaded = 1,
        disconnected = 2,
        unimplemented = 3,
    };

    /// The text is taken as it is: a constructor adds neither position nor context. Without a type
    /// it is `failed`.
    explicit Exception(const std::string& what);
    explicit Exception(const char* what);
    Exception(Type type, const std::string& what);
    Exception(Type type, const char* what);
    Exception(const std::string& what, std::string userMessage);
    Exception(Type type, const std::string& what, std::string userMessage);

    Type type() const;
    /// Text meant for a person, apart from the technical `what()`; empty if there is none.
    const std::string& userMessage() const;

private:
    struct D {
        Type type;
        std::string userMessage;
    };

    /// Null unless the exception has a type or a user message of its own. Copies share it.
    std::shared_ptr<D> d;
};

/// Names are those of the enumerators.
EnumTable vxEnum(Exception::Type);
std::ostream& operator<<(std::ostream& stream, Exception::Type type);

namespace detail {

/// Text of a thrown exception; in braces, which evaluate the items from left to right.
struct ThrownText {
    template <class... Items>
    ThrownText(const char* file, int line, const Items&... items)
        : text(strArgs("", items..., trimFile(file), ":", line, " ", logContext())) {}

    std::string text;
};

} // namespace detail
} // namespace vx

/// Throws a `vx::Exception` with the items, the source position and the log context:
///
///     VX_THROW("Failed to read file", filename);
///     // what(): Failed to read file filename:/etc/a vx/system.cpp:52 key:a
///
/// Here a VX_LOG_CONTEXT(key) was open.
#define VX_THROW(...)                                                                              \
    throw ::vx::Exception(::vx::detail::ThrownText{__FILE__, __LINE__ VX_ITEMS(__VA_ARGS__)}.text)

/// Throws as VX_THROW does, with the source text of @p condition, unless the condition holds. The
/// items are evaluated only for the text of the exception:
///
///     VX_THROW_UNLESS(size < 100, "Too long", size);
///     // what(): Too long size:120 condition:size < 100 vx/file.cpp:12
#define VX_THROW_UNLESS(condition, ...)                                                            \
    do {                                                                                           \
        if (!(condition))                                                                          \
            throw ::vx::Exception(::vx::detail::ThrownText{                                        \
                __FILE__, __LINE__ VX_ITEMS(__VA_ARGS__), "condition:", VX_TEXT(condition), " "}   \
                                      .text);                                                      \
    } while (false)
