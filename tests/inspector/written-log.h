#pragma once

#include "inspector/home/home-model.h"
#include "vx/date-time.h"

#include <gtest/gtest.h>

#include <string>

namespace inspector {

inline constexpr Moment start = 1794623049000;

inline std::string utc(Moment time) {
    return vx::toString(vx::DateTime(std::chrono::milliseconds(time)));
}

/// Writes a log line by line, as the daemon does.
class WrittenLog {
public:
    explicit WrittenLog(HomeModel& model) : m_model(model) {}

    WrittenLog& at(Moment time) {
        m_time = start + time;
        return *this;
    }
    WrittenLog& process(int thread) {
        m_thread = thread;
        return *this;
    }
    WrittenLog& plain(const std::string& text) {
        m_model.add(parseLine(text));
        return *this;
    }
    WrittenLog& line(const std::string& head, const std::string& text) {
        std::string time = utc(m_time);
        time.replace(time.size() - 1, 1, "+00:00");
        return plain("[" + time + "] " + std::to_string(m_thread) + " " + head + " " + text);
    }
    WrittenLog& serial(const std::string& text) {
        return line("NOTIC modbusSerial", text + " toolkit.cpp:1");
    }
    WrittenLog& tick() { return line("NOTIC modbusreaderMain", "callback ec:Success main.cpp:64"); }
    WrittenLog& starts() {
        return line("NOTIC modbusreaderMain", "Starting modbus Reader main.cpp:74");
    }
    WrittenLog& begin(int slaveAddress) {
        return serial("Reading meter now slaveAddress:" + std::to_string(slaveAddress));
    }
    WrittenLog& failure(const std::string& words, const std::string& record) {
        return line("WARN  modbusSerial",
                    "Could not read register strerror((*__errno_location ())):" + words +
                        " aRegister:{" + record + "} toolkit.cpp:345");
    }
    /// A message that doesn't reach the service.
    WrittenLog& unconnected() {
        plain("=================================");
        return line("WARN  modbusreaderSocketWriter",
                    "Could not connect ec:Connection refused self->m_endpoint.path():/run/x "
                    "socket-writer.cpp:36");
    }
    /// A message that the service takes, of a read that began at the time.
    WrittenLog& message(int slaveAddress, Moment began, const std::string& values = "",
                        const std::string& id = "") {
        const std::string address = std::to_string(slaveAddress);
        const std::string text = R"({"id":")" + (id.empty() ? "S-" + address : id) +
                                 R"(","slaveAddress":)" + address +
                                 R"(,"meteringType":"modbus","lastChanged":")" +
                                 utc(start + began) + "\"" + values + "}";
        const std::string size = std::to_string(text.size());
        return written(text).line("NOTIC modbusreaderSocketWriter",
                                  "TRANSFERRED  self->m_buffer.size():" + size + " size:" + size +
                                      " socket-writer.cpp:47");
    }
    /// A message whose fate the log doesn't tell yet.
    WrittenLog& written(const std::string& text) {
        plain("=================================");
        return line("NOTIC modbusreaderSocketWriter",
                    "Writing  m_buffer:" + text + " socket-writer.cpp:41");
    }

private:
    HomeModel& m_model;
    Moment m_time = start;
    int m_thread = 412;
};

struct HomeModelTest : testing::Test {
    HomeModel model;
    WrittenLog log{model};
    const Home& home = model.home();
};

inline const std::string powerRegister =
    R"("address":10,"fieldType":powerImport,"modbusDataType":uint16,"length":1,"registerType":input)";
inline const std::string serialRegister =
    R"("address":70,"fieldType":serial,"modbusDataType":ascii)";
inline constexpr const char* timedOut = "Connection timed out";

} // namespace inspector
