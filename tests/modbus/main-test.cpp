#include "modbus/main.h"

#include "house/patience.h"
#include "modbus/reader-world.h"
#include "support/log-capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

using boost::system::error_code;
using orv::modbusreader::pollOnTick;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

namespace {

class Fuf : public ReaderWorld {
protected:
    /// A timer whose wait can be cancelled.
    class CancellableFuf : public orv::modbusreader::Fuf {
    public:
        using Fuf::Fuf;
        using Fuf::m_timer;
    };

    boost::asio::io_context& ioContext = reader.ioContext;
};

class PollOnTick : public ReaderWorld {};

} // namespace

TEST_F(Fuf, theFirstExpiryIsTwoIntervalsAfterConstruction) {
    const auto constructed = steady_clock::now();
    CancellableFuf fuf(ioContext, seconds(1), [](const error_code&) {});
    const auto one = fuf.m_timer.expiry();

    fuf.start();

    EXPECT_GE(one, constructed + seconds(1));
    EXPECT_EQ(fuf.m_timer.expiry(), one + seconds(1));
}

TEST_F(Fuf, constructionStartsNothing) {
    const CancellableFuf fuf(ioContext, seconds(0),
                             [](const error_code&) { FAIL() << "A tick came"; });

    EXPECT_EQ(ioContext.run(), 0);
    EXPECT_THAT(log(), ElementsAre());
}

TEST_F(Fuf, logsTheExpiryInSecondsAndTheErrorBeforeTheCallback) {
    // The world's log leaves the expiry out.
    LogCapture capture;
    bool ticked = false;
    CancellableFuf fuf(ioContext, seconds(1), [&](const error_code&) {
        ticked = true;
        EXPECT_THAT(capture.take(), ElementsAre("notice modbusreaderMain retry timer "
                                                "m_timer.expiry():2.5 error_code:Success "
                                                "main.cpp:<line>"));
        // The line and the callback come before the next expiry.
        EXPECT_EQ(fuf.m_timer.expiry(), steady_clock::time_point(milliseconds(2500)));
    });
    // Long past: the clock counts from the start of the machine.
    fuf.m_timer.expires_at(steady_clock::time_point(milliseconds(1500)));

    fuf.start();
    ioContext.run_one();

    EXPECT_TRUE(ticked);
    EXPECT_EQ(fuf.m_timer.expiry(), steady_clock::time_point(milliseconds(3500)));
}

TEST_F(Fuf, aTickWithAnErrorStillCallsBackAndRearms) {
    std::vector<error_code> ticks;
    CancellableFuf fuf(ioContext, seconds(1000),
                       [&](const error_code& ec) { ticks.push_back(ec); });
    fuf.start();
    const auto first = fuf.m_timer.expiry();

    fuf.m_timer.cancel();
    ioContext.run_one();
    EXPECT_EQ(fuf.m_timer.expiry(), first + seconds(1000));
    fuf.m_timer.cancel();
    ioContext.run_one();

    EXPECT_THAT(ticks, ElementsAre(boost::asio::error::operation_aborted,
                                   boost::asio::error::operation_aborted));
    const std::string line = "notice modbusreaderMain retry timer m_timer.expiry():<seconds> "
                             "error_code:Operation canceled main.cpp:<line>";
    EXPECT_THAT(log(), ElementsAre(line, line));
}

TEST_F(Fuf, expiriesAdvanceFromThePreviousOneSoLateTicksFollowAtOnce) {
    int ticks = 0;
    CancellableFuf fuf(ioContext, seconds(1), [&](const error_code&) { ++ticks; });
    fuf.start();
    // As after a poll of ten seconds: ten expiries have passed meanwhile.
    const auto longAgo = steady_clock::now() - seconds(10);
    fuf.m_timer.expires_at(longAgo);
    const auto begin = steady_clock::now();

    while (ticks < 10)
        ioContext.run_one();

    EXPECT_LT(steady_clock::now() - begin, house::Patience::limit(seconds(1)));
    EXPECT_EQ(fuf.m_timer.expiry(), longAgo + seconds(10));
}

TEST_F(Fuf, anEmptyCallbackThrowsOutOfTheLoop) {
    CancellableFuf fuf(ioContext, seconds(0), nullptr);
    fuf.start();

    EXPECT_THROW(ioContext.run(), std::bad_function_call);
}

TEST_F(PollOnTick, logsTheErrorAndPollsWhateverItIs) {
    serve({"{}", "{}", "{}"});
    const auto dozing = c_calls::sleep.replaceBy([](unsigned) { return 0U; });

    pollOnTick(reader.connection)(boost::asio::error::operation_aborted);

    EXPECT_EQ(log().front(),
              "notice modbusreaderMain callback ec:Operation canceled main.cpp:<line>");
    EXPECT_EQ(transcript(), R"(?? GET …/rtuconfig                200
?? GET …/attached                 200
?? GET …/config/supported         200
)");
    EXPECT_FALSE(reader.connection.m_busy);
}

TEST_F(PollOnTick, doesNothingButLogWhileAPollIsInProgress) {
    reader.connection.m_busy = true;

    pollOnTick(reader.connection)(error_code());

    EXPECT_THAT(log(), ElementsAre("notice modbusreaderMain callback ec:Success main.cpp:<line>"));
    EXPECT_EQ(transcript(), "");
}
