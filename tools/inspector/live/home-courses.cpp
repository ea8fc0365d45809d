#include "inspector/live/home-courses.h"

namespace inspector {

bool HomeCourses::follow(const Home& home) {
    if (home.polls.value_or(0) == m_polls && home.pollLengths.count() == m_lengths)
        return false;
    m_polls = home.polls.value_or(0);
    m_lengths = home.pollLengths.count();
    take(home);
    return true;
}

void HomeCourses::take(const Home& home) {
    m_meters.resize(home.meters.size(), MeterCourse(m_limits));
    for (std::size_t i = 0; i < m_meters.size(); ++i)
        m_meters[i].take(home.meters[i], home.polls, home.offset);
}

} // namespace inspector
