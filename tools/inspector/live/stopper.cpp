#include "inspector/live/stopper.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace inspector {

Stopper::Stopper() : m_event(eventfd(0, EFD_CLOEXEC)) {
    if (m_event == -1)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

Stopper::~Stopper() {
    close(m_event);
}

void Stopper::stop() {
    m_isStopped = true;
    eventfd_write(m_event, 1);
}

bool Stopper::wait(int descriptor, std::chrono::milliseconds longest) const {
    std::array<pollfd, 2> waits{{{m_event, POLLIN, 0}, {descriptor, POLLIN, 0}}};
    poll(waits.data(), waits.size(), static_cast<int>(longest.count()));
    return !m_isStopped;
}

} // namespace inspector
