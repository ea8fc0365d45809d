#pragma once

#include "inspector/daemon/shape.h"
#include "inspector/output/finding.h"

#include <optional>
#include <string>
#include <string_view>

namespace inspector {

/// What is to say of a key or a value where it stands.
struct Remark {
    std::string_view name;
    Severity severity;
    std::string message;
    std::string remedy;
};

/// Of a key that the daemon doesn't know there.
Remark onUnknownKey(std::string_view key, const Shape& record);

/// Of a key beside "data" in a reply: only a slip of that one, as a server may have more to say.
std::optional<Remark> onKeyOfEnvelope(std::string_view key);

Remark onDuplicateKey(std::string_view key);

/// Nothing for a name that the daemon knows.
std::optional<Remark> onName(std::string_view name, const vx::EnumTable& table);

/// Nothing for a number that the daemon takes as it stands, or not at all. @p isText tells whether
/// it stands between quotes.
std::optional<Remark> onNumber(const std::string& number, bool isText, const Shape& shape);

Remark onRegisterWithoutField();

} // namespace inspector
