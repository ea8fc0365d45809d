#pragma once

#include "e2e/process-world.h"
#include "support/lines.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// A home whose one meter tells the number of the poll as its power, so that each message says
/// which poll it is of.
class CountingHome : public ProcessWorld {
protected:
    CountingHome() {
        whenRequested([this](const house::Request& request) {
            if (request.path != LocalServer::rtuConfigPath)
                return;
            ++m_poll;
            bus->unit(7).input(10, {m_poll});
            m_whenPollBegins(m_poll);
        });
    }

    /// Starts the executable, whose pauses and waits pass at once, beside a service that has no
    /// message yet. @p launcher is as that of `ReaderProcess`; @p preloaded comes ahead of what
    /// shortens the pauses.
    void start(const std::vector<std::string>& launcher = {}, const std::string& preloaded = "",
               const std::vector<std::string>& environment = {}) {
        closeService();
        openService();
        m_poll = 0;
        std::vector<std::string> all = environment;
        all.push_back("LD_PRELOAD=" + preloaded + SHORT_RUN_LIBRARY ":" SHORT_PAUSES_LIBRARY);
        all.emplace_back("ASAN_OPTIONS=verify_asan_link_order=0");
        ProcessWorld::start(all, {}, launcher);
    }

    /// A launcher that runs @p commands of the shell, the last of which is the executable.
    static std::vector<std::string> shell(const std::string& commands) {
        return {"/bin/sh", "-c", commands};
    }

    /// The message of a good poll.
    static std::string messageOf(int poll) {
        return R"({"id":"S-1","slaveAddress":7,"meteringType":"modbus","lastChanged":"<time>",)"
               R"("powerConsumed":)" +
               std::to_string(poll) + R"(.0,"energyConsumed":3600000.0})";
    }

    /// All messages so far, without their moments.
    std::vector<std::string> messagesSoFar() const {
        std::vector<std::string> texts = service->texts();
        std::transform(texts.begin(), texts.end(), texts.begin(), withoutTime);
        return texts;
    }

    /// Waits for the message @p text. False if it doesn't come.
    bool waitForMessage(const std::string& text) const {
        for (;;) {
            const std::vector<std::string> texts = messagesSoFar();
            if (std::find(texts.begin(), texts.end(), text) != texts.end())
                return true;
            if (!service->waitForMessages(texts.size() + 1))
                return false;
        }
    }

    /// Calls @p callback at the beginning of each poll from now on, on the server's thread.
    void atEachPoll(std::function<void(int poll)> callback) {
        m_whenPollBegins = std::move(callback);
    }

    /// Number of the poll that began last.
    int poll() const { return m_poll; }

private:
    std::atomic<std::uint16_t> m_poll = 0;
    std::function<void(int poll)> m_whenPollBegins = [](int) {};
};

/// What an error of a request begins with, up to the request's own name.
inline const std::string failedRequest =
    "error HttpClient Request failed: GET http://127.0.0.1:8088/api/v1/apartment/meterings/modbus/";
inline const std::string noAnswer =
    "warning modbusSerial Error requesting from server code:-1 result: toolkit.cpp:<line>";
