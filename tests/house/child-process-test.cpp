#include "house/child-process.h"
#include "support/temporary-directory.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <system_error>

using namespace house;

TEST(ChildProcess, addsStandardErrorToTheLog) {
    const TemporaryDirectory directory;
    const std::string log = directory.path() / "log";
    ChildProcess child({"/bin/sh", "-c", "echo $COLOUR >&2; exit 3"}, log, {"COLOUR=blue"});

    const std::optional<int> status = child.waitForExit();

    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 3);
    EXPECT_FALSE(child.running());
    EXPECT_EQ(contentOf(log), "blue\n");
    ChildProcess({"/bin/sh", "-c", "echo red >&2"}, log).waitForExit();
    EXPECT_EQ(contentOf(log), "blue\nred\n");
}

TEST(ChildProcess, endsWithItsOwner) {
    pid_t pid = 0;
    {
        ChildProcess child({"/bin/sleep", "1000"}, "/dev/null");
        pid = child.pid();
        EXPECT_TRUE(child.running());
    }
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, takesSignalsThoughTheStarterBlocksThem) {
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    ChildProcess child({"/bin/sleep", "1000"}, "/dev/null");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    child.signal(SIGTERM);

    const std::optional<int> status = child.waitForExit();
    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFSIGNALED(*status));
}

TEST(ChildProcess, absentProgramThrows) {
    EXPECT_THROW(ChildProcess({"/nowhere/program"}, "/dev/null"), std::system_error);
}
