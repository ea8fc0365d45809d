#include "standard-error-pieces.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A socket of this type keeps the bounds of each write, up to and including the end of file.
std::array<int, 2> makePieceSocket() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()) != 0)
        throw std::runtime_error("No socket pair");
    return ends;
}

/// Writes a piece of its own behind each `fsync`.
auto reportSyncs() {
    return c_calls::fsync.replaceBy([](int fd) {
        const int result = c_calls::fsync.real(fd);
        c_calls::write.real(fd, fsyncPiece.data(), fsyncPiece.size());
        return result;
    });
}

std::vector<std::string> receive(int socket, int flags) {
    std::vector<std::string> pieces;
    std::string piece(65536, '\0');
    for (ssize_t size = 0; (size = recv(socket, piece.data(), piece.size(), flags)) > 0;)
        pieces.push_back(piece.substr(0, static_cast<std::size_t>(size)));
    // An emulator of another processor adds a word of its own when the program aborts.
    std::erase_if(pieces, [](const std::string& x) { return x.starts_with("qemu: uncaught"); });
    return pieces;
}

} // namespace

StandardErrorPieces::StandardErrorPieces() : m_saved(dup(STDERR_FILENO)), m_syncs(reportSyncs()) {
    const auto [reading, writing] = makePieceSocket();
    m_reading = reading;
    dup2(writing, STDERR_FILENO);
    close(writing);
}

StandardErrorPieces::~StandardErrorPieces() {
    dup2(m_saved, STDERR_FILENO);
    close(m_saved);
    close(m_reading);
}

std::vector<std::string> StandardErrorPieces::take() const {
    return receive(m_reading, MSG_DONTWAIT);
}

std::vector<std::string> piecesOfAbort(const std::function<void()>& function) {
    const auto [reading, writing] = makePieceSocket();
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore{};
        setrlimit(RLIMIT_CORE, &noCore);
        close(reading);
        dup2(writing, STDERR_FILENO);
        close(writing);
        const auto syncs = reportSyncs();
        function();
        _exit(0);
    }
    close(writing);
    auto pieces = receive(reading, 0);
    close(reading);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
    return pieces;
}

std::string joined(const std::vector<std::string>& pieces) {
    std::string text;
    for (const std::string& piece : pieces)
        if (piece != fsyncPiece)
            text += piece;
    return text;
}
