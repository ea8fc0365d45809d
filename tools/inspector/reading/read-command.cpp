#include "inspector/reading/read-command.h"

#include "inspector/reading/home-file.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/new-file.h"
#include "inspector/reading/reading-report.h"
#include "inspector/reading/targets.h"
#include "inspector/recording/recording-text.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace inspector {
namespace {

/// What the daemon would know; what it can't convert is a failure here.
Installation installationOf(Texts texts) {
    Installation installation;
    Findings findings;
    const auto read = [&](const DocumentKind& kind, std::optional<std::string>& text, auto& part,
                          auto reader) {
        if (!text)
            return;
        const Document document(kind, std::move(*text));
        findings.insert(findings.end(), document.findings().begin(), document.findings().end());
        part = reader(document, findings);
    };
    read(supportedKind(), texts.supported, installation.models, readModels);
    read(attachedKind(), texts.attached, installation.meters, readMeters);
    read(serialKind(), texts.serial, installation.serial, readSerial);
    read(configKind(), texts.config, installation.config, readConfig);
    for (const Finding& finding : findings)
        if (finding.name == "does-not-convert")
            refuse(finding);
    return installation;
}

/// Prints each reading as it comes, or all of them as one document.
class Output {
public:
    explicit Output(std::FILE* file, bool isJson) : m_file(file), m_terminal(file) {
        if (!isJson)
            return;
        m_json = std::make_unique<JsonOutput>(file);
        m_json->beginObject();
        m_json->key("readings");
        m_json->beginList();
    }
    void add(const MeterReading& reading) {
        if (m_json) {
            writeReading(*m_json, reading);
            return;
        }
        printReading(m_terminal, reading);
        std::fflush(m_file);
    }
    void finish() {
        if (!m_json)
            return;
        m_json->endList();
        m_json->endObject();
        m_json->finish();
    }

private:
    std::FILE* m_file;
    Terminal m_terminal;
    std::unique_ptr<JsonOutput> m_json = nullptr;
};

/// The bus and the patience of the options, or the daemon's.
BusOptions busOf(const ReadOptions& options, const Installation& installation) {
    BusOptions bus = options.bus;
    const bool isHere = !options.sources.server || isOwnServer(*options.sources.server);
    if (!bus.address.tcp && !bus.address.rtu)
        bus.address = busOf(installation, isHere);
    if (!bus.timeOut && installation.config && installation.config->value.timeoutResponseSec > 0)
        bus.timeOut = std::chrono::seconds(installation.config->value.timeoutResponseSec);
    return bus;
}

/// On standard error, where nothing of the readings goes.
void tell(const std::string& sentence) {
    std::fputs(("modbus-inspector: " + sentence + "\n").c_str(), stderr);
}

/// Gives the readings of a poll; fewer, and the last one in part, if it was ended.
std::vector<ReadMeter> readOnce(MeterPoll& poll, const std::vector<Target>& targets,
                                const std::function<void(const MeterReading&)>& show) {
    std::vector<ReadMeter> meters;
    for (const Target& target : targets) {
        if (isEnding())
            break;
        vxModel::ModbusMeter meter = target.meter;
        meter.serial = target.listedSerial;
        MeterReading reading = poll.read(meter.slaveAddress, target.model, target.listedSerial);
        show(reading);
        meters.push_back({std::move(meter), target.model, std::move(reading)});
    }
    return meters;
}

/// The home of the whole polls that were read, in a file if one is wanted.
class HomeFile {
public:
    HomeFile(const std::optional<std::string>& name, vxModel::SerialPortConfig line, BusName bus)
        : m_file(name), m_line(std::move(line)), m_bus(bus) {}

    void add(std::chrono::system_clock::time_point time, const std::vector<ReadMeter>& meters) {
        if (m_file.file() != nullptr && !isEnding() && m_hasRoom)
            m_hasRoom = m_text.add(recordedPoll(time, meters, m_line));
    }
    void finish() {
        if (m_file.file() == nullptr)
            return;
        if (!m_hasRoom)
            tell("The home has no room for all polls, and holds the first ones");
        if (m_text.isEmpty())
            return tell("No whole poll was read, so there is no home");
        std::fputs(m_text.home({"Read by modbus-inspector"}, m_bus).c_str(), m_file.file());
        m_file.keep();
    }

private:
    NewFile m_file;
    vxModel::SerialPortConfig m_line;
    BusName m_bus;
    RecordingText m_text;
    bool m_hasRoom = true;
};

} // namespace

int runRead(const ReadOptions& options) {
    const Installation installation = installationOf(readTexts(options.sources));
    const std::vector<Target> targets = targetsOf(installation, options.slave, options.model);
    const BusOptions bus = busOf(options, installation);
    endAtSignals();
    NewFile record(options.record);
    HomeFile home(options.home,
                  installation.serial ? installation.serial->value : parametersOf(bus.address.line),
                  bus.address.rtu ? rtuBus : tcpBus);
    BusSession session(bus);
    for (const std::string& refusal :
         refusalsOf(targets, installation, bus.address.tcp.has_value()))
        tell(refusal);
    Output output(stdout, options.json);
    std::optional<Output> recorded;
    if (record.file() != nullptr)
        recorded.emplace(record.file(), true);
    MeterPoll poll(session.bus(), isEnding());
    bool areGood = true;
    for (int i = 0; i < options.polls && !isEnding(); ++i) {
        const auto begin = std::chrono::system_clock::now();
        home.add(begin, readOnce(poll, targets, [&](const MeterReading& reading) {
                     areGood = areGood && reading.isGood();
                     output.add(reading);
                     if (recorded)
                         recorded->add(reading);
                 }));
    }
    output.finish();
    if (recorded)
        recorded->finish();
    record.keep();
    home.finish();
    return areGood && !isEnding() ? 0 : 1;
}

} // namespace inspector
