#pragma once

#include "inspector/log/line.h"
#include "inspector/recording/recorded-poll.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace inspector {

/// Makes polls of the lines of one run of the daemon, in their order.
class PollListener {
public:
    using Finish = std::function<void(const RecordedPoll& poll)>;

    explicit PollListener(Finish finish) : m_finish(std::move(finish)) {}

    void take(const Line& line);
    /// A line that belongs to the run but doesn't say so: the daemon writes it between two polls.
    void takeRule() { m_isOver = true; }
    /// No more lines come.
    void end();

    static bool beginsPoll(const Line& line);

    /// Whether the first poll found a daemon that carries nothing from earlier polls.
    bool isFromStart() const { return m_isFromStart; }
    /// How the bus was connected last, as the log tells it; empty if it doesn't.
    const std::string& connection() const { return m_connection; }
    /// Empty if the log doesn't tell it, or tells of both kinds.
    BusName bus() const { return m_hasChangedBus ? BusName() : m_bus; }

private:
    struct Register {
        int address = 0;
        int count = 0;
    };

    void takeSerial(std::string_view text);
    void takeReply(std::string_view text);
    void takeBus(std::string_view text);
    void beginPoll(const Line& line);
    void beginPollInMidst(const Line& line);
    void finishPoll();
    void judge();

    void takeFailedRequest(std::string_view rest);
    void takeMeter(std::string_view address);
    void takeRegister(std::string_view text);
    void dropRegister();
    void takeParameters(std::string_view text);
    void takeWords(std::string_view text);
    void takeFailure(std::string_view text);
    void takeReading(std::string_view text);
    void connected(BusName bus, std::string_view text);

    void addOutcome(const std::string& outcome);
    /// The unit that a read goes to, as the Modbus library keeps the last address that it took.
    std::optional<int> readUnit();

    Finish m_finish;
    std::optional<RecordedPoll> m_poll;
    bool m_isOver = false;
    bool m_isDamaged = false;
    bool m_isFromStart = false;
    bool m_isFirst = true;
    /// Of the outcomes.
    std::size_t m_size = 0;
    /// Answers that are no replies, since the list of attached meters was shown: the first and the
    /// last one.
    std::vector<ServerAnswer> m_failures;
    bool m_isTimeOut = false;

    BusName m_bus;
    bool m_hasChangedBus = false;
    std::string m_connection;
    std::optional<int> m_unit;
    int m_slaveAddress = 0;
    bool m_isInput = false;
    bool m_isSerial = false;
    /// The register whose outcome comes next.
    std::optional<Register> m_register;
};

} // namespace inspector
