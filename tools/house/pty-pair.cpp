#include "house/pty-pair.h"

#include "house/descriptor.h"
#include "house/group-access.h"
#include "house/own-file.h"
#include "house/wakeup.h"

#include <array>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>

namespace house {

namespace {

/// A pseudo terminal. Its device is held open too, because the other side would see the line
/// hang up whenever the last opener of the device goes.
class Pty {
public:
    Pty() : m_control(require(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK), "pty")) {
        require(::grantpt(m_control.number()), "grantpt");
        require(::unlockpt(m_control.number()), "unlockpt");
        std::array<char, 64> name{};
        if (const int error = ::ptsname_r(m_control.number(), name.data(), name.size()))
            throw std::system_error(error, std::generic_category(), "ptsname");
        m_name = name.data();
        m_device = Descriptor(require(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC), "pts"));
        makeRaw();
    }

    int control() const { return m_control.number(); }
    const std::string& name() const { return m_name; }

    void reset() const {
        require(::tcsetattr(m_device.number(), TCSANOW, &m_settings), "tcsetattr");
    }

private:
    void makeRaw() {
        require(::tcgetattr(m_device.number(), &m_settings), "tcgetattr");
        ::cfmakeraw(&m_settings);
        reset();
    }

    termios m_settings{};
    Descriptor m_control;
    Descriptor m_device;
    std::string m_name;
};

void removeOlderLink(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) < 0)
        return;
    if (!S_ISLNK(status.st_mode))
        throw std::system_error(EEXIST, std::generic_category(), path + " is no symbolic link");
    require(::unlink(path.c_str()), path.c_str());
}

void forward(int from, int to) {
    std::array<char, 512> bytes{};
    const ssize_t size = ::read(from, bytes.data(), bytes.size());
    // A full line loses bytes, as a line without a listener does.
    if (size > 0) [[maybe_unused]]
        const ssize_t written = ::write(to, bytes.data(), static_cast<std::size_t>(size));
}

} // namespace

class PtyPair::Impl {
public:
    Impl() : m_thread([this] { run(); }) {}

    ~Impl() {
        m_stop.raise();
        m_thread.join();
    }

    Pty m_master;
    Pty m_slave;
    std::optional<OwnFile> m_link;

private:
    void run() const {
        std::array<pollfd, 3> wait{{{m_stop.descriptor(), POLLIN, 0},
                                    {m_master.control(), POLLIN, 0},
                                    {m_slave.control(), POLLIN, 0}}};
        while (wait[0].revents == 0) {
            if (::poll(wait.data(), wait.size(), -1) < 0)
                continue;
            if (wait[1].revents != 0)
                forward(m_master.control(), m_slave.control());
            if (wait[2].revents != 0)
                forward(m_slave.control(), m_master.control());
        }
    }

    Wakeup m_stop;
    std::thread m_thread;
};

PtyPair::PtyPair() : m_impl(std::make_unique<Impl>()) {}

PtyPair::~PtyPair() = default;

const std::string& PtyPair::masterEnd() const {
    return m_impl->m_master.name();
}

const std::string& PtyPair::slaveEnd() const {
    return m_impl->m_slave.name();
}

void PtyPair::linkMasterEnd(const std::string& path) const {
    removeOlderLink(path);
    require(::symlink(masterEnd().c_str(), path.c_str()), path.c_str());
    m_impl->m_link.emplace(path);
    // As the serial port of a controller, so that a reader that is not root can open it.
    openToGroup(masterEnd(), "dialout");
}

void PtyPair::resetMasterEnd() const {
    m_impl->m_master.reset();
}

} // namespace house
