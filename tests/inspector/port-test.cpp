#include "meter-on-bus.h"

#include "house/patience.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
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
