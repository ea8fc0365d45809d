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

/// Maturity of an installation, named in the file "release-type" of its directory `etc`.
enum class Release : std::int32_t {
    devel = 0,
    testing = 1,
    fieldtest = 2,
    production = 3,
};

/// Names are those of the enumerators.
EnumTable vxEnum(Release);

/// The one door to files, clock and identity of the installation. Paths are taken as they are:
/// `dirs` doesn't apply to them. Failures are `vx::Exception`s that name the file, except where an
/// operation says otherwise. Each call asks the operating system anew, apart from `release`; any
/// thread may call, and two that use one file must agree between themselves.
class System : boost::noncopyable {
public:
    /// Directories that a process can be pointed to.
    struct Dirs {
        /// Settings of the installation: "release-type" and the directory of `Conf`.
        std::string etc = "/etc";
        /// For the callers; the system itself keeps nothing there.
        std::string share = "/usr/share";
    };

    virtual ~System() = default;
    virtual const Dirs& dirs() const = 0;
    /// Whether @p path is there, a file of any kind; a link that leads nowhere isn't. Throws
    /// `boost::filesystem::filesystem_error` where that can't be told, as in a directory that this
    /// process may not search.
    virtual bool exists(const std::string& path) const = 0;
    /// Whole content of a file, byte for byte.
    virtual std::string readFile(const std::string& filename) const = 0;
    /// As `readFile`, but nothing for a file that doesn't exist. Whether it does is asked as by
    /// `exists`, which may throw.
    virtual std::optional<std::string> readFileIfExists(const std::string& filename) const = 0;
    /// Replaces the content by @p data and one line end, or makes the file. Not atomic: a crash may
    /// leave a part of it.
    virtual void writeToFile(const std::string& filename, const std::string& data) const = 0;
    /// Paths of the regular files in a directory with exactly that extension (with its "."), in the
    /// order of the file system; none if there is no such directory.
    virtual std::vector<std::string> lsRegularFiles(const std::string& path,
                                                    const std::string& extension) const = 0;
    /// Replaces @p new_p if it exists. Throws `boost::filesystem::filesystem_error`.
    // NOLINTNEXTLINE(readability-identifier-naming)
    virtual void rename(const std::string& old_p, const std::string& new_p) const = 0;
    /// Removes a file or an empty directory. Removing what does not exist is no failure. Throws
    /// `boost::filesystem::filesystem_error`.
    virtual void remove(const std::string& path) const = 0;
    /// The present moment, as `vx::now`.
    virtual std::chrono::system_clock::time_point now() const = 0;
    /// The stored settings, for as long as the system lives.
    virtual Conf& conf() const = 0;
    /// As the file said when the system was made; devel without a file or for an unknown text.
    virtual Release release() const = 0;
    /// Whether the release is none that customers get: devel or testing.
    virtual bool isInternalRelease() const = 0;
    /// As `vx::randomId`: sixteen letters and digits; a label, not a secret.
    virtual std::string randomId() const = 0;
    /// Random UUID (RFC 4122, version 4), 36 characters in lower case.
    virtual std::string randomUuid() const = 0;
    /// Name in the time zone database, as in Europe/Berlin, read from the link "/etc/localtime";
    /// empty if it is no link into that database. The environment's TZ isn't looked at.
    virtual std::string timeZoneName() const = 0;
    /// Seconds by which local time is ahead of UTC at this moment. Throws `std::runtime_error` if
    /// the clock can't be read.
    virtual long long utcOffsetSeconds() const = 0;
};

/// The system of this process, with the default directories. Made by the first call, which throws
/// as `readFileIfExists` does if "/etc/release-type" can't be read.
System& system();

/// A system of the caller's own, for instance one whose settings lie in a temporary directory:
///
///     const auto system = vx::makeSystem({directory, "/usr/share"});
///
/// Throws as the first call of `system` does, about its own "release-type".
std::unique_ptr<System> makeSystem(System::Dirs&& dirs);
/// With the default directories.
std::unique_ptr<System> makeSystem();

} // namespace vx
