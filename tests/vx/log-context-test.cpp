#include "vx/log-context.h"

#include "standard-error-pieces.h"
#include "support/log-capture.h"
#include "vx/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <type_traits>

namespace {

vx::LogChannel channel("logContextTest", vx::LogSeverity::notice);

std::string chain() {
    return vx::str(vx::logContext());
}

class FixedContext : public vx::LogContext {
public:
    explicit FixedContext(std::string text) : m_text(std::move(text)) {}
    void print(std::ostream& stream) const override { stream << m_text; }

private:
    std::string m_text;
};

} // namespace

TEST(LogContext, thereIsNoneAtThreadStart) {
    const int outer = 1;
    VX_LOG_CONTEXT(outer);
    const vx::LogContext* ofOtherThread = vx::logContext();

    std::thread([&] { ofOtherThread = vx::logContext(); }).join();

    EXPECT_EQ(ofOtherThread, nullptr);
    EXPECT_NE(vx::logContext(), nullptr);
}

TEST(LogContext, scopeOpensAndClosesTheInnermostContext) {
    EXPECT_EQ(vx::logContext(), nullptr);
    {
        const FixedContext outer("outer ");
        EXPECT_EQ(vx::logContext(), &outer);
        EXPECT_EQ(outer.prev, nullptr);
        {
            const FixedContext inner("inner ");
            EXPECT_EQ(vx::logContext(), &inner);
            EXPECT_EQ(inner.prev, &outer);
        }
        EXPECT_EQ(vx::logContext(), &outer);
    }
    EXPECT_EQ(vx::logContext(), nullptr);
}

TEST(LogContext, chainIsWrittenInnermostFirst) {
    const FixedContext outer("outer ");
    const FixedContext middle("middle ");
    const FixedContext inner("inner ");

    EXPECT_EQ(chain(), "inner middle outer ");
    EXPECT_EQ(vx::str(inner.prev), "middle outer ");
}

TEST(LogContext, nullPointerWritesNothing) {
    EXPECT_EQ(vx::str(static_cast<vx::LogContext*>(nullptr)), "");
}

TEST(LogContext, writesEachValueWithItsSourceTextAsKey) {
    const std::string name = "7";
    const int address = 3;
    VX_LOG_CONTEXT(name.size(), address);

    EXPECT_EQ(chain(), "name.size():1 address:3 ");
}

TEST(LogContext, itemsAreEvaluatedFromLeftToRight) {
    int number = 0;
    const auto next = [&] { return ++number; };
    VX_LOG_CONTEXT(next(), next(), next());

    EXPECT_EQ(chain(), "next():1 next():2 next():3 ");
}

TEST(LogContext, seesTheCallersNames) {
    const std::string stream = "a";
    const std::string items = "b";
    const std::string context = "c";
    const std::string function = "d";
    const std::string item = "e";
    const std::string key = "f";
    const std::string value = "g";
    VX_LOG_CONTEXT(stream, items, context, function, item, key, value);

    EXPECT_EQ(chain(), "stream:a items:b context:c function:d item:e key:f value:g ");
}

TEST(LogContext, valuesAreThoseOfTheMomentOfTheMessage) {
    int step = 1;
    VX_LOG_CONTEXT(step);

    step = 2;

    EXPECT_EQ(chain(), "step:2 ");
}

TEST(LogContext, formatsNothingUnlessAMessageIsBuilt) {
    const LogCapture log;
    int formatted = 0;
    VX_LOG_CONTEXT(++formatted);

    VX_LOG(channel, debug, "Suppressed");

    EXPECT_EQ(formatted, 0);
}

TEST(LogContext, standsInALogMessageAheadOfThePosition) {
    LogCapture log;
    const int slaveAddress = 3;
    VX_LOG_CONTEXT(slaveAddress);

    VX_LOG(channel, notice, "Read");

    EXPECT_EQ(log.take().at(0),
              "notice logContextTest Read slaveAddress:3 tests/vx/log-context-test.cpp:<line>");
}

TEST(LogContext, holdsOneCallableAndNothingElse) {
    const auto write = [](std::ostream&) {};
    using Callable = std::function<void(std::ostream&)>;

    EXPECT_EQ(sizeof(vx::detail::LogContextImpl<Callable>),
              sizeof(vx::LogContext) + sizeof(Callable));
    static_assert(std::is_nothrow_destructible_v<vx::LogContext>);
    static_assert(!std::is_copy_constructible_v<vx::detail::LogContextImpl<decltype(write)>>);
    static_assert(!std::is_move_constructible_v<vx::detail::LogContextImpl<decltype(write)>>);
}

TEST(LogContext, destructionOutOfOrderFailsItsAssertion) {
    const auto pieces = piecesOfAbort([] {
        auto outer = std::make_unique<FixedContext>("outer ");
        const auto inner = std::make_unique<FixedContext>("inner ");
        outer.reset();
    });

    const std::string text = withoutLineNumbers(joined(pieces));
    EXPECT_THAT(text, testing::StartsWith("Assertion failed.  condition:t_logContext == this "
                                          "src/vx/log-context.cpp:<line> inner  "));
    EXPECT_THAT(text, testing::HasSubstr("vx::LogContext::~LogContext()::"));
    EXPECT_THAT(text, testing::HasSubstr("\nDecoded stacktrace:\n  "));
}

TEST(LogContext, destructionOutOfOrderLeavesTheOthersInTheChain) {
    const auto pieces = piecesOfAbort([] {
        const FixedContext first("first ");
        auto second = std::make_unique<FixedContext>("second ");
        const FixedContext third("third ");
        const FixedContext fourth("fourth ");
        second.reset();
    });

    EXPECT_THAT(withoutLineNumbers(joined(pieces)),
                testing::HasSubstr("src/vx/log-context.cpp:<line> fourth third first  "));
}

TEST(LogContext, destructionOnAnotherThreadFailsItsAssertion) {
    const auto pieces = piecesOfAbort([] {
        auto context = std::make_unique<FixedContext>("outer ");
        std::thread([&] { context.reset(); }).join();
    });

    EXPECT_NE(joined(pieces).find("condition:t_logContext == this "), std::string::npos);
}
