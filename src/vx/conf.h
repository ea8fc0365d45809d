#pragma once

#include "vx/json.h"
#include "vx/log.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vx {

class System;

/// Small JSON documents that survive a restart. A key's document is the file `vx-conf/<key>.json`
/// in the directory `etc` of the system. The key is used in the path as it stands: it must be a
/// file name, and none from outside. `vx::System::conf` gives the settings of a system:
///
///     vx::system().conf().writeJson("meter", R"({"address":3})");
///
/// Each call goes to the file; nothing is kept in memory.
class Conf {
public:
    virtual ~Conf() = default;
    /// The document, a fragment in the sense of vx/json.h; nothing if there is no such file. Throws
    /// as `System::readFileIfExists` if it can't be read, and `vx::Exception` if it doesn't begin
    /// with a JSON value. A file of "null" and a line end counts as one that doesn't.
    virtual std::optional<std::shared_ptr<json_object>>
    readJsonIfExists(std::string_view key) const = 0;
    /// Stores @p json and one line end, and makes the directory "vx-conf" if it is missing; nothing
    /// checks that it is JSON. Throws `vx::Exception` if that fails. Not atomic: a crash may leave
    /// half a document.
    virtual void writeJson(std::string_view key, const std::string& json) const = 0;

    /// Channel "vxConf", of all settings.
    static LogChannel& logChannel();
};

/// The settings in the directories of @p system, which must outlive them. A system has its own, so
/// few callers need this.
std::unique_ptr<Conf> makeConf(System& system);

} // namespace vx
