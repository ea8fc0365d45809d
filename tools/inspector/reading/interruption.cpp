#include "inspector/reading/interruption.h"

#include <csignal>

namespace inspector {
namespace {

std::atomic<bool> ending{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void end(int) {
    ending = true;
}

} // namespace

void endAtSignals() {
    struct sigaction action {};
    action.sa_handler = end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM})
        sigaction(signal, &action, nullptr);
}

const std::atomic<bool>& isEnding() {
    return ending;
}

} // namespace inspector
