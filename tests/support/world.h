#pragma once

#include "support/transcript.h"

#include "house/local-server.h"
#include "house/metering-service.h"
#include "house/modbus-slave.h"
#include "house/pty-pair.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The replies of the local server.
struct Replies {
    std::string rtuConfig;
    std::string attached;
    std::string supported;
};

/// A home whose one meter, "S-1" at the slave address 7, has three registers: its serial, the
/// input register 10 (power, 1 W) and the holding registers 20 and 21 (energy, 0.5 kWh). What they
/// hold is put on the bus by the test.
extern const Replies oneMeter;

/// A home of two meters of one model, "S-7" and "S-8" at the slave addresses 7 and 8: the serial,
/// and the power in watts in the holding register 10.
extern const Replies twoMeters;

/// Whoever a reader deals with: the local server, a bus with slaves, the metering service, and the
/// files that it reads, with one transcript of all that happens. Everything is there from the
/// beginning, on TCP; a test takes away what it wants to miss.
///
/// The reader comes with one of the two worlds made of this one: `ReaderWorld` runs its code in
/// this process, `ProcessWorld` the real executable. A test fails if the reader said a warning or
/// an error that the test did not take.
///
/// The reader's paths and ports are fixed, so the tests run in a private world of mounts and
/// network (`tools/private-world`), which each test leaves as it found it.
class World : public testing::Test {
protected:
    World();
    ~World() override;

    // The local server

    using LocalServer = house::LocalServer;
    /// Its own callback belongs to the transcript; `whenRequested` is for the test.
    std::unique_ptr<LocalServer> server;
    /// Opens a server that serves what the last one served, or was given while there was none.
    void openServer();
    void closeServer();
    void serve(const Replies& replies);
    void serveRtuConfig(const std::string& reply);
    void serveAttached(const std::string& reply);
    void serveSupported(const std::string& reply);
    /// Calls @p callback on the server's thread at each request, when the transcript holds it. A
    /// server that is being closed calls nobody.
    void whenRequested(std::function<void(const house::Request&)> callback);

    // The bus

    /// Its callback `whenAnswering` belongs to the transcript.
    std::unique_ptr<house::ModbusSlave> bus;
    /// The pair of terminals of a serial line; null on TCP.
    std::unique_ptr<house::PtyPair> serialLine;
    /// Sends the reader by its configuration file to the slaves on TCP, which time out after one
    /// second.
    void useTcp();
    /// Lays a serial line to the reader's port, with nobody at its other end. The slaves are gone
    /// with all that they held, and so is the configuration file, so that an answer may take five
    /// seconds again. No pseudo terminal can be set up for RS-485: each reconnect logs an error.
    void layLine();
    /// Lays that line, and puts new slaves at its other end.
    void useLine();
    void writeConfigFile(const std::string& text);

    // The metering service

    std::unique_ptr<house::MeteringService> service;
    void openService();
    void closeService();

    // What happened

    /// Everything so far as one text; see `Transcript`.
    std::string transcript();
    /// The log lines so far that contain @p text, as "severity channel message", without what
    /// differs from run to run; see `withoutRunningValues`.
    std::vector<std::string> log(std::string_view text = "");
    /// Warnings and errors so far.
    std::vector<std::string> complaints();
    /// What was asked on the bus so far and what was answered, one line each.
    std::string conversation();
    /// The messages of the metering service so far, without their moments.
    std::vector<std::string> messages();
    /// Forgets what happened so far.
    void forget();

    /// Takes server, bus and service away, whose threads add to the transcript.
    void closeAll();
    /// Adds a line "severity channel message" of the reader's log.
    void logged(const std::string& line);
    /// Adds anything else.
    void happened(Transcript::Kind kind, const std::string& text);
    /// Waits for the messages that the log says were transferred, and adds them.
    void awaitMessages();
    /// From now on @p readLog brings the log up to date before anything is added or taken. No
    /// virtual function: the threads of the house call it while a world is being made.
    void catchUpBy(std::function<void()> readLog);
    void catchUp();

    Transcript m_transcript;

private:
    void openBus();

    Replies m_replies;
    std::function<void(const house::Request&)> m_whenRequested;
    std::recursive_mutex m_callbackMutex;
    std::function<void()> m_readLog;
    std::mutex m_readLogMutex;
    /// Guards the service and the numbers of its messages.
    std::mutex m_serviceMutex;
    std::size_t m_transferred = 0;
    std::size_t m_messages = 0;
};
