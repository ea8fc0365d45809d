#pragma once

#include "support/c-calls.h"

#include <functional>
#include <string>
#include <vector>

/// Takes descriptor 2 for its scope and answers with the pieces in which this process wrote to it,
/// one for each `write`, and with `fsyncPiece` for each `fsync`.
class StandardErrorPieces {
public:
    StandardErrorPieces();
    ~StandardErrorPieces();
    StandardErrorPieces(const StandardErrorPieces&) = delete;
    StandardErrorPieces& operator=(const StandardErrorPieces&) = delete;

    /// All pieces so far, which are then forgotten.
    std::vector<std::string> take() const;

private:
    int m_reading;
    int m_saved;
    decltype(c_calls::fsync)::Scope m_syncs;
};

inline const std::string fsyncPiece = "<fsync>";

/// What a child process that runs @p function wrote to descriptor 2, piece by piece. The test fails
/// unless the child ends by SIGABRT.
std::vector<std::string> piecesOfAbort(const std::function<void()>& function);

/// The pieces without the `fsyncPiece`s, joined.
std::string joined(const std::vector<std::string>& pieces);
