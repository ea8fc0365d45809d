#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "house/home.h"
#include "house/reading.h"

namespace house {

/// The last reading of each meter as lines of text: name, power in and out, energy in and out, age
/// of the reading, tariffs.
class ReadingTable {
public:
    using Time = std::chrono::system_clock::time_point;

    explicit ReadingTable(std::vector<Meter> meters);

    void update(const Reading& reading);

    /// The headings of the columns.
    std::string heading() const;
    /// One row per meter, in the order of the meters, with its tariffs at the end, however long
    /// that gets; a meter without a reading shows dashes.
    std::vector<std::string> rows(Time now) const;
    /// The row of one meter, empty for an unknown one.
    std::string row(int slaveAddress, Time now) const;

private:
    std::string figures(const Meter& meter, Time now) const;
    std::vector<std::string> tariffs(const Meter& meter) const;

    std::vector<Meter> m_meters;
    /// Of the longest name.
    std::size_t m_nameWidth = 10;
    std::map<int, Reading> m_readings;
};

} // namespace house
