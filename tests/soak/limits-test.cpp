// That large polls take no more than operations.md says, and the largest that a home can have stay
// within what the service grants the executable. Its pauses are shortened, and its log is that of
// the package.

#include "e2e/reader-process.h"
#include "support/lines.h"
#include "support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <stdexcept>

using testing::AllOf;
using testing::Gt;
using testing::IsEmpty;
using testing::Lt;

namespace {

constexpr int addresses = 247;

/// The number behind @p label, which begins a line of @p file.
long numberBehind(const std::string& label, const std::string& file) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(label))
            return std::stol(line.substr(label.size()));
    throw std::runtime_error("No \"" + label + "\" in " + file);
}

std::string joined(int count, const std::function<std::string(int)>& element) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += (i == 0 ? "" : ",") + element(i);
    return text;
}

std::string meter(int number) {
    return R"({"configId":"c1","serial":"S-)" + std::to_string(number) + R"(","slaveAddress":)" +
           std::to_string(number % addresses + 1) + "}";
}

std::string powerRegister(int number) {
    return R"({"address":)" + std::to_string(number) +
           R"(,"fieldType":"powerImport","modbusDataType":"uint16","length":1})";
}

/// Meters of one model, whose serials stand in the list.
Replies homeOf(int meters, int registers) {
    return {oneMeter.rtuConfig, R"({"data":[)" + joined(meters, meter) + "]}",
            R"({"data":[{"id":"c1","registers":[)"
            R"({"fieldType":"serial","modbusDataType":"ascii","length":2},)" +
                joined(registers, powerRegister) + "]}]}"};
}

/// The list of the meter at the unit 7 beside a text that nobody asked for.
std::string withTextOf(std::size_t size) {
    return R"({"more":")" + std::string(size, 'x') + R"(","data":[)" + meter(6) + "]}";
}

const std::string unitFile = SOURCE_DIRECTORY "/packaging/modbus-reader.service";

class Limits : public World {
protected:
    Limits() {
        for (int unit = 1; unit <= addresses; ++unit)
            bus->unit(unit).holding(0, house::Words(10, 1500));
    }

    /// Lets the executable poll, until its poll @p polls begins to read meters.
    void poll(std::size_t polls) {
        const std::string descriptors = std::to_string(numberBehind("LimitNOFILE=", unitFile));
        m_reader = std::make_unique<ReaderProcess>(
            std::vector<std::string>{"LD_PRELOAD=" SHORT_PAUSES_LIBRARY,
                                     "VX_LOG=W,modbusreaderSocketWriter:N"},
            std::vector<std::string>{},
            std::vector<std::string>{"/bin/sh", "-c",
                                     "ulimit -n " + descriptors + R"(; exec "$0")"});
        for (std::size_t i = 1; i <= polls; ++i)
            ASSERT_TRUE(server->waitForRequests(LocalServer::supportedPath, i)) << i;
    }

    /// Lets it poll and deliver the one meter of the list @p attached.
    void pollOneMeter(const std::string& attached) {
        serve(oneMeter);
        serveAttached(attached);
        bus->unit(7).input(10, {1500}).holding(20, {0, 2});
        poll(4);
        EXPECT_TRUE(service->waitForMessages(2));
    }

    /// Compares the most memory that the executable has had.
    void expectPeakBelow(long megabytes) const {
        const long peak =
            numberBehind("VmHWM:", "/proc/" + std::to_string(m_reader->pid()) + "/status") / 1024;
        // The least that it has without any meter. A smaller figure is that of something else.
        constexpr long least = 5;
        EXPECT_THAT(peak, AllOf(Gt(least), Lt(megabytes)));
    }

    void expectMemoryOfService() const { expectPeakBelow(numberBehind("MemoryMax=", unitFile)); }

    std::unique_ptr<ReaderProcess> m_reader;
};

} // namespace

TEST_F(Limits, aThousandMetersOfTenRegistersStayWithinTheMemoryOfTheService) {
    serve(homeOf(1000, 10));

    poll(3);

    expectMemoryOfService();
    EXPECT_GE(bus->requestCount(), 20000U);
}

TEST_F(Limits, aReplyOfTenMegabytesStaysWithinTheMemoryOfTheService) {
    pollOneMeter(withTextOf(10'000'000));

    expectMemoryOfService();
}

TEST_F(Limits, aReplyOf100MegabytesTakesLessThan350) {
    pollOneMeter(withTextOf(100'000'000));

    expectPeakBelow(350);
}

TEST_F(Limits, ninetyThousandNullsAmongTheAttachedMetersTakeLessThan60Megabytes) {
    const std::string nulls = joined(90000, [](int) { return "null"; });

    pollOneMeter(R"({"data":[)" + nulls + "," + meter(6) + "]}");

    expectPeakBelow(60);
}

// The connections of a poll are open until the next one ends.
TEST_F(Limits, asManyMetersAsHalfTheDescriptorsDeliverInEveryPoll) {
    constexpr std::size_t meters = 500;
    constexpr std::size_t polls = 5;
    serve(homeOf(meters, 0));

    poll(polls + 2);

    EXPECT_TRUE(service->waitForMessages(polls * meters));
    EXPECT_THAT(linesWith(m_reader->rawLog(), "Too many open files"), IsEmpty());
}
