#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "house/local-server.h"
#include "house/modbus-slave.h"
#include "house/wire-time.h"

namespace house {

/// A meter of the home, as the local server lists it.
struct Meter {
    std::string name;
    int slaveAddress = 0;
};

/// A home that lives: the local server's replies and the values behind every register, from a JSON
/// description whose form is told in `tools/house/home.md`.
class Home {
public:
    /// Throws `std::runtime_error`, with the file and the place in it, when the description cannot
    /// be read or something in it is missing, unknown or out of its range.
    explicit Home(const std::string& file);
    ~Home();
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    /// The description that ships with the house, found by where this program lies.
    static std::string defaultFile();

    /// The attached meters, in the order of the description.
    const std::vector<Meter>& meters() const;

    /// Of its serial line, if the description asks for one; none otherwise.
    WireTime wireTime() const;

    /// Makes @p server answer its three paths as the description says.
    void serveOn(LocalServer& server) const;
    /// Puts every meter on the bus of @p slave, with values that follow the clock from now on. The
    /// home must outlive the slave.
    void liveOn(ModbusSlave& slave);

    /// The time of the day in the home, in hours.
    double hour() const;
    /// Lets @p time pass in the home.
    void advance(std::chrono::duration<double> time);
    /// The present value of a signal of the description, in watts, kilowatt-hours or as it stands.
    double value(const std::string& signal) const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace house
