#include "real-time.h"
#include "support/time-zone.h"
#include "vx/date-time.h"
#include "vx/exception.h"
#include "vx/str.h"
#include "vx/system.h"

#include <boost/uuid/entropy_error.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

using testing::MatchesRegex;

namespace {

class SystemIdentity : public testing::Test {
protected:
    std::unique_ptr<vx::System> system = vx::makeSystem();
};

using SystemClock = SystemIdentity;

} // namespace

TEST_F(SystemClock, nowIsTheSystemClocks) {
    const auto before = std::chrono::system_clock::now();
    const auto now = system->now();

    EXPECT_LE(before, now);
    EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST_F(SystemClock, nowGoesBeyondTheYear2038) {
    const auto clock = realTimeAt(0x100000000);

    EXPECT_EQ(vx::toString(system->now()), "2106-02-07T06:28:16.000Z");
}

TEST_F(SystemClock, utcOffsetIsEastOfGreenwich) {
    {
        const TimeZone zone("<+0545>-5:45");
        EXPECT_EQ(system->utcOffsetSeconds(), 20700);
    }
    const TimeZone zone("<-0330>3:30");
    EXPECT_EQ(system->utcOffsetSeconds(), -12600);
}

TEST_F(SystemClock, failingClockThrowsItsErrorText) {
    const auto failing = c_calls::gettimeofday.replaceBy([](timeval*, void*) {
        errno = EPERM;
        return -1;
    });

    try {
        system->utcOffsetSeconds();
        FAIL() << "nothing thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Operation not permitted");
        EXPECT_EQ(dynamic_cast<const vx::Exception*>(&e), nullptr);
    }
}

TEST_F(SystemIdentity, randomIdHas16LettersAndDigits) {
    EXPECT_THAT(system->randomId(), MatchesRegex("[0-9A-Za-z]{16}"));
}

TEST_F(SystemIdentity, randomIdIsThatOfTheThreadsEngine) {
    vx::threadLocalRandomEngine().seed(1);
    const std::string id = system->randomId();
    vx::threadLocalRandomEngine().seed(1);

    EXPECT_EQ(id, vx::randomId());
}

TEST_F(SystemIdentity, randomUuidIsOfVersion4AndLowerCase) {
    for (int i = 0; i < 100; ++i)
        EXPECT_THAT(system->randomUuid(),
                    MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                 "[0-9a-f]{12}"));
    EXPECT_NE(system->randomUuid(), system->randomUuid());
}

TEST_F(SystemIdentity, randomUuidSetsVersionAndVariantOverTheDrawnBytes) {
    int byte = 0xff;
    const auto drawing = c_calls::getrandom.replaceBy([&](void* data, std::size_t size, unsigned) {
        std::memset(data, byte, size);
        return static_cast<ssize_t>(size);
    });

    EXPECT_EQ(system->randomUuid(), "ffffffff-ffff-4fff-bfff-ffffffffffff");
    byte = 0;
    EXPECT_EQ(system->randomUuid(), "00000000-0000-4000-8000-000000000000");
}

TEST_F(SystemIdentity, randomUuidAsksAgainForWhatIsMissing) {
    std::vector<std::size_t> asked;
    const auto drawing =
        c_calls::getrandom.replaceBy([&](void* data, std::size_t size, unsigned) -> ssize_t {
            asked.push_back(size);
            if (asked.size() == 2) {
                errno = EINTR;
                return -1;
            }
            const auto given = std::min<std::size_t>(size, 6);
            std::memset(data, static_cast<int>(asked.size()), given);
            return static_cast<ssize_t>(given);
        });

    EXPECT_EQ(system->randomUuid(), "01010101-0101-4303-8303-030304040404");
    EXPECT_EQ(asked, (std::vector<std::size_t>{16, 10, 10, 4}));
}

TEST_F(SystemIdentity, randomUuidThrowsWhenThereIsNoEntropy) {
    const auto drawing = c_calls::getrandom.replaceBy([](void*, std::size_t, unsigned) -> ssize_t {
        errno = ENOSYS;
        return -1;
    });

    try {
        system->randomUuid();
        FAIL() << "nothing thrown";
    } catch (const boost::uuids::entropy_error& e) {
        EXPECT_STREQ(e.what(), "getrandom");
    }
}
