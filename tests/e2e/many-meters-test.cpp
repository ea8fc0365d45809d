// What becomes of the readings of a home with more meters than a metering service, or the reader
// itself, has connections for. All are offered at the end of a poll, each on a connection of its
// own.

#include "e2e/process-world.h"
#include "support/lines.h"
#include "support/sanitizers.h"

#include "house/descriptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

using testing::AllOf;
using testing::Each;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr const char* meteringSocket = "/var/run/orv-metering.sock";

/// A metering service that takes no connection while a poll runs, as one does that reads each
/// message to its end before it takes the next. The kernel keeps @p queue connections for it, and
/// one more.
class BusyService {
public:
    explicit BusyService(int queue)
        : m_listener(house::require(
              ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket")) {
        sockaddr_un address{AF_UNIX, {}};
        std::string_view(meteringSocket).copy(address.sun_path, sizeof address.sun_path - 1);
        house::require(::bind(m_listener.number(), reinterpret_cast<const sockaddr*>(&address),
                              sizeof address),
                       "bind");
        house::require(::listen(m_listener.number(), queue), "listen");
    }

    /// Takes all connections that wait, and gives the message of each.
    std::vector<std::string> takeMessages() const {
        std::vector<std::string> messages;
        for (;;) {
            const house::Descriptor connection(::accept(m_listener.number(), nullptr, nullptr));
            if (connection.number() < 0)
                return messages;
            std::array<char, 4096> text{};
            const ssize_t size = ::recv(connection.number(), text.data(), text.size(), 0);
            messages.emplace_back(text.data(),
                                  static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
    }

private:
    house::Descriptor m_listener;
};

class ManyMeters : public ProcessWorld {
protected:
    /// Meters of which nothing is read on the bus.
    void serveMeters(int count) {
        std::string meters;
        for (int address = 1; address <= count; ++address)
            meters += std::string(address == 1 ? "" : ",") +
                      R"({"configId":"c","serial":"M","slaveAddress":)" + std::to_string(address) +
                      "}";
        serveAttached(R"({"data":[)" + meters + "]}");
        serveSupported(R"({"data":[{"id":"c","registers":[{"address":1,"fieldType":"serial",)"
                       R"("modbusDataType":"ascii","length":1}]}]})");
    }

    /// What the next poll came to. A later one than the first begins with the line of its tick.
    std::string nextPoll() {
        const std::vector<std::string> lines = logUntil("retry timer", m_isFirst ? 1 : 2);
        m_isFirst = false;
        const auto count = [&lines](std::string_view text) {
            return std::to_string(linesWith(lines, text).size());
        };
        return count("Writing ") + " written, " + count("Too many open files") +
               " without a descriptor, " + count("Request failed") + " failed requests\n";
    }

private:
    bool m_isFirst = true;
};

} // namespace

TEST_F(ManyMeters, aServiceThatIsBusyDuringThePollGetsNoMoreMessagesThanItsQueueHolds) {
    serveMeters(40);
    closeService();
    const BusyService busy(32);
    start();
    waitForLog("====", 40);
    waitForLog("TRANSFERRED", 33);

    EXPECT_THAT(busy.takeMessages(),
                AllOf(SizeIs(33), Each(StartsWith(R"({"id":"M","slaveAddress":)"))));
    EXPECT_THAT(
        complaints(),
        AllOf(
            SizeIs(7),
            Each("warning modbusreaderSocketWriter Could not connect ec:No buffer space available "
                 "self->m_endpoint.path():/var/run/orv-metering.sock socket-writer.cpp:<line>")));
}

// The connections of a poll are closed after the next one, which so finds none left for its
// requests. A first poll is followed by a pause, in which they are. Not with a sanitizer, which
// needs descriptors of its own to look at an object.
#ifndef READER_ADDRESS_SANITIZER
TEST_F(ManyMeters, beyondTheDescriptorsMessagesAreLostAndThenEverySecondPoll) {
    serveMeters(100);
    start({"LD_PRELOAD=" SHORT_PAUSES_LIBRARY}, {},
          {"/bin/sh", "-c", R"(ulimit -n 64; exec "$0")"});

    std::string account;
    for (int poll = 1; poll <= 5; ++poll)
        account += nextPoll();
    end();

    EXPECT_EQ(account, "57 written, 43 without a descriptor, 0 failed requests\n"
                       "57 written, 43 without a descriptor, 0 failed requests\n"
                       "0 written, 0 without a descriptor, 3 failed requests\n"
                       "57 written, 43 without a descriptor, 0 failed requests\n"
                       "0 written, 0 without a descriptor, 3 failed requests\n");
}
#endif
