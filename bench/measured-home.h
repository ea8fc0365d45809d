#pragma once

#include "house/modbus-slave.h"

#include <cstdint>
#include <string>

/// The home that the bench measures beside: meters of four models in turn, and the server's replies
/// about them. Each model has a number of registers that are read from the bus, of the data types
/// float32, uint64, uint32 and uint16, and one for the serial, which the list of meters makes
/// needless. The server always offers all four models.
class MeasuredHome {
public:
    static constexpr int mostMeters = 247;
    /// Further addresses would be those of another data type.
    static constexpr int mostRegisters = 1000;

    MeasuredHome(int meters, int registersPerMeter);

    std::string rtuConfig() const;
    std::string attached() const;
    std::string supported() const;
    /// The configuration file of a bus on TCP at @p port.
    std::string configFile(std::uint16_t port) const;
    /// Gives the units on the bus their words.
    void furnish(house::ModbusSlave& bus) const;

private:
    int m_meters;
    int m_registersPerMeter;
};
