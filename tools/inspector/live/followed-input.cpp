#include "inspector/live/followed-input.h"

#include "inspector/input/sources.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace inspector {
namespace {

constexpr std::chrono::milliseconds pause{200};

[[noreturn]] void fail(const std::string& name, int error) {
    throw UnreadableInput(name + ": " + std::strerror(error));
}

/// What is packed can't be followed: it comes as a whole.
void refusePacked(const std::string& name, int descriptor) {
    std::array<char, 4> start{};
    const ssize_t count = pread(descriptor, start.data(), start.size(), 0);
    const std::string_view text(start.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    const bool isGzip = text.starts_with("\x1F\x8B");
    if (isGzip || text == "\x28\xB5\x2F\xFD")
        throw UnreadableInput(name + ": is packed; give what " + (isGzip ? "zcat" : "zstdcat") +
                              " makes of it to --log -");
}

/// Calls a function once.
class Once {
public:
    explicit Once(std::function<void()> call) : m_call(std::move(call)) {}
    void operator()() {
        if (const auto call = std::exchange(m_call, nullptr))
            call();
    }

private:
    std::function<void()> m_call;
};

class FollowedFile : public Input {
public:
    FollowedFile(std::string name, const Stopper& stopper, std::function<void()> whenRead)
        : m_name(std::move(name)),
          m_stopper(stopper),
          m_whenRead(std::move(whenRead)),
          m_descriptor(openFile()) {
        if (m_descriptor == -1)
            fail(m_name, errno);
        struct stat status {};
        if (fstat(m_descriptor, &status) == 0 && S_ISDIR(status.st_mode))
            fail(m_name, EISDIR);
        refusePacked(m_name, m_descriptor);
    }
    ~FollowedFile() override { close(m_descriptor); }
    FollowedFile(const FollowedFile&) = delete;
    FollowedFile& operator=(const FollowedFile&) = delete;

    std::size_t read(char* target, std::size_t size) override {
        while (!m_stopper.isStopped()) {
            const ssize_t count = ::read(m_descriptor, target, size);
            if (count > 0) {
                m_isAtLineEnd = target[count - 1] == '\n';
                m_isReplaced = false;
                return static_cast<std::size_t>(count);
            }
            if (count == -1 && errno != EAGAIN && errno != EINTR)
                fail(m_name, errno);
            if (goOn()) {
                // What the old file ended with has no rest.
                if (std::exchange(m_isAtLineEnd, true))
                    continue;
                *target = '\n';
                return 1;
            }
            m_whenRead();
            m_stopper.wait(-1, pause);
        }
        return 0;
    }

private:
    /// Without waiting for the other end of a pipe.
    int openFile() const {
        return open(m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    }

    /// Whether it goes on at the beginning of a file: this one was emptied, or another one has
    /// taken its place. To that it turns when this one has given nothing for another time, as its
    /// writer may turn late.
    bool goOn() {
        struct stat own {};
        if (fstat(m_descriptor, &own) == 0 && S_ISREG(own.st_mode) &&
            own.st_size < lseek(m_descriptor, 0, SEEK_CUR)) {
            lseek(m_descriptor, 0, SEEK_SET);
            return true;
        }
        struct stat named {};
        if (stat(m_name.c_str(), &named) == -1 ||
            (named.st_dev == own.st_dev && named.st_ino == own.st_ino)) {
            m_isReplaced = false;
            return false;
        }
        if (!std::exchange(m_isReplaced, true))
            return false;
        const int descriptor = openFile();
        if (descriptor == -1)
            return false;
        close(std::exchange(m_descriptor, descriptor));
        m_isReplaced = false;
        return true;
    }

    std::string m_name;
    const Stopper& m_stopper;
    Once m_whenRead;
    int m_descriptor;
    bool m_isAtLineEnd = true;
    bool m_isReplaced = false;
};

class FollowedStandardInput : public Input {
public:
    FollowedStandardInput(const Stopper& stopper, std::function<void()> whenRead)
        : m_stopper(stopper), m_whenRead(std::move(whenRead)) {
        refusePacked("standard input", STDIN_FILENO);
    }

    std::size_t read(char* target, std::size_t size) override {
        // What a pipe gives from now on is new.
        m_whenRead();
        constexpr std::chrono::milliseconds always{-1};
        while (m_stopper.wait(STDIN_FILENO, always)) {
            const ssize_t count = ::read(STDIN_FILENO, target, size);
            if (count >= 0)
                return static_cast<std::size_t>(count);
            if (errno != EAGAIN && errno != EINTR)
                fail("standard input", errno);
        }
        return 0;
    }

private:
    const Stopper& m_stopper;
    Once m_whenRead;
};

} // namespace

std::unique_ptr<Input> followInput(const std::string& name, const Stopper& stopper,
                                   std::function<void()> whenRead) {
    if (name == "-")
        return std::make_unique<FollowedStandardInput>(stopper, std::move(whenRead));
    return std::make_unique<FollowedFile>(name, stopper, std::move(whenRead));
}

} // namespace inspector
