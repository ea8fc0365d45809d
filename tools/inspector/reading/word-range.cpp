#include "inspector/reading/word-range.h"

#include "inspector/budget/bus-timing.h"
#include "inspector/reading/targets.h"

#include <algorithm>
#include <utility>

namespace inspector {
namespace {

class RangeReader {
public:
    RangeReader(Bus& bus, int slaveAddress, bool isInput, const std::atomic<bool>& stop)
        : m_bus(bus), m_slaveAddress(slaveAddress), m_isInput(isInput), m_stop(stop) {}

    void read(int first, int last) {
        for (int address = first; address <= last && !m_stop; address += MODBUS_MAX_READ_REGISTERS)
            readBlock(address, std::min(last - address + 1, MODBUS_MAX_READ_REGISTERS));
    }

    WordSpaces::Blocks blocks;

private:
    void readBlock(int address, int count) {
        if (m_stop)
            return;
        Answer answer = m_bus.read(m_slaveAddress, m_isInput, address, count);
        if (answer.isGood()) {
            append(address, std::move(answer.words));
            return;
        }
        m_bus.forgetLateAnswers();
        if (m_stop)
            return;
        if (!answer.isRefusal())
            fail(address, answer);
        if (count > 1) {
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

    [[noreturn]] void fail(int address, const Answer& answer) const {
        throw ReadingError("Meter " + std::to_string(m_slaveAddress) + ", " +
                           (m_isInput ? "input" : "holding") + " register " +
                           std::to_string(address) + ": " + answer.failure());
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

WordSpaces readWords(Bus& bus, const WordRange& range, const std::atomic<bool>& stop) {
    const auto blocksOf = [&](bool isInput) {
        RangeReader reader(bus, range.slaveAddress, isInput, stop);
        reader.read(range.first, range.last);
        return std::move(reader.blocks);
    };
    WordSpaces spaces;
    spaces.holding = blocksOf(false);
    spaces.input = blocksOf(true);
    if (stop)
        throw ReadingError("Ended ahead of time");
    return spaces;
}

} // namespace inspector
