#pragma once

#include "inspector/home/home.h"
#include "inspector/home/process-model.h"
#include "inspector/home/silence-check.h"
#include "inspector/log/line.h"

#include <list>

namespace inspector {

/// Makes a home of the lines of a log, which it takes one by one, in memory that doesn't grow with
/// their number.
class HomeModel {
public:
    HomeModel();
    ~HomeModel();
    HomeModel(const HomeModel&) = delete;
    HomeModel& operator=(const HomeModel&) = delete;

    void add(const Line& line);
    /// The log is over: what is known of the last poll counts as it is.
    void finish();
    /// As it is so far; a reading is in it when its poll is over.
    const Home& home() const { return m_meters.home(); }

private:
    void noteDamage(const Line& line);
    void addOther(const Line& line);
    bool isOfAnother(const ProcessModel& process, const Line& line) const;
    ProcessModel& processOf(const Line& line);
    ProcessModel& addProcess(const Line& line);
    void noteTime(const ProcessModel& process, const Line& line);
    void noteGap(const ProcessModel& process, const Line& line);
    void noteLeap(const Gap& silence);

    MeterBook m_meters;
    /// Those of late, the last one first.
    std::list<ProcessModel> m_processes;
    SilenceCheck m_silences;
};

} // namespace inspector
