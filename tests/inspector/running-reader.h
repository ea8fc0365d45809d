#pragma once

#include "e2e/reader-process.h"
#include "house/home.h"
#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/pty-pair.h"
#include "support/temporary-directory.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

/// The real reader with its house, on a serial line that keeps its wire time or on Modbus TCP,
/// which takes none.
class RunningReader {
public:
    static constexpr std::uint16_t tcpPort = 1502;

    /// @p description is that of the home, @p config the configuration file, if it isn't empty.
    explicit RunningReader(const std::string& description, const std::string& config = {})
        : m_home(m_directory.write("home.json", description)) {
        if (!config.empty())
            std::ofstream(configFile) << config;
        if (config.find("modbusTCPServer") != std::string::npos) {
            m_bus = std::make_unique<house::ModbusSlave>(house::TcpPort{tcpPort});
        } else {
            m_wire.linkMasterEnd("/dev/ttymxc2");
            m_bus = std::make_unique<house::ModbusSlave>(
                house::Tty{m_wire.slaveEnd(), m_home.wireTime()});
        }
        m_home.serveOn(m_server);
        m_home.liveOn(*m_bus);
    }
    ~RunningReader() { std::filesystem::remove(configFile); }
    RunningReader(const RunningReader&) = delete;
    RunningReader& operator=(const RunningReader&) = delete;

    house::ModbusSlave& bus() { return *m_bus; }
    house::LocalServer& server() { return m_server; }

    void start(const std::string& logSetting = "W,modbusreaderSocketWriter:N") {
        m_reader = std::make_unique<ReaderProcess>(
            std::vector<std::string>{"VX_LOG=" + logSetting, "TZ=UTC"});
        // Two seconds pass behind the first poll before the timer starts.
        awaitPoll();
        awaitPoll();
    }
    /// The seconds of the next poll, from its first request to that of the poll after it.
    double poll() {
        const auto begin = m_last;
        awaitPoll();
        return std::chrono::duration<double>(m_last - begin).count();
    }
    std::vector<std::string> log() const { return m_reader->rawLog(); }

private:
    static constexpr const char* configFile = "/etc/modbus-config.json";

    void awaitPoll() {
        using house::LocalServer;
        EXPECT_TRUE(m_server.waitForRequests(LocalServer::rtuConfigPath, ++m_polls));
        m_last = m_server.requests(LocalServer::rtuConfigPath).back().arrived;
    }

    TemporaryDirectory m_directory;
    house::Home m_home;
    house::LocalServer m_server;
    house::PtyPair m_wire;
    std::unique_ptr<house::ModbusSlave> m_bus;
    house::MeteringService m_service;
    std::unique_ptr<ReaderProcess> m_reader;
    std::size_t m_polls = 0;
    std::chrono::system_clock::time_point m_last;
};

/// A busy machine makes what is measured longer and nothing shorter. So the shortest of three
/// counts, or of more as long as all of them are too long; within two percent.
template <class Measure>
void expectLeast(double seconds, Measure measure) {
    constexpr int fewest = 3;
    constexpr int most = 20;
    const double tolerance = 0.02 * seconds;
    double shortest = measure();
    for (int i = 1; i < fewest || (i < most && shortest > seconds + tolerance); ++i)
        shortest = std::min(shortest, measure());
    EXPECT_NEAR(shortest, seconds, tolerance);
}
