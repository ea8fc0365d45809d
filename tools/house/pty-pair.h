#pragma once

#include <memory>
#include <string>

namespace house {

/// A serial line without hardware: two pseudo terminals in raw mode, joined by a thread. What is
/// written into one end comes out of the other. Both ends can be opened and closed at will; bytes
/// that nobody fetches are kept as far as the kernel's buffers reach, and lost beyond.
class PtyPair {
public:
    /// Throws `std::system_error` when no pseudo terminal is to be had.
    PtyPair();
    ~PtyPair();
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    /// Device names of the two ends.
    const std::string& masterEnd() const;
    const std::string& slaveEnd() const;

    /// Makes @p path a symbolic link to the master's end for as long as the object lives, and opens
    /// that end to the group `dialout`, if it can. Replaces an older link there; for any other
    /// file, and when the link cannot be made, throws `std::system_error`.
    void linkMasterEnd(const std::string& path) const;

    /// Takes back the settings that a master made at its end, for the next one. A pseudo terminal
    /// has no parity, and the C library refuses settings of which it can't carry out anything:
    /// those of a second master, when the first one's are still there.
    void resetMasterEnd() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace house
