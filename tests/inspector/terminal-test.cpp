#include "meter-on-bus.h"

#include "map-documents.h"

#include <gmock/gmock.h>

#include <pty.h>
#include <termios.h>
#include <unistd.h>

using namespace inspector;
using testing::EndsWith;
using testing::StartsWith;

namespace {

/// A terminal at which the program writes.
class Window {
public:
    explicit Window(unsigned short columns) {
        winsize size{};
        size.ws_col = columns;
        termios settings{};
        cfmakeraw(&settings);
        char name[64];
        EXPECT_EQ(openpty(&m_screen, &m_terminal, name, &settings, &size), 0);
        m_name = name;
    }
    ~Window() {
        close(m_screen);
        close(m_terminal);
    }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// What stands there when the program has ended.
    std::string show(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {}) const {
        const TemporaryDirectory files;
        std::vector<std::string> command = {"/bin/sh", "-c", R"(exec "$@" >"$window")", "sh",
                                            INSPECTOR_EXECUTABLE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::vector<std::string> all = {"window=" + m_name};
        all.insert(all.end(), environment.begin(), environment.end());
        house::ChildProcess program(command, files.path() / "errors", all);
        program.waitForExit();
        EXPECT_EQ(contentOf(files.path() / "errors"), "");
        // What is written comes out some time later, and in order.
        EXPECT_EQ(write(m_terminal, "", 1), 1);
        std::string text;
        for (char c = 0; ::read(m_screen, &c, 1) == 1 && c != '\0';)
            text += c;
        return text;
    }

private:
    int m_screen = -1;
    int m_terminal = -1;
    std::string m_name;
};

class Terminal : public MeterOnBus {
protected:
    std::vector<std::string> read() const {
        return onBus({"read", "--supported", map, "--slave", "7"});
    }

    static constexpr unsigned short wide = 200;
    const std::string rowsAndMessage =
        R"(  holding  0  ascii  MOMENT  TIME  id "S-1"  532D 3100
  input  10  uint16  MOMENT  TIME  powerConsumed 1250.0 W  04E2
  holding  20  uint32  MOMENT  TIME  energyConsumed 1800000.0 Ws  0000 0005
Record:  {"id":S-1,"slaveAddress":7,"meteringType":modbus,"lastChanged":MOMENT,"powerConsumed":1250,"energyConsumed":1.8e+06}
Message: {"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"MOMENT","powerConsumed":1250.0,"energyConsumed":1800000.0}
)";
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Bus, Terminal, testing::Values(BusKind::tcp));

TEST_P(Terminal, hasBoldHeadings) {
    EXPECT_EQ(withoutTimes(Window(wide).show(read())), "\x1b[1mMeter 7\x1b[0m\n"
                                                       "\x1b[1m  space  address  type  time  took  "
                                                       "value under the map  words\x1b[0m\n" +
                                                           rowsAndMessage);
}

TEST_P(Terminal, hasNoColoursIfTheUserWantsNone) {
    EXPECT_EQ(withoutTimes(Window(wide).show(read(), {"NO_COLOR=1"})),
              "Meter 7\n"
              "  space  address  type  time  took  value under the map  words\n" +
                  rowsAndMessage);
}

TEST_P(Terminal, thatIsNarrowLosesTheLeastImportantColumns) {
    EXPECT_THAT(Window(60).show(read(), {"NO_COLOR=1"}),
                StartsWith("Meter 7\n"
                           "  space    address  type    value under the map\n"
                           "  holding        0  ascii   id \"S-1\"\n"
                           "  input         10  uint16  powerConsumed 1250.0 W\n"
                           "  holding       20  uint32  energyConsumed 1800000.0 Ws\n"
                           "Record:  "));
}

TEST_P(Terminal, hasFindingsInColoursAndWithinItsWidth) {
    const std::string wrong =
        files.write("wrong.json",
                    map_documents::withRegisters(
                        {R"({"address":20,"fieldType":"powerImport","modbusDataType":"uint16"})"}));

    EXPECT_THAT(Window(50).show({"map", "--supported", wrong}),
                EndsWith("\n"
                         "\x1b[31merror\x1b[0m \x1b[1mno-words\x1b[0m supported:3:1 "
                         "/data/0/registers/1/length\n"
                         "    The daemon asks the meter for no words, which\n"
                         "    every meter refuses.\n"
                         "    Set \"length\" to 1, or for a text to the number\n"
                         "    of its words.\n"));
}

TEST_P(Terminal, thatGoesAwayEndsTheProgramWithoutAWord) {
    const std::vector<std::string> command =
        onBus({"/bin/sh", "-c", R"("$@" | head -n 1 >"$lines")", "sh", INSPECTOR_EXECUTABLE, "read",
               "--supported", map, "--slave", "7", "--polls", "100000"});
    const std::string lines = files.path() / "lines";
    const std::string ended = files.path() / "ended";
    house::ChildProcess pipeline(command, files.path() / "errors",
                                 {"lines=" + lines, "ended=" + ended});

    EXPECT_EQ(pipeline.waitForExit(), 0);
    EXPECT_EQ(contentOf(lines), "Meter 7\n");
    EXPECT_EQ(contentOf(files.path() / "errors"), "");
}
