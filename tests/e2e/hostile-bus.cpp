#include "e2e/hostile-bus.h"

#include "vx/str.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

using house::Bytes;
using house::Query;

namespace {

const Replies twoRegistersEach = {
    R"({"data":{"serialDevice":"/dev/a","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})",
    R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
    R"({"configId":"c","serial":"S-8","slaveAddress":8}]})",
    R"({"data":[{"id":"c","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":1},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1},)"
    R"({"address":11,"fieldType":"energyImport","modbusDataType":"uint16","length":1}]}]})"};

/// The part of @p text between two others.
std::string between(const std::string& text, std::string_view first, std::string_view end) {
    const auto from = text.find(first) + first.size();
    return text.substr(from, text.find(end, from) - from);
}

/// A member of @p message; zero if it is left out.
long long memberOf(const std::string& message, const std::string& key) {
    const std::string head = '"' + key + "\":";
    const auto at = message.find(head);
    return at == std::string::npos ? 0 : std::stoll(message.substr(at + head.size()));
}

/// "S-7 710 W, 3 kWh".
std::string reading(const std::string& message) {
    constexpr long long joulesPerKilowattHour = 3600000;
    return between(message, R"("id":")", "\"") + " " +
           std::to_string(memberOf(message, "powerConsumed")) + " W, " +
           std::to_string(memberOf(message, "energyConsumed") / joulesPerKilowattHour) + " kWh";
}

} // namespace

const std::string HostileBus::goodPoll = "poll\n"
                                         "  S-7 710 W, 3 kWh\n"
                                         "  S-8 810 W, 4 kWh\n";
const std::string HostileBus::goodPollAnew = "poll\n"
                                             "  connects anew\n"
                                             "  S-7 710 W, 3 kWh\n"
                                             "  S-8 810 W, 4 kWh\n";

HostileBus::HostileBus() {
    serve(twoRegistersEach);
    putMetersOnTheBus();
    whenRequested([this](const house::Request& request) {
        if (request.path == LocalServer::rtuConfigPath)
            pollBegins(server->requestCount(request.path));
    });
}

void HostileBus::useSerialLine() {
    useLine();
    // One second for a silence instead of five.
    writeConfigFile(R"({"modbusMiscConfig":{"timeoutResponseSec":1}})");
    putMetersOnTheBus();
}

void HostileBus::inPoll(std::size_t poll, const std::function<void()>& action) {
    if (!m_actions.emplace(poll, action).second)
        throw std::logic_error(vx::str("Poll ", poll, " has an action already"));
}

void HostileBus::nameAnotherDevice() {
    serveRtuConfig(R"({"data":{"serialDevice":"/dev/b","baudRate":"baud19200","parity":"even",)"
                   R"("dataBits":"bits8","stopBits":"bits1"}})");
}

void HostileBus::sendBy(const Sender& sender, std::size_t poll) {
    inPoll(poll, [this, poll, sender] {
        EXPECT_TRUE(m_sent.waitFor(registersEach * m_meters * (poll - 1)));
        bus->sendBy(counted(sender));
    });
}

void HostileBus::sendFirstBy(const std::function<void(const Bytes& frame, const Send&)>& first) {
    const auto done = std::make_shared<bool>(false);
    sendBy(
        [=](const Query& /*query*/, const Bytes& frame, const Send& send) {
            if (*done)
                return send(frame);
            *done = true;
            first(frame, send);
        },
        2);
}

void HostileBus::asItShouldBe(const Query& /*query*/, const Bytes& frame, const Send& send) {
    send(frame);
}

void HostileBus::keepSilent(const Query& /*query*/, const Bytes& /*frame*/, const Send& /*send*/) {}

HostileBus::Sender HostileBus::firstAnswerIsMissing(int unit, int address) {
    const auto missed = std::make_shared<bool>(false);
    return [=](const Query& query, const Bytes& frame, const Send& send) {
        if (*missed || query.unit != unit || query.address != address)
            return send(frame);
        *missed = true;
    };
}

std::string HostileBus::pollsUpTo(std::size_t last) {
    start({"LD_PRELOAD=" SHORT_PAUSES_LIBRARY});
    waitForLog("TRANSFERRED", m_meters * last);
    const std::vector<std::string> delivered = messages();
    const std::vector<std::string> lines = log();
    end();

    std::vector<std::string> polls(1);
    for (const std::string& line : lines) {
        if (line.find("retry timer") != std::string::npos)
            polls.emplace_back("poll\n");
        if (line.find("doReconnect") != std::string::npos)
            polls.back() += "  connects anew\n";
        if (line.find("Could not read register") != std::string::npos)
            polls.back() += "  register " + between(line, "\"address\":", ",") + ": " +
                            between(line, "location ())):", " aRegister") + "\n";
    }
    std::string account;
    for (std::size_t poll = 2; poll <= last; ++poll) {
        account += polls.at(poll - 1);
        for (std::size_t meter = 0; meter < m_meters; ++meter)
            account += "  " + reading(delivered.at((poll - 1) * m_meters + meter)) + "\n";
    }
    return account;
}

std::string HostileBus::pollWithout10Of7(const std::string& reason) {
    return "poll\n  register 10: " + reason + "\n  S-7 700 W, 3 kWh\n  S-8 810 W, 4 kWh\n";
}

std::string HostileBus::pollOfOldValues(const std::string& reason) {
    std::string text = "poll\n";
    for (const char* address : {"10", "11", "10", "11"})
        text += std::string("  register ") + address + ": " + reason + "\n";
    return text + "  S-7 700 W, 1 kWh\n  S-8 800 W, 2 kWh\n";
}

void HostileBus::putMetersOnTheBus() {
    bus->sendBy(counted(asItShouldBe));
    holdValues();
}

void HostileBus::holdValues() {
    bus->unit(7).holding(10, m_later ? house::Words{710, 3} : house::Words{700, 1});
    bus->unit(8).holding(10, m_later ? house::Words{810, 4} : house::Words{800, 2});
}

void HostileBus::pollBegins(std::size_t poll) {
    const auto action = m_actions.find(poll);
    if (action != m_actions.end())
        action->second();
    m_later = poll > 1;
    holdValues();
}

HostileBus::Sender HostileBus::counted(const Sender& sender) {
    return [this, sender](const Query& query, const Bytes& frame, const Send& send) {
        sender(query, frame, send);
        m_sent.increase();
    };
}
