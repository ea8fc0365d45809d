#pragma once

#include "vx/json.h"
#include "vx/log.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vx {

class System;

/// Small JSON documents that survive a restart, one file per key below "vx-conf". A key is used in
/// the file name as it stands.
class Conf {
public:
    virtual ~Conf() = default;
    /// Nothing if the key was never written. Throws if the file is not JSON.
    virtual std::optional<std::shared_ptr<json_object>>
    readJsonIfExists(std::string_view key) const = 0;
    /// Stores @p json unchanged; nothing checks that it is JSON.
    virtual void writeJson(std::string_view key, const std::string& json) const = 0;

    static LogChannel& logChannel();
};

/// The settings below the directories of @p system, which must outlive them.
std::unique_ptr<Conf> makeConf(System& system);

} // namespace vx
