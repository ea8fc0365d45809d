// What the kernel tells of the executable. It lies with the soaks since a sanitizer or an emulator
// would add threads and handlers of its own.

#include "e2e/reader-process.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

/// The value of @p field in the kernel's account of the process.
std::string statusOf(const ReaderProcess& reader, const std::string& field) {
    std::ifstream status("/proc/" + std::to_string(reader.pid()) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(field + ":\t"))
            return line.substr(field.size() + 2);
    return "no such field";
}

} // namespace

TEST(Process, noSignalHasAHandler) {
    ReaderProcess reader;

    reader.waitForLog("callback");

    EXPECT_EQ(statusOf(reader, "SigCgt"), "0000000000000000");
}

TEST(Process, oneThreadDoesEverything) {
    ReaderProcess reader;

    reader.waitForLog("callback");

    EXPECT_EQ(statusOf(reader, "Threads"), "1");
}
