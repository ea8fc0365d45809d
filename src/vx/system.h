#pragma once

#include "vx/enum-table.h"

#include <boost/core/noncopyable.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vx {

class Conf;

/// Maturity of an installation, from its file "release-type".
enum class Release : std::int32_t {
    devel = 0,
    testing = 1,
    fieldtest = 2,
    production = 3,
};

EnumTable vxEnum(Release);

/// The one door to files, clock and identity of the installation. Failures are `vx::Exception`s
/// that name the file, except where an operation says otherwise.
class System : boost::noncopyable {
public:
    /// Directories that a process can be pointed to.
    struct Dirs {
        /// Installation settings.
        std::string etc = "/etc";
        std::string share = "/usr/share";
    };

    virtual ~System() = default;
    virtual const Dirs& dirs() const = 0;
    virtual bool exists(const std::string& path) const = 0;
    /// Whole content of a file, byte for byte.
    virtual std::string readFile(const std::string& filename) const = 0;
    /// As `readFile`, but a missing file is no failure.
    virtual std::optional<std::string> readFileIfExists(const std::string& filename) const = 0;
    /// Replaces the file by @p data and one line end. Not atomic.
    virtual void writeToFile(const std::string& filename, const std::string& data) const = 0;
    /// Paths of the regular files in a directory with exactly that extension (with its "."), in the
    /// order of the file system; none if there is no such directory.
    virtual std::vector<std::string> lsRegularFiles(const std::string& path,
                                                    const std::string& extension) const = 0;
    /// Throws `boost::filesystem::filesystem_error`.
    // NOLINTNEXTLINE(readability-identifier-naming): the names are keys in the log
    virtual void rename(const std::string& old_p, const std::string& new_p) const = 0;
    /// Removing what does not exist is no failure. Throws `boost::filesystem::filesystem_error`.
    virtual void remove(const std::string& path) const = 0;
    virtual std::chrono::system_clock::time_point now() const = 0;
    virtual Conf& conf() const = 0;
    virtual Release release() const = 0;
    /// Whether the release is none that customers get: devel or testing.
    virtual bool isInternalRelease() const = 0;
    /// Sixteen letters and digits; a label, not a secret.
    virtual std::string randomId() const = 0;
    /// Random UUID (RFC 4122, version 4), 36 characters in lower case.
    virtual std::string randomUuid() const = 0;
    /// Name in the time zone database, as in Europe/Berlin; empty if it can't be told.
    virtual std::string timeZoneName() const = 0;
    /// Seconds east of UTC at this moment. Throws `std::runtime_error`.
    virtual long long utcOffsetSeconds() const = 0;
};

/// The system of this process, with the default directories.
System& system();

std::unique_ptr<System> makeSystem();
std::unique_ptr<System> makeSystem(System::Dirs&& dirs);

} // namespace vx
