#include "inspector/reading/scan.h"

#include <optional>

namespace inspector {
namespace {

constexpr std::size_t spaces = 2;

/// Asks again as long as there is only an answer to an earlier question.
Answer ask(Bus& bus, int slaveAddress, bool isInput) {
    constexpr int tries = 3;
    Answer answer;
    for (int i = 0; i < tries; ++i) {
        answer = bus.read(slaveAddress, isInput, 0, 1);
        bus.forgetLateAnswers();
        if (answer.isWithoutConnection())
            bus.reconnect();
        else if (!answer.isToAnotherQuestion())
            return answer;
    }
    if (answer.isWithoutConnection())
        throw BusError("Each request loses the connection: " + answer.failure());
    return answer;
}

/// Nothing for an address that is silent, or that isn't asked any more.
std::optional<Found> lookAt(Bus& bus, int address, const LineParameters& line,
                            const std::atomic<bool>& stop) {
    std::optional<Found> garbled;
    for (const bool isInput : {true, false}) {
        if (stop)
            return std::nullopt;
        const Answer answer = ask(bus, address, isInput);
        if (answer.isFromMeter())
            return Found{address, line, answer.isGood() ? "answers" : answer.failure()};
        if (answer.isToAnotherQuestion())
            garbled = Found{address, line, answer.failure(), true};
    }
    return garbled;
}

} // namespace

std::size_t ScanPlan::questions() const {
    return static_cast<std::size_t>(lastAddress - firstAddress + 1) * lines.size();
}

std::chrono::duration<double> ScanPlan::longest() const {
    return static_cast<double>(questions() * spaces) * std::chrono::duration<double>(timeOut);
}

void scan(Bus& bus, const ScanPlan& plan, const std::atomic<bool>& stop, std::vector<Found>& all,
          const std::function<void(std::size_t, const Found*)>& progress) {
    std::size_t done = 0;
    for (const LineParameters& line : plan.lines) {
        if (plan.lines.size() > 1)
            bus.setLine(line);
        for (int address = plan.firstAddress; address <= plan.lastAddress; ++address) {
            const std::optional<Found> found = lookAt(bus, address, line, stop);
            if (!found && stop)
                return;
            if (found)
                all.push_back(*found);
            progress(++done, found ? &*found : nullptr);
        }
    }
}

} // namespace inspector
