#include "base.h"

#include "support/c-calls.h"
#include "support/descriptors.h"
#include "support/temporary-directory.h"
#include "support/thrown-text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace orv;
using testing::ElementsAre;
using testing::Pair;

namespace {

/// Reads that go well before one that fails; none fails if there is no value.
std::optional<int> goodReads;

} // namespace

/// Stands in for the call of the C library, which hardly ever fails in the middle of a file. The
/// standard library makes it, out of reach of `c_calls`.
extern "C" ssize_t read(int fd, void* data, std::size_t size) {
    if (goodReads && (*goodReads)-- == 0) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_read, fd, data, size);
}

TEST(ReadFile, givesTheWholeFile) {
    const TemporaryDirectory directory;

    EXPECT_EQ(readFile(directory.write("f", std::string("a\0b\n", 4))), std::string("a\0b\n", 4));
    EXPECT_EQ(readFile(directory.write("g", "")), "");
}

TEST(ReadFile, throwsWithNameAndReason) {
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { readFile("/nowhere/f"); }),
              "Failed to read file:/nowhere/f e.what():basic_ios::clear: iostream error");
}

TEST(ReadFile, throwsIfAReadFailsInTheMiddle) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("f", std::string(100000, 'x'));

    goodReads = 1;
    const std::string failure = thrownBy<std::invalid_argument>([&] { readFile(file); });
    goodReads.reset();

    EXPECT_EQ(failure, "Failed to read file:" + file +
                           " e.what():basic_filebuf::underflow error reading the file: "
                           "Input/output error");
}

TEST(RwAccess, tellsWhetherAFileCanBeReadAndWritten) {
    const TemporaryDirectory directory;

    EXPECT_TRUE(rwAccess(directory.write("f", "")));
    EXPECT_FALSE(rwAccess("/nowhere/f"));
}

// The superuser may read and write any file, so only the question itself shows what was asked.
TEST(RwAccess, asksForReadingAndWritingAtOnce) {
    std::vector<std::pair<std::string, int>> questions;
    const auto watched = c_calls::access.observeBy(
        [&](const char* path, int mode) { questions.emplace_back(path, mode); });

    rwAccess("/nowhere/f");

    EXPECT_THAT(questions, ElementsAre(Pair("/nowhere/f", R_OK | W_OK)));
}

TEST(SyncFile, syncsTheFileOnceAndClosesIt) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("f", "content");
    std::vector<std::string> synced;
    const auto watched =
        c_calls::fsync.observeBy([&](int fd) { synced.push_back(nameOfDescriptor(fd)); });

    syncFile(file);

    EXPECT_THAT(synced, ElementsAre(file));
    EXPECT_EQ(openDescriptorsOf(file), 0);
    EXPECT_EQ(readFile(file), "content");
}

TEST(SyncFile, ignoresAMissingFile) {
    const auto watched = c_calls::fsync.observeBy([](int fd) { ADD_FAILURE() << fd; });

    syncFile("/nowhere/f");
}
