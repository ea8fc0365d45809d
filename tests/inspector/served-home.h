#pragma once

#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace inspector {

/// An answer of a server by HTTP.
struct HttpAnswer {
    int status = 0;
    /// With the line of the status, as it came.
    std::string head;
    std::string body;
};

/// A connection to the program, which listens where it does by default.
class Client {
public:
    /// Waits for the program.
    Client();

    void send(const std::string& bytes);
    /// Reads up to and without @p end, and drops that; what came before the connection closed if
    /// that comes first.
    std::string readUntil(const std::string& end);
    /// One whole answer.
    HttpAnswer readAnswer(bool hasBody = true);
    /// Everything up to the end of the connection; false if the limit passes first.
    bool waitForEnd(std::chrono::seconds longest = std::chrono::seconds{20});
    /// Makes the system keep as little as it can of what comes and isn't read.
    void keepLittle();
    boost::asio::ip::tcp::socket& socket() { return m_socket; }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::socket m_socket{m_context};
    std::string m_read;
};

/// Sends @p request as it is, and takes the answer.
HttpAnswer exchange(const std::string& request);
/// Asks by GET with @p fields, which are lines with their ends.
HttpAnswer get(const std::string& path, const std::string& fields = "");

/// The real program, which serves a log that the test writes.
class ServedHome : public testing::Test {
protected:
    TemporaryDirectory m_directory;
    std::string m_log = m_directory.write("log", "");

    void start(const std::vector<std::string>& arguments = {});
    /// With no more than so many descriptors.
    void startWithDescriptors(std::size_t number);
    /// Gives the exit status.
    std::optional<int> endBySignal(int number);
    pid_t pid() const { return m_program->pid(); }
    std::string errors() const { return contentOf(m_directory.path() / "errors"); }

    /// What a line of the daemon begins with.
    static std::string beginOfLine(std::int64_t age = 0);
    /// Adds lines of the daemon, whose present is @p age milliseconds ago.
    void line(const std::string& head, const std::string& text, std::int64_t age = 0);
    /// A message that the metering service takes.
    void message(int slaveAddress, const std::string& values, std::int64_t age = 0);
    void failure(const std::string& words, std::int64_t age = 0,
                 const std::string& fieldType = "powerImport");
    void tick(std::int64_t age = 0) { line("NOTIC modbusreaderMain", "callback", age); }
    /// A poll of one meter.
    void poll(int slaveAddress, const std::string& values, std::int64_t age = 0);

    /// Waits until the JSON of the home holds @p text, by the events that tell of changes.
    std::string awaitHome(const std::string& text);

private:
    void start(const std::vector<std::string>& program, const std::vector<std::string>& arguments);

    std::unique_ptr<house::ChildProcess> m_program;
};

} // namespace inspector
