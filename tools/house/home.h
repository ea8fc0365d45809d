#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "house/local-server.h"
#include "house/meter.h"
#include "house/modbus-slave.h"
#include "house/wire-time.h"

namespace house {

/// What the house serves: a home that lives, or a recorded one. The local server's replies and the
/// values behind every register come from a JSON description whose form is told in
/// `tools/house/home.md`.
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
    /// Puts every meter on the bus of @p slave, with values that follow the clock from now on, or
    /// the recorded polls. The home must outlive the slave, and a recorded one the server too.
    /// Throws `std::runtime_error` on another kind of bus than the recorded one.
    void liveOn(ModbusSlave& slave);
    /// How far it is, as a few words: "12:34 in the home".
    std::string moment() const;

    // Of a home that lives; throws for a recorded one.

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
