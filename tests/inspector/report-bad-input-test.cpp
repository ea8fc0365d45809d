#include "inspector-program.h"
#include "support/sanitizers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// What the report says of logs that are not as they should be: no more than they tell.

using namespace inspector;

namespace {

std::string lineAt(const std::string& time, const std::string& text, int thread = 412) {
    return "[2026-11-14T03:24:" + time + "+01:00]   " + std::to_string(thread) + " " + text + "\n";
}

std::string recordOf(const std::string& time, int slaveAddress, const std::string& quote) {
    const std::string address = std::to_string(slaveAddress);
    return R"({"id":)" + quote + "S-" + address + quote + R"(,"slaveAddress":)" + address +
           R"(,"meteringType":)" + quote + "modbus" + quote + R"(,"lastChanged":)" + quote +
           "2026-11-14T02:24:" + time + "Z" + quote + R"(,"powerConsumed":1500.5})";
}

/// A message that the service takes.
std::string delivered(const std::string& time, int thread = 412) {
    const std::string text = recordOf(time, 1, "\"");
    const std::string size = std::to_string(text.size());
    return "=================================\n" +
           lineAt(time,
                  "NOTIC modbusreaderSocketWriter Writing  m_buffer:" + text +
                      " socket-writer.cpp:41",
                  thread) +
           lineAt(time,
                  "NOTIC modbusreaderSocketWriter TRANSFERRED  self->m_buffer.size():" + size +
                      " size:" + size + " socket-writer.cpp:47",
                  thread);
}

/// The end of a read as the log shows it at N: a value, and the record.
std::string endOfRead(const std::string& second, int slaveAddress) {
    return lineAt(second + ".300", "NOTIC modbusSerial value:1500.5 modbusFieldType:powerImport "
                                   "scaleValue:1 toolkit.cpp:430") +
           lineAt(second + ".400", "NOTIC modbusSerial Reading aReading:" +
                                       recordOf(second + ".200", slaveAddress, "") +
                                       " toolkit.cpp:320");
}

std::string loggedPoll(const std::string& second) {
    return lineAt(second + ".000", "NOTIC modbusreaderMain callback ec:Success main.cpp:64") +
           lineAt(second + ".200",
                  "NOTIC modbusSerial Reading meter now slaveAddress:1 toolkit.cpp:300") +
           endOfRead(second, 1);
}

constexpr const char* notInThisLog =
    "Not in this log: the names of the meters, the least length of a poll, values that stand at "
    "the wrong register, and readings that are older than their times. VX_LOG=N shows them.\n";

} // namespace

TEST(ReportOfBadInput, countsNoPollOfWhichTheLogLacksTheBegin) {
    const std::string failure =
        lineAt("10.250", "WARN  modbusSerial Could not read register strerror((*__errno_location "
                         "())):Connection timed out aRegister:{\"address\":10,\"fieldType\":"
                         "powerImport,\"registerType\":input} toolkit.cpp:345");
    EXPECT_EQ(run({"report", "-"}, failure + endOfRead("10", 1) + loggedPoll("12") +
                                       loggedPoll("14") + loggedPoll("16") +
                                       lineAt("18.000", "NOTIC modbusreaderMain "
                                                        "callback main.cpp:64")),
              (ProgramResult{
                  1,
                  std::string(
                      R"(Log       2026-11-14 03:24:10 to 2026-11-14 03:24:18, 7.750 s, 16 lines
Gaps      0
Restarts  0
Polls     3, median 2.000 s, 95th of 100 2.000 s, longest 2.000 s
Messages  0 offered, 0 delivered, 0 lost

  meter  id   name  polls     good  delivered  lost  carried  last good reading
      1  S-1            3  100.0 %          ?     ?        0  2026-11-14 03:24:16, 1.800 s ahead of the end

  meter  register not read     why      count  longest run  first                last
      1  input 10 powerImport  timeout      1            ?  2026-11-14 03:24:10  2026-11-14 03:24:10

trouble register-unread/timeout meter 1, S-1
    input 10 powerImport, 1 time, 2026-11-14 03:24:10
    The meter didn't answer in time. If other registers fail or show strange values from then on, an answer came after the time-out.
    Check wiring, slave address, baud rate and parity, and whether the meter has power. If it is slow, raise timeoutResponseSec and restart the reader; on RS-485 also take the bus off the port for one poll. See "An answer that comes too late" in operations.md.

)") + notInThisLog,
                  ""}));
}

TEST(ReportOfBadInput, takesLinesOfTenMegabytesForCutInLittleMemory) {
    std::string log = delivered("10.000") + delivered("12.000");
    const std::string large(10 << 20, 'x');
    const std::string tooLong = lineAt("12.500", "NOTIC modbusSerial " + large + " toolkit.cpp:1");
    for (int i = 0; i < 3; ++i)
        log.append(tooLong).append(large).append("\n");
    log += delivered("14.000");
    std::vector<std::string> limit;
// A sanitizer and an emulator map far more.
#if !defined(READER_ADDRESS_SANITIZER) && !defined(READER_THREAD_SANITIZER) && defined(__x86_64__)
    // Of all that is mapped. The program takes 32 MB of it for a log of a few lines.
    limit = {"sh", "-c", R"(ulimit -v 49152; exec "$0" "$@")"};
#endif
    EXPECT_EQ(Program({"report", "-"}, log, limit).wait(),
              (ProgramResult{
                  0,
                  std::string(
                      R"(Log       2026-11-14 03:24:10 to 2026-11-14 03:24:14, 4.000 s, 15 lines
          6 cut
Gaps      0
Restarts  0
Polls     3, median 2.000 s, 95th of 100 2.000 s, longest 2.000 s
Messages  3 offered, 3 delivered, 0 lost

  meter  id   name  polls     good  delivered  lost  carried  last good reading
      1  S-1            3  100.0 %          3     0        0  2026-11-14 03:24:14, 0.000 s ahead of the end

note lines-cut
    lines were cut, 6 times, 2026-11-14 03:24:12
    Their ends are missing, and what they say isn't counted.
    See whether the file system is full. See "A system without room" in operations.md.

)") + notInThisLog,
                  ""}));
}

TEST(ReportOfBadInput, tellsTwoDaemonsInOneLog) {
    std::string log;
    for (const std::string second : {"10", "12", "14"})
        log += delivered(second + ".000", 412) + delivered(second + ".500", 413);

    EXPECT_EQ(run({"report", "-"}, log),
              (ProgramResult{
                  1,
                  std::string(
                      R"(Log       2026-11-14 03:24:10 to 2026-11-14 03:24:14, 4.500 s, 18 lines
Gaps      0
Restarts  ?
Polls     6, median 2.000 s, 95th of 100 2.000 s, longest 2.000 s
Messages  6 offered, 6 delivered, 0 lost

  meter  id   name  polls     good  delivered  lost  carried  last good reading
      1  S-1            6  100.0 %          6     0        0  2026-11-14 03:24:14, 0.000 s ahead of the end

trouble two-daemons
    two processes write into one log, 4 times, 2026-11-14 03:24:10 to 2026-11-14 03:24:14
    Lines of two processes alternate. On RS-485 two readers disturb each other.
    Stop one of them, or read their logs apart.

)") + notInThisLog,
                  ""}));
}
