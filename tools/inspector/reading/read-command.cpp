#include "inspector/reading/read-command.h"

#include "inspector/reading/home-file.h"
#include "inspector/reading/interruption.h"
#include "inspector/reading/new-file.h"
#include "inspector/reading/reading-report.h"
#include "inspector/reading/targets.h"

#include <cstdio>
#include <memory>
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
        if (text)
            part = reader(Document(kind, std::move(*text)), findings);
    };
    read(supportedKind(), texts.supported, installation.models, readModels);
    read(attachedKind(), texts.attached, installation.meters, readMeters);
    read(serialKind(), texts.serial, installation.serial, readSerial);
    read(configKind(), texts.config, installation.config, readConfig);
    for (const Finding& finding : findings)
        if (finding.name == "does-not-convert")
            throw UnreadableInput(std::string(finding.document) + " " + finding.path + ": " +
                                  finding.message);
    return installation;
}

/// Prints each reading as it comes, or all of them as one document.
class Output {
public:
    explicit Output(std::FILE* file, bool isJson) : m_terminal(file) {
        if (!isJson)
            return;
        m_json = std::make_unique<JsonOutput>(file);
        m_json->beginObject();
        m_json->key("readings");
        m_json->beginList();
    }
    void add(const MeterReading& reading) {
        if (m_json)
            writeReading(*m_json, reading);
        else
            printReading(m_terminal, reading);
    }
    void finish() {
        if (!m_json)
            return;
        m_json->endList();
        m_json->endObject();
        m_json->finish();
    }

private:
    Terminal m_terminal;
    std::unique_ptr<JsonOutput> m_json = nullptr;
};

} // namespace

int runRead(const ReadOptions& options) {
    const Installation installation = installationOf(readTexts(options.sources));
    const std::vector<Target> targets = targetsOf(installation, options.slave, options.model);
    BusOptions busOptions = options.bus;
    if (!busOptions.address.tcp && !busOptions.address.rtu)
        busOptions.address = busOf(installation);
    NewFile record(options.record);
    NewFile home(options.home);
    BusSession session(busOptions);
    MeterPoll poll(session.bus(), isEnding());
    Output output(stdout, options.json);
    Output recorded(record.file(), true);
    std::vector<ReadMeter> last;
    bool isGood = true;
    endAtSignals();
    for (int i = 0; i < options.polls && !isEnding(); ++i) {
        last.clear();
        for (const Target& target : targets) {
            if (isEnding())
                break;
            MeterReading reading =
                poll.read(target.meter.slaveAddress, target.model, target.listedSerial);
            output.add(reading);
            recorded.add(reading);
            isGood = isGood && reading.isGood();
            last.push_back({target.meter, target.model, std::move(reading)});
        }
    }
    output.finish();
    recorded.finish();
    record.keep();
    const auto line =
        installation.serial ? installation.serial->value : parametersOf(busOptions.address.line);
    std::fputs(homeOf(last, line).c_str(), home.file());
    home.keep();
    return isGood && !isEnding() ? 0 : 1;
}

} // namespace inspector
