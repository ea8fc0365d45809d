// What the kernel tells of the executable. It lies with the soaks since a sanitizer or an emulator
// would add threads and handlers of its own.

#include "e2e/process-world.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

class Process : public ProcessWorld {
protected:
    /// The value of @p field in the kernel's account of the process.
    std::string statusOf(const std::string& field) const {
        std::ifstream status("/proc/" + std::to_string(reader->pid()) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with(field + ":\t"))
                return line.substr(field.size() + 2);
        return "no such field";
    }
};

} // namespace

TEST_F(Process, noSignalHasAHandler) {
    start();

    waitForLog("callback");

    EXPECT_EQ(statusOf("SigCgt"), "0000000000000000");
}

TEST_F(Process, oneThreadDoesEverything) {
    start();

    waitForLog("callback");

    EXPECT_EQ(statusOf("Threads"), "1");
}
