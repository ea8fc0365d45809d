#include "house/home.h"

#include "house/description.h"
#include "house/register-words.h"
#include "house/signals.h"

#include <filesystem>
#include <mutex>
#include <stdexcept>

namespace house {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// A register of a meter on the bus, and what it shows: a signal, or a text.
struct LiveRegister {
    int unit;
    Space space;
    int address;
    std::string dataType;
    int length;
    double scaleValue;
    std::string signal;
    std::string text;

    Words words(const Signals& signals) const {
        if (signal.empty())
            return encodeText(length, text);
        return encodeNumber(dataType, length, signals.value(signal) / scaleValue);
    }
};

LiveRegister toRegister(int unit, const Description& model, const Description& behaviour) {
    const std::string space = model.text("registerType", "holding");
    LiveRegister result{unit,
                        space == "input" ? Space::input : Space::holding,
                        static_cast<int>(model.number("address")),
                        model.text("modbusDataType"),
                        static_cast<int>(model.number("length")),
                        model.number("scaleValue", 1.0),
                        "",
                        ""};
    const std::string key =
        (result.space == Space::input ? "input " : "holding ") + std::to_string(result.address);
    const Description shown = behaviour.at(key);
    if (shown.isText())
        result.signal = shown.text();
    else
        result.text = shown.text("text");
    return result;
}

} // namespace

class Home::Impl {
public:
    explicit Impl(const Description& description);

    void collectRegisters(const Description& meter);
    void follow(ModbusSlave& slave);

    Description m_server;
    Description m_behaviour;
    double m_speed;
    Signals m_signals;
    std::vector<Meter> m_meters;
    std::vector<LiveRegister> m_registers;
    SteadyClock::time_point m_last = SteadyClock::now();
    mutable std::mutex m_mutex;
};

Home::Impl::Impl(const Description& description)
    : m_server(description.at("server")),
      m_behaviour(description.at("behaviour")),
      m_speed(m_behaviour.number("speed", 1.0)),
      m_signals(m_behaviour.at("signals"), m_behaviour.number("startHour")) {
    m_server.at("attached").at("data").forEach([&](const Description& meter) {
        m_meters.push_back({meter.text("name"), static_cast<int>(meter.number("slaveAddress"))});
        collectRegisters(meter);
    });
    // Shows at once whether every register has its signal.
    for (const LiveRegister& aRegister : m_registers)
        aRegister.words(m_signals);
}

void Home::Impl::collectRegisters(const Description& meter) {
    const int unit = static_cast<int>(meter.number("slaveAddress"));
    const Description behaviour = m_behaviour.at("units").at(std::to_string(unit));
    m_server.at("supported").at("data").forEach([&](const Description& model) {
        if (model.text("id") != meter.text("configId"))
            return;
        model.at("registers").forEach([&](const Description& aRegister) {
            m_registers.push_back(toRegister(unit, aRegister, behaviour));
        });
    });
}

void Home::Impl::follow(ModbusSlave& slave) {
    const std::lock_guard lock(m_mutex);
    const auto now = SteadyClock::now();
    m_signals.advance(m_speed * std::chrono::duration<double>(now - m_last).count());
    m_last = now;
    for (const LiveRegister& aRegister : m_registers)
        slave.unit(aRegister.unit)
            .set(aRegister.space, aRegister.address, aRegister.words(m_signals));
}

Home::Home(const std::string& file) : m_impl(std::make_unique<Impl>(Description::fromFile(file))) {}

Home::~Home() = default;

std::string Home::defaultFile() {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path name = "share/modbus-house/home.json";
    // Installed, the executable lies in a folder beside "share"; in a build tree, above it.
    const auto installed = folder.parent_path() / name;
    return std::filesystem::exists(installed) ? installed : folder / name;
}

const std::vector<Meter>& Home::meters() const {
    return m_impl->m_meters;
}

void Home::serveOn(LocalServer& server) const {
    server.serve(LocalServer::rtuConfigPath, m_impl->m_server.at("rtuconfig").json());
    server.serve(LocalServer::attachedPath, m_impl->m_server.at("attached").json());
    server.serve(LocalServer::supportedPath, m_impl->m_server.at("supported").json());
}

void Home::liveOn(ModbusSlave& slave) {
    m_impl->follow(slave);
    slave.beforeAnswer([this, &slave] { m_impl->follow(slave); });
}

void Home::advance(std::chrono::duration<double> time) {
    const std::lock_guard lock(m_impl->m_mutex);
    m_impl->m_signals.advance(time.count());
}

double Home::value(const std::string& signal) const {
    const std::lock_guard lock(m_impl->m_mutex);
    return m_impl->m_signals.value(signal);
}

} // namespace house
