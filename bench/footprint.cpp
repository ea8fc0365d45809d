// Measures what the reader uses beside 4 meters of 20 registers: started in a private world, it
// prints lines of figures.
// Usage: footprint READER [SHORT_PAUSES_LIBRARY]
//        Without the library ten polls take half a minute, and the descriptors alone are told.

#include "measured-home.h"

#include "house/child-process.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/process-figures.h"

#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using house::LocalServer;
using house::PollFigures;

/// The bus and the server that the reader polls, and a service that takes its readings.
class Surroundings {
public:
    /// Takes the figures of @p polls polls.
    explicit Surroundings(int polls) : m_polls(polls) {
        m_server.whenRequested([this](const house::Request& request) {
            // At a later one the reader may have been ended.
            if (request.path == LocalServer::rtuConfigPath && figures.poll() < m_polls)
                figures.pollBegins();
        });
        const MeasuredHome home(4, 20);
        m_server.serve(LocalServer::rtuConfigPath, home.rtuConfig());
        m_server.serve(LocalServer::attachedPath, home.attached());
        m_server.serve(LocalServer::supportedPath, home.supported());
        home.furnish(m_slave);
        std::ofstream("/etc/modbus-config.json") << home.configFile(m_slave.port());
    }

    /// Waits until the poll behind the last one begins.
    void waitForPolls() const {
        // One limit is not enough for all of them.
        for (int polls = 1; polls <= m_polls + 1; ++polls)
            if (!m_server.waitForRequests(LocalServer::rtuConfigPath,
                                          static_cast<std::size_t>(polls)))
                throw std::runtime_error("The reader does not poll");
    }

    PollFigures figures;

private:
    const int m_polls;
    LocalServer m_server;
    house::ModbusSlave m_slave{house::TcpPort{1502}};
    house::MeteringService m_service;
};

void measure(const std::string& reader, const std::string& shortPauses) {
    Surroundings surroundings(1000);
    const house::ChildProcess process({reader}, "/run/reader.log", {"LD_PRELOAD=" + shortPauses});
    surroundings.figures.takeFrom(process.pid());
    surroundings.waitForPolls();

    const auto early = surroundings.figures.at(10);
    const auto settled = surroundings.figures.at(100);
    const auto late = surroundings.figures.at(1000);
    std::cout << "resident at poll 10, 100, 1000: " << early.residentKilobytes << ' '
              << settled.residentKilobytes << ' ' << late.residentKilobytes << " kB\n"
              << "descriptors at poll 10, 100, 1000: " << early.descriptors << ' '
              << settled.descriptors << ' ' << late.descriptors << '\n'
              << "processor time of a poll: "
              << (late.cpuSeconds - settled.cpuSeconds) / 900.0 * 1000.0 << " ms\n";
}

void measureDescriptors(const std::string& reader) {
    Surroundings surroundings(10);
    const house::ChildProcess process({reader}, "/run/reader.log");
    surroundings.figures.takeFrom(process.pid());
    surroundings.waitForPolls();

    std::cout << "descriptors at poll 10: " << surroundings.figures.at(10).descriptors << '\n';
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: footprint READER [SHORT_PAUSES_LIBRARY]\n";
        return 2;
    }
    try {
        if (argc == 3)
            measure(argv[1], argv[2]);
        else
            measureDescriptors(argv[1]);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "footprint: " << e.what() << '\n';
        return 1;
    }
}
