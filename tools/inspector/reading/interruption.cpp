#include "inspector/reading/interruption.h"

#include <cerrno>
#include <csignal>
#include <string_view>
#include <unistd.h>

namespace inspector {
namespace {

std::atomic<bool> mustEnd{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void end(int) {
    // The library waits on for the answer, up to its time-out.
    constexpr std::string_view text =
        "\nIt ends with the question under way; another Ctrl-C ends it at once.\n";
    const int reason = errno;
    mustEnd = true;
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    errno = reason;
}

} // namespace

void endAtSignals() {
    struct sigaction action {};
    action.sa_handler = end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        // As under nohup.
        if (before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

const std::atomic<bool>& isEnding() {
    return mustEnd;
}

} // namespace inspector
