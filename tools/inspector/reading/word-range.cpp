#include "inspector/reading/word-range.h"

#include "inspector/budget/bus-timing.h"
#include "inspector/reading/targets.h"

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

class RangeReader {
public:
    RangeReader(Bus& bus, const WordRange& range, bool isInput, const std::atomic<bool>& stop)
        : m_bus(bus), m_slaveAddress(range.slaveAddress), m_isInput(isInput), m_stop(stop) {
        for (int address = range.first; address <= range.last; address += MODBUS_MAX_READ_REGISTERS)
            readBlock(address, std::min(range.last - address + 1, MODBUS_MAX_READ_REGISTERS));
    }

    WordSpaces::Blocks blocks;
    /// Why the meter was asked no further; empty if it answered each time.
    std::string failure;

private:
    void readBlock(int address, int count) {
        if (m_stop || !failure.empty())
            return;
        Answer answer = m_bus.read(m_slaveAddress, m_isInput, address, count);
        if (answer.isGood()) {
            append(address, std::move(answer.words));
            return;
        }
        m_bus.forgetLateAnswers();
        if (m_stop)
            return;
        if (!answer.isRefusal()) {
            failure = "Meter " + std::to_string(m_slaveAddress) + ", " +
                      (m_isInput ? "input" : "holding") + " register " + std::to_string(address) +
                      ": " + answer.failure();
        } else if (count > 1) {
            readBlock(address, count / 2);
            readBlock(address + count / 2, count - count / 2);
        }
    }

    void append(int address, std::vector<std::uint16_t> words) {
        if (!blocks.empty()) {
            auto& [lastAddress, lastWords] = *std::prev(blocks.end());
            if (lastAddress + static_cast<int>(lastWords.size()) == address) {
                lastWords.insert(lastWords.end(), words.begin(), words.end());
                return;
            }
        }
        blocks[address] = std::move(words);
    }

    Bus& m_bus;
    int m_slaveAddress;
    bool m_isInput;
    const std::atomic<bool>& m_stop;
};

} // namespace

int requestsOf(const WordRange& range) {
    constexpr int spaces = 2;
    const int words = range.last - range.first + 1;
    return spaces * ((words + MODBUS_MAX_READ_REGISTERS - 1) / MODBUS_MAX_READ_REGISTERS);
}

double secondsOf(const WordRange& range, const LineParameters& line) {
    Installation installation;
    installation.serial.emplace().value = parametersOf(line);
    const int words = std::min(range.last - range.first + 1, MODBUS_MAX_READ_REGISTERS);
    return requestsOf(range) * BusTiming(installation).exchange(words);
}

WordSpaces readWords(Bus& bus, const WordRange& range, const std::atomic<bool>& stop,
                     const std::function<void(const std::string&)>& tell) {
    RangeReader holding(bus, range, false, stop);
    RangeReader input(bus, range, true, stop);
    if (stop)
        throw ReadingError("Ended ahead of time");
    if (!holding.failure.empty() && !input.failure.empty())
        throw ReadingError(holding.failure);
    for (const std::string* failure : {&holding.failure, &input.failure})
        if (!failure->empty())
            tell(*failure);
    return {std::move(holding.blocks), std::move(input.blocks)};
}

} // namespace inspector
