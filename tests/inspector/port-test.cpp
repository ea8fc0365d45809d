#include "meter-on-bus.h"

#include "house/patience.h"
#include "inspector/bus/bus.h"
#include "support/c-calls.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <thread>

using namespace inspector;
using house::ChildProcess;

namespace {

/// A serial line with a meter, and another program that has it open.
class Port : public MeterOnBus {
protected:
    Port() {
        const std::string ready = files.path() / "ready";
        m_other = std::make_unique<ChildProcess>(
            std::vector<std::string>{"/bin/sh", "-c", R"(exec 3<>"$0"; : >"$1"; exec sleep 1000)",
                                     device(), ready},
            files.path() / "errors");
        awaitFile(ready);
    }

    void awaitFile(const std::string& file) const {
        const auto deadline = std::chrono::steady_clock::now() + house::Patience::limit();
        while (!std::filesystem::exists(file) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
    }

    std::unique_ptr<ChildProcess> m_other;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Line, Port, testing::Values(BusKind::serial));

TEST_P(Port, thatAnotherProgramHasOpenIsLeftAlone) {
    const ProgramResult result = readMeter();

    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError,
              "modbus-inspector: " + device() + " is open in sleep (process " +
                  std::to_string(m_other->pid()) +
                  "), and two masters on one line disturb each other: end it, or take "
                  "--stop-service for the daemon, or --share to read all the same\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(bus().requestCount(), 0U);
}

TEST_P(Port, thatAnotherProgramHasOpenIsReadIfItMayBeShared) {
    EXPECT_EQ(readMeter({"--share"}).status, 0);
}

TEST(PortOfRs485, isLedInItsDirectionAsTheDaemonDoes) {
    const house::PtyPair line;
    std::string led;
    const auto observed =
        c_calls::ioctl.observeBy([&](int descriptor, unsigned long request, void* argument) {
            if (request != TIOCSRS485)
                return;
            const std::string place = "/proc/self/fd/" + std::to_string(descriptor);
            led = std::filesystem::read_symlink(place).string() + " " +
                  std::to_string(static_cast<serial_rs485*>(argument)->flags);
        });

    // A pseudo terminal knows no direction, which hinders nothing.
    const Bus bus({.rtu = line.masterEnd()}, std::chrono::seconds(1));

    EXPECT_EQ(led,
              line.masterEnd() + " " + std::to_string(SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND));
}

TEST(PortName, thatIsOfNoSerialLineIsRefusedBeforeAnythingElse) {
    const TemporaryDirectory files;
    const std::string missing = files.path() / "missing";
    const std::string folder = files.path();
    const std::string file = files.write("file", "mine");
    const std::pair<std::string, std::string> complaints[] = {
        {"/dev/null", "/dev/null is no serial line"},
        {file, file + " is no serial line"},
        {folder, folder + " is no serial line"},
        {missing, missing + ": No such file or directory"}};
    for (const auto& [name, complaint] : complaints) {
        const ProgramResult result = run({"scan", "--rtu", name, "--stop-service"});

        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError, "modbus-inspector: " + complaint + "\n");
        EXPECT_EQ(result.status, 2);
    }
    EXPECT_EQ(contentOf(file), "mine");
}
