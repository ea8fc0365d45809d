#include "vx/system.h"

#include "vx/conf.h"
#include "vx/date-time.h"
#include "vx/enum.h"
#include "vx/exception.h"
#include "vx/log.h"
#include "vx/str.h"

#include <boost/algorithm/string/trim.hpp>
#include <boost/filesystem.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <locale>
#include <stdexcept>
#include <string_view>
#include <sys/time.h>
#include <utility>

namespace vx {
namespace {

LogChannel channel("vxSystem", LogSeverity::notice);

bool isMissing(const std::string& path) {
    const auto type = boost::filesystem::status(path).type();
    return type == boost::filesystem::status_error || type == boost::filesystem::file_not_found;
}

std::string readWhole(const std::string& filename) {
    std::ifstream in(filename, std::ios::binary);
    in.exceptions(std::ios::failbit | std::ios::badbit);
    VX_THROW_UNLESS(in);
    in.seekg(0, std::ios::end);
    std::string result;
    result.resize(static_cast<std::size_t>(in.tellg()));
    in.seekg(0, std::ios::beg);
    in.read(result.data(), static_cast<std::streamsize>(result.size()));
    return result;
}

std::string readFileImpl(const std::string& filename) {
    std::string result;
    try {
        result = readWhole(filename);
    } catch (const std::exception& e) {
        VX_THROW("Failed to read file", filename, e);
    }
    VX_LOG(channel, debug, "Leave", __PRETTY_FUNCTION__, filename, result);
    return result;
}

} // namespace

class SystemImpl final : public System {
public:
    explicit SystemImpl(Dirs&& aDirs)
        : m_dirs(std::move(aDirs)), m_conf(makeConf(*this)), m_release(readRelease()) {}

    const Dirs& dirs() const override { return m_dirs; }

    bool exists(const std::string& path) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, path);
        return !isMissing(path);
    }

    std::string readFile(const std::string& filename) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, filename);
        return readFileImpl(filename);
    }

    std::optional<std::string> readFileIfExists(const std::string& filename) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, filename);
        if (isMissing(filename))
            return std::nullopt;
        return readFileImpl(filename);
    }

    void writeToFile(const std::string& filename, const std::string& data) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, filename, data);
        try {
            std::ofstream ofs(filename, std::ios::out | std::ios::trunc);
            VX_THROW_UNLESS(ofs);
            ofs << data << std::endl;
            ofs.close();
        } catch (const std::exception& e) {
            VX_THROW("Failed to write to file", filename, e);
        }
    }

    std::vector<std::string> lsRegularFiles(const std::string& path,
                                            const std::string& extension) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, path, extension);
        try {
            std::vector<std::string> result;
            if (isMissing(path))
                return result;
            for (const auto& entry : boost::filesystem::directory_iterator(path))
                if (entry.status().type() == boost::filesystem::regular_file &&
                    entry.path().extension() == extension)
                    result.push_back(entry.path().string());
            return result;
        } catch (const boost::filesystem::filesystem_error& e) {
            VX_THROW("Failed to iterate files", path, e.what());
        }
    }

    // NOLINTNEXTLINE(readability-identifier-naming)
    void rename(const std::string& old_p, const std::string& new_p) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, old_p, new_p);
        boost::filesystem::rename(old_p, new_p);
    }

    void remove(const std::string& path) const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, path);
        boost::filesystem::remove(path);
    }

    std::chrono::system_clock::time_point now() const override { return vx::now(); }

    Conf& conf() const override { return *m_conf; }

    Release release() const override { return m_release; }

    bool isInternalRelease() const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__, release());
        return release() == Release::devel || release() == Release::testing;
    }

    std::string randomId() const override { return vx::randomId(); }

    std::string randomUuid() const override {
        return to_string(boost::uuids::random_generator_pure()());
    }

    std::string timeZoneName() const override {
        VX_LOG(channel, debug, "Enter", __PRETTY_FUNCTION__);
        boost::system::error_code noLink;
        const std::string target =
            boost::filesystem::read_symlink("/etc/localtime", noLink).string();
        for (const std::string_view root : {"/usr/share/zoneinfo/", "../usr/share/zoneinfo/"})
            if (target.starts_with(root))
                return target.substr(root.size());
        return {};
    }

    long long utcOffsetSeconds() const override {
        timeval now{};
        if (gettimeofday(&now, nullptr) != 0)
            throw std::runtime_error(strerror(errno));
        std::tm tm{};
        localtime_r(&now.tv_sec, &tm);
        return tm.tm_gmtoff;
    }

private:
    /// Devel if there is no such file or its text is unknown.
    Release readRelease() const {
        const std::string text = readFileIfExists(m_dirs.etc + "/release-type").value_or("");
        return toEnum<Release>(boost::trim_copy(text, std::locale::classic()));
    }

    Dirs m_dirs;
    std::unique_ptr<Conf> m_conf;
    Release m_release;
};

EnumTable vxEnum(Release) {
    using enum Release;
    static constexpr EnumRow x[] = {{devel, "devel"},
                                    {testing, "testing"},
                                    {fieldtest, "fieldtest"},
                                    {production, "production"}};
    return {std::begin(x), std::end(x), "::vx::Release"};
}

System& system() {
    static SystemImpl instance{System::Dirs()};
    return instance;
}

std::unique_ptr<System> makeSystem() {
    return makeSystem(System::Dirs());
}

std::unique_ptr<System> makeSystem(System::Dirs&& dirs) {
    return std::make_unique<SystemImpl>(std::move(dirs));
}

} // namespace vx
