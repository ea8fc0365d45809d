#include "inspector/reading/read-command.h"

#include "inspector/reading/home-file.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/new-file.h"
#include "inspector/reading/reading-report.h"
#include "inspector/reading/targets.h"

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

struct Polls {
    /// Of the last poll.
    std::vector<ReadMeter> last = {};
    /// Whether each reading was good, and none was left out.
    bool areGood = true;
};

Polls readAll(Bus& bus, const std::vector<Target>& targets, int polls,
              const std::function<void(const MeterReading&)>& show) {
    MeterPoll poll(bus, isEnding());
    Polls result;
    for (int i = 0; i < polls && !isEnding(); ++i) {
        result.last.clear();
        for (const Target& target : targets) {
            if (isEnding())
                break;
            MeterReading reading =
                poll.read(target.meter.slaveAddress, target.model, target.listedSerial);
            show(reading);
            result.areGood = result.areGood && reading.isGood();
            result.last.push_back({target.meter, target.model, std::move(reading)});
        }
    }
    result.areGood = result.areGood && !isEnding();
    return result;
}

} // namespace

int runRead(const ReadOptions& options) {
    const Installation installation = installationOf(readTexts(options.sources));
    const std::vector<Target> targets = targetsOf(installation, options.slave, options.model);
    const BusOptions bus = busOf(options, installation);
    NewFile record(options.record);
    NewFile home(options.home);
    BusSession session(bus);
    Output output(stdout, options.json);
    std::optional<Output> recorded;
    if (record.file() != nullptr)
        recorded.emplace(record.file(), true);
    endAtSignals();
    const Polls polls =
        readAll(session.bus(), targets, options.polls, [&](const MeterReading& reading) {
            output.add(reading);
            if (recorded)
                recorded->add(reading);
        });
    output.finish();
    if (recorded)
        recorded->finish();
    record.keep();
    const auto line =
        installation.serial ? installation.serial->value : parametersOf(bus.address.line);
    if (home.file() != nullptr)
        std::fputs(homeOf(polls.last, line).c_str(), home.file());
    home.keep();
    return polls.areGood ? 0 : 1;
}

} // namespace inspector
