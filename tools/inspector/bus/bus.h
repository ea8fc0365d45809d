#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <modbus/modbus.h>

namespace inspector {

/// How a serial line runs.
struct LineParameters {
    int baud = 9600;
    /// 'N', 'E' or 'O'.
    char parity = 'E';
    int stopBits = 1;
};

/// What to read from: one of the two.
struct BusAddress {
    /// "HOST:PORT".
    std::optional<std::string> tcp = std::nullopt;
    /// A serial device.
    std::optional<std::string> rtu = std::nullopt;
    LineParameters line = {};
};

/// The bus can't be opened; its text is for the user.
struct BusError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A reading fails that all else depends on; its text is for the user.
struct ReadingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What a request came to: words, or why there are none.
struct Answer {
    std::vector<std::uint16_t> words = {};
    /// Of errno; 0 for a good answer.
    int error = 0;
    /// From the request to its end.
    std::chrono::duration<double> time{};

    bool isGood() const { return error == 0; }
    /// In the field's words: "the meter does not know this address (exception 2)".
    std::string failure() const;
    /// The number that the meter, or the gateway to it, refused with.
    std::optional<int> exception() const;
    /// Whether the meter answered, be it that it refuses.
    bool isFromMeter() const;
    /// Whether something came that is no answer to this request, such as one that is late.
    bool isToAnotherQuestion() const;
    /// Whether the system could not send or receive, as the other side or the adapter is gone.
    bool isWithoutConnection() const;
    /// Whether the meter understood and gives no such words.
    bool isRefusal() const;
};

/// A Modbus master. Like the daemon's it neither flushes nor repeats anything by itself.
class Bus {
public:
    /// Throws `BusError`.
    Bus(const BusAddress& address, std::chrono::milliseconds timeOut);

    Answer read(int slaveAddress, bool isInput, int address, int words);
    /// Forgets what came too late for its request, for a tool that asks on.
    void forgetLateAnswers();
    /// Opens the line anew with other parameters. Throws `BusError`.
    void setLine(const LineParameters& line);
    /// Throws `BusError`.
    void reconnect();

private:
    struct Free {
        void operator()(modbus_t* context) const;
    };

    void open();

    BusAddress m_address;
    std::chrono::milliseconds m_timeOut;
    std::unique_ptr<modbus_t, Free> m_context;
};

/// "HOST:PORT" taken apart; nothing for any other text.
std::optional<std::pair<std::string, int>> hostAndPort(const std::string& text);

} // namespace inspector
