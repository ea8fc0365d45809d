#pragma once

#include "inspector/recording/recorded-poll.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// The polls of a recording for the house, as JSON. Each stands on a line of its own and tells what
/// is otherwise than in the poll before.
class RecordingText {
public:
    /// In bytes; the house takes descriptions of 16 MB.
    static constexpr std::size_t mostPolls = 15U << 20;

    /// False, with nothing added, if the house would not take that much.
    bool add(const RecordedPoll& poll);

    bool isEmpty() const { return m_polls.empty(); }
    /// The whole description, which begins with what is @p about it. Without a bus any will do.
    std::string home(const std::vector<std::string>& about, BusName bus) const;

private:
    struct Answers {
        std::optional<ServerAnswer> rtuConfig;
        std::optional<ServerAnswer> attached;
        std::optional<ServerAnswer> supported;
    };

    std::string m_polls;
    Answers m_answers;
    std::map<BusRead, std::vector<std::string>> m_reads;
};

} // namespace inspector
