#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "house/json-part.h"
#include "house/local-server.h"
#include "house/meter.h"
#include "house/modbus-slave.h"
#include "house/signals.h"
#include "house/wire-time.h"

namespace house {

struct LiveRegister;

/// A home whose registers show signals that follow the clock, see `Home`.
class LivingHome {
public:
    explicit LivingHome(const JsonPart& description);
    ~LivingHome();
    LivingHome(const LivingHome&) = delete;
    LivingHome& operator=(const LivingHome&) = delete;

    const std::vector<Meter>& meters() const { return m_meters; }
    WireTime wireTime() const { return m_wireTime; }
    void serveOn(LocalServer& server) const;
    void liveOn(ModbusSlave& slave);
    std::string moment() const;

    double hour() const;
    void advance(std::chrono::duration<double> time);
    double value(const std::string& signal) const;

private:
    void collectMeter(const JsonPart& meter);
    void collectRegisters(const JsonPart& meter, int unit);
    void refuseUnusedBehaviour() const;
    void follow(ModbusSlave& slave);

    JsonPart m_server;
    JsonPart m_behaviour;
    double m_speed;
    WireTime m_wireTime;
    Signals m_signals;
    std::vector<Meter> m_meters;
    std::vector<LiveRegister> m_registers;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
};

} // namespace house
