#include "vx/conf.h"

#include "vx/exception.h"
#include "vx/record.h"
#include "vx/system.h"

#include <boost/filesystem.hpp>

namespace vx {

namespace detail {

static LogChannel confLogChannel("vxConf", LogSeverity::notice);

} // namespace detail

using detail::confLogChannel;

class ConfImpl final : public Conf {
public:
    explicit ConfImpl(System& aSystem) : system(aSystem) {}

    std::optional<std::shared_ptr<json_object>>
    readJsonIfExists(std::string_view key) const override {
        VX_LOG(confLogChannel, debug, "Enter", __PRETTY_FUNCTION__, key);
        const auto fileContent = system.readFileIfExists(path(key));
        if (!fileContent)
            return std::nullopt;
        VX_LOG(confLogChannel, info, "Leave", __PRETTY_FUNCTION__, key, (*fileContent));
        return fromJson<std::shared_ptr<json_object>>(fileContent->c_str());
    }

    void writeJson(std::string_view key, const std::string& json) const override {
        VX_LOG(confLogChannel, debug, "Enter", __PRETTY_FUNCTION__, key, json);
        requireDirectory();
        system.writeToFile(path(key), json);
    }

private:
    std::string directory() const { return system.dirs().etc + "/vx-conf/"; }

    std::string path(std::string_view key) const {
        return directory() + std::string(key) + ".json";
    }

    void requireDirectory() const {
        const std::string vxConfDir = directory();
        try {
            if (boost::filesystem::status(vxConfDir).type() != boost::filesystem::directory_file)
                boost::filesystem::create_directory(vxConfDir);
        } catch (const std::exception&) {
            VX_THROW("Cannot create directory. ", vxConfDir);
        }
    }

    System& system;
};

LogChannel& Conf::logChannel() {
    return confLogChannel;
}

std::unique_ptr<Conf> makeConf(System& system) {
    return std::make_unique<ConfImpl>(system);
}

} // namespace vx
