// Measures the pieces of a poll by Google Benchmark, with the number of their allocations.
// Usage: pieces [--benchmark_filter=PIECE] ...

#include "measured-home.h"

#include "metering/readings.h"
#include "modbus/register-words.h"
#include "modbus/server-replies.h"
#include "model/modbus.h"
#include "support/allocations.h"
#include "vx/date-time.h"
#include "vx/log.h"
#include "vx/record.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

using benchmark::State;
using orv::metering::readings::ModbusMeteringSystem;

vx::LogChannel channel("bench", vx::LogSeverity::notice);

template <class Piece>
void measure(State& state, const Piece& piece) {
    const std::size_t first = allocations();
    for (auto _ : state)
        piece();
    state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocations() - first),
                                                       benchmark::Counter::kAvgIterations);
}

/// A moment with all of its milliseconds.
vx::DateTime moment() {
    return vx::DateTime(std::chrono::milliseconds(1763600000123));
}

/// As a meter of ten registers gives it.
ModbusMeteringSystem reading() {
    ModbusMeteringSystem reading;
    reading.id = orv::metering::readings::MeterId("40000123");
    reading.slaveAddress = 1;
    reading.meteringType = "modbus";
    reading.lastChanged = moment();
    reading.tariffEnabled = true;
    reading.powerConsumed = 230.25;
    reading.energyConsumed = 18000004096.0;
    reading.energyProduced = 6121224192.0;
    reading.t1EnergyConsumed = 941400000.0;
    reading.t1EnergyProduced = 18000005120.0;
    reading.t2EnergyConsumed = 6124896256.0;
    reading.t2EnergyProduced = 10440000.0;
    return reading;
}

void logLineOfThreeItems(State& state) {
    const int slaveAddress = 3;
    const std::string name = "Meter 1";
    measure(state, [&] { VX_LOG(channel, notice, "Reading meter", slaveAddress, name); });
}

void suppressedLogLine(State& state) {
    const int slaveAddress = 3;
    const std::string name = "Meter 1";
    measure(state, [&] {
        benchmark::ClobberMemory();
        VX_LOG(channel, debug, "Reading meter", slaveAddress, name);
    });
}

void message(State& state) {
    const ModbusMeteringSystem record = reading();
    measure(state, [&] { benchmark::DoNotOptimize(vx::toJson(vx::toJsonFragment(record))); });
}

void recordAsLogText(State& state) {
    const ModbusMeteringSystem record = reading();
    measure(state, [&] { benchmark::DoNotOptimize(vx::str("", record)); });
}

/// Of a register of two words.
void textOfTheWords(State& state) {
    const orv::modbusreader::RegisterBuffer buffer{17254, 16384};
    measure(state, [&] { benchmark::DoNotOptimize(orv::modbusreader::wordsText(buffer, 2)); });
}

void localMomentText(State& state) {
    measure(state, [] { benchmark::DoNotOptimize(vx::toLocalMsIsoString(moment())); });
}

void utcMomentText(State& state) {
    measure(state, [] { benchmark::DoNotOptimize(vx::toString(moment())); });
}

void nameText(State& state) {
    measure(state, [] {
        benchmark::DoNotOptimize(
            vx::fromEnum<std::string>(vxModel::ModbusFieldType::energyExportTariff6));
    });
}

template <class Reply>
void parse(State& state, const std::string& reply) {
    measure(state, [&] { benchmark::DoNotOptimize(vx::fromJson<Reply>(reply.c_str())); });
}

/// Of one meter.
void attachedReply(State& state) {
    parse<orv::modbusreader::AttachedMetersReply>(state, MeasuredHome(1, 10).attached());
}

/// Of four models with eleven registers each.
void supportedReply(State& state) {
    parse<orv::modbusreader::MeterConfigReply>(state, MeasuredHome(1, 10).supported());
}

} // namespace

BENCHMARK(logLineOfThreeItems);
BENCHMARK(suppressedLogLine);
BENCHMARK(message);
BENCHMARK(recordAsLogText);
BENCHMARK(textOfTheWords);
BENCHMARK(localMomentText);
BENCHMARK(utcMomentText);
BENCHMARK(nameText);
BENCHMARK(attachedReply);
BENCHMARK(supportedReply);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    // The log lines are made and written, but take none of a terminal's time.
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || ::dup2(nowhere, STDERR_FILENO) < 0)
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
