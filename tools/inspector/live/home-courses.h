#pragma once

#include "inspector/home/home.h"
#include "inspector/live/meter-course.h"

#include <vector>

namespace inspector {

/// What the meters of a home showed, while a log makes the home.
class HomeCourses {
public:
    explicit HomeCourses(const CourseLimits& limits = {}) : m_limits(limits) {}

    /// Takes the last readings if a poll has ended, and tells whether one has.
    bool follow(const Home& home);
    void take(const Home& home);

    /// In the order of the home's meters.
    const std::vector<MeterCourse>& meters() const { return m_meters; }

private:
    CourseLimits m_limits;
    std::vector<MeterCourse> m_meters;
    std::size_t m_polls = 0;
    std::size_t m_lengths = 0;
};

} // namespace inspector
