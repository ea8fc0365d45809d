#pragma once

#include "inspector-program.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace inspector {

inline const std::string serialReply = R"({"data":{"baudRate":"baud9600"}})";
inline const std::string attachedReply =
    R"({"data":[{"configId":"c","serial":"S","slaveAddress":7}]})";
inline const std::string supportedReply = R"({"data":[{"id":"c","registers":[]}]})";

/// Lines of a reader's log, which is made up.
struct Lines {
    std::string text;
    std::string clock = "19:00";

    Lines& at(const std::string& time) {
        clock = time;
        return *this;
    }
    Lines& add(const std::string& head, const std::string& line, int process = 4711) {
        text += "[2026-11-22T" + clock + ":00.000+01:00]  " + std::to_string(process) + " " + head +
                " " + line + "\n";
        return *this;
    }
    Lines& serial(const std::string& line) {
        return add("NOTIC modbusSerial", line + " toolkit.cpp:1");
    }
    Lines& alive(int process = 4711) {
        return add("DEBUG modbusSerial", "Main loop is alive toolkit.cpp:1", process);
    }
    Lines& started(int process = 4711) {
        return add("NOTIC modbusreaderMain", "Starting modbus Reader main.cpp:1", process);
    }
    Lines& tick() { return add("NOTIC modbusreaderMain", "retry timer main.cpp:1"); }
    Lines& replies() {
        return serial("result:" + serialReply)
            .serial("querySerialConnectionConfig m_config:{} serverConfig.data:{}")
            .serial("Attached Meters result:" + attachedReply)
            .serial("Supported Meters result:" + supportedReply);
    }
    Lines& meter(int address) {
        return serial("Reading meter now slaveAddress:" + std::to_string(address));
    }
    Lines& asks(int address, int count, const std::string& type = "input",
                const std::string& field = "powerImport") {
        const std::string number = std::to_string(address);
        return serial(R"(Reading register aRegister:{"address":)" + number + R"(,"fieldType":)" +
                      field + R"(,"modbusDataType":uint16,"length":1,"registerType":)" + type + "}")
            .serial("Reading register params aRegister.address:" + number +
                    " aRegister.length * dataCountMultiplier(aRegister.modbusDataType):" +
                    std::to_string(count));
    }
    Lines& gets(const std::string& words) { return serial("ARRAY debug: " + words + " 0 0 0"); }
    Lines& fails(const std::string& reason) {
        return add("WARN  modbusSerial",
                   "Could not read register strerror((*__errno_location ())):" + reason +
                       R"( aRegister:{"address":10} toolkit.cpp:1)");
    }
    /// A poll of one register.
    Lines& poll(const std::string& word) {
        return alive().replies().meter(7).asks(10, 1).gets(word).tick();
    }
};

/// The lines of the polls, and what was told.
struct Replayed {
    std::string polls;
    std::string told;
};

inline Replayed replay(const std::string& log, std::vector<std::string> arguments = {}) {
    const std::vector<std::string> all = {"replay", "-", "-o", "-"};
    arguments.insert(arguments.begin(), all.begin(), all.end());
    const ProgramResult result = run(arguments, log);
    EXPECT_EQ(result.status, 0) << result.standardError;
    const std::string start = "\"polls\":[\n";
    const std::size_t from = result.standardOutput.find(start) + start.size();
    const std::string end = "\n]}}\n";
    EXPECT_TRUE(result.standardOutput.ends_with(end)) << result.standardOutput;
    return {result.standardOutput.substr(from, result.standardOutput.size() - from - end.size()),
            result.standardError};
}

inline Replayed replay(const Lines& lines, const std::vector<std::string>& arguments = {}) {
    return replay(lines.text, arguments);
}

inline std::string refusal(const std::string& log, std::vector<std::string> arguments = {}) {
    const std::vector<std::string> all = {"replay", "-", "-o", "-"};
    arguments.insert(arguments.begin(), all.begin(), all.end());
    const ProgramResult result = run(arguments, log);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.standardOutput, "");
    return result.standardError;
}

inline const std::string time = R"("time":"2026-11-22T18:00:00.000Z")";
inline const std::string answers = R"("rtuconfig":{"json":)" + serialReply +
                                   R"(},"attached":{"json":)" + attachedReply +
                                   R"(},"supported":{"json":)" + supportedReply + "}";
inline const std::string moment = "from 2026-11-22T18:00:00.000Z to 2026-11-22T18:00:00.000Z\n";

inline std::string pollsOf(const std::string& count, int process = 4711) {
    return "modbus-inspector: " + count + " of the reader with the process number " +
           std::to_string(process) + ", " + moment +
           "modbus-inspector: the log doesn't tell the kind of bus: if it was a serial line, play "
           "it with --rtu\n";
}

} // namespace inspector
