#pragma once

#include "inspector/home/home-model.h"
#include "inspector/live/home-courses.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// What was counted of one meter.
struct MeterCounts {
    std::size_t polls = 0;
    std::size_t goodPolls = 0;
    std::size_t decreases = 0;
    std::size_t jumps = 0;
    /// By the key of the reason in docs/diagnostics.json, or "other".
    std::map<std::string, std::size_t> failures = {};
};

/// What was counted in a log.
struct Counts {
    std::size_t polls = 0;
    /// Of those whose length is known, and their sum.
    std::size_t lengths = 0;
    Moment lengthOfAll = 0;
    std::size_t restarts = 0;
    std::size_t assertions = 0;
    std::size_t delivered = 0;
    std::size_t lost = 0;
    std::map<TroubleKind, std::size_t> troubles = {};
    /// In the order of the home's meters.
    std::vector<MeterCounts> meters = {};
    std::map<std::string, std::size_t> unattributed = {};
};

/// A home as its log has shown it so far.
struct HomeView {
    const Home& home;
    /// In the order of its meters.
    const std::vector<MeterCourse>& courses;
    /// When this program began to look, and the present.
    Moment begin = 0;
    Moment now = 0;
    std::optional<Moment> lastPoll;
    Counts counts;
    /// Those of what the log held when the program began.
    Counts past;
    bool isOver = false;
    /// All is read that the log held when the program began.
    bool isPastRead = false;
};

/// A home that one thread makes of the lines of a log while others look at it.
class LiveHome {
public:
    explicit LiveHome(Moment begin) : m_begin(begin) {}

    void add(const Line& line);
    /// All lines of the past were added.
    void endPast();
    /// There are no more lines.
    void finish();

    /// Grows with each change worth a look.
    std::uint64_t version() const;
    /// Calls @p looker with a `HomeView`, which lasts as long as the call, and gives its result.
    template <class Looker>
    auto look(Moment now, Looker looker) const {
        const std::lock_guard lock(m_mutex);
        return looker(HomeView{m_model.home(), m_courses.meters(), m_begin, now, m_lastPoll,
                               counts(), m_isPast ? counts() : m_past, m_isOver, !m_isPast});
    }

private:
    void takeReadings();
    Counts counts() const;

    mutable std::mutex m_mutex;
    HomeModel m_model;
    HomeCourses m_courses;
    Moment m_begin;
    std::uint64_t m_version = 0;
    std::optional<Moment> m_lastPoll;
    Counts m_past;
    /// What is added is of the past.
    bool m_isPast = true;
    bool m_isOver = false;
};

/// The present, as the log counts time.
Moment present();

} // namespace inspector
