#include "inspector/web/metrics.h"

#include "inspector/live/health.h"

#include <algorithm>
#include <functional>

namespace inspector {
namespace {

double secondsSince(Moment time, const HomeView& view) {
    return inSeconds(std::max<Moment>(view.now - time, 0));
}

/// Counts begin with this program.
double since(std::size_t past, std::size_t count) {
    return static_cast<double>(count - std::min(past, count));
}

template <class Key>
std::size_t countOf(const std::map<Key, std::size_t>& counts, const Key& key) {
    const auto found = counts.find(key);
    return found == counts.end() ? 0 : found->second;
}

/// Of requests that the local server didn't answer with status 200.
std::size_t serverFailures(const Counts& counts) {
    std::size_t sum = 0;
    for (const auto& [kind, count] : counts.troubles)
        sum += kind.key == "bad-status" ? count : 0;
    return sum;
}

class Metrics {
public:
    Metrics(const HomeView& view, Exposition::Format format) : m_view(view), m_text(format) {
        for (const std::size_t place : presentMeters(view.home)) {
            const Meter& meter = view.home.meters[place];
            m_meters.push_back({place, std::to_string(*meter.slaveAddress), meter.id});
        }
    }

    std::string write() {
        writeReader();
        writeDelivery();
        writeTroubles();
        writeInfo();
        writePowers();
        writeEnergies();
        writeTariffs();
        writeAges();
        writeCounts();
        writeFailures();
        writeCounters();
        return m_text.finish();
    }

private:
    struct Place {
        std::size_t index;
        std::string address;
        std::string id;
    };

    void writeOne(std::string_view name, std::string_view type, std::string_view help,
                  double value) {
        m_text.metric(name, type, help);
        m_text.sample({}, value);
    }
    void writeReader();
    void writeDelivery();
    void writeTroubles();
    void writeInfo();
    void writePowers();
    void writePower(std::size_t member, const Place& place);
    void writeEnergies();
    void writeTariffs();
    void writeAges();
    void writeCounts();
    void writeFailures();
    void writeCounters();

    const Meter& meterAt(const Place& place) const { return m_view.home.meters[place.index]; }
    const MeterCourse* courseOf(const Place& place) const {
        return place.index < m_view.courses.size() ? &m_view.courses[place.index] : nullptr;
    }
    std::optional<Moment> lastAnswer(const Place& place) const {
        const MeterCourse* course = courseOf(place);
        return course ? course->lastAnswer() : std::nullopt;
    }
    /// The last reading, unless it tells nothing of the present.
    const LoggedReading* present(const Place& place) const {
        constexpr Moment longest = Moment{10} * 60 * 1000;
        const auto answer = lastAnswer(place);
        return answer && m_view.now - *answer <= longest ? &*meterAt(place).last : nullptr;
    }
    void writeEach(std::string_view name, std::string_view type, std::string_view help,
                   const std::function<double(const Place&)>& valueOf) {
        m_text.metric(name, type, help);
        for (const Place& place : m_meters)
            m_text.sample({{"slave_address", place.address}, {"meter", place.id}}, valueOf(place));
    }
    /// Of a member of what was counted of a meter.
    void writeCount(std::string_view name, std::string_view help,
                    std::size_t MeterCounts::*member) {
        writeEach(name, "counter", help, [&](const Place& place) {
            return since(pastOf(place).*member, m_view.counts.meters[place.index].*member);
        });
    }
    MeterCounts pastOf(const Place& place) const {
        const auto& past = m_view.past.meters;
        return place.index < past.size() ? past[place.index] : MeterCounts();
    }
    void writeFailures(const std::map<std::string, std::size_t>& past,
                       const std::map<std::string, std::size_t>& counts, std::string_view address,
                       std::string_view id);

    const HomeView& m_view;
    Exposition m_text;
    std::vector<Place> m_meters;
};

void Metrics::writeReader() {
    const Counts& past = m_view.past;
    const Counts& now = m_view.counts;
    m_text.metric("modbus_inspector_build_info", "info", "Version of the exporter.");
    m_text.sample({{"version", MODBUS_INSPECTOR_VERSION}}, 1);
    writeOne("modbus_reader_polls_total", "counter", "Polls that ended.",
             since(past.polls, now.polls));
    writeOne("modbus_reader_poll_age_seconds", "gauge",
             "Time since the last poll ended, or since the exporter started if it knows of none.",
             secondsSince(m_view.lastPoll.value_or(m_view.begin), m_view));
    m_text.metric("modbus_reader_poll_duration_seconds", "summary",
                  "Length of the polls that ended.");
    m_text.sample({}, inSeconds(now.lengthOfAll - past.lengthOfAll), "_sum");
    m_text.sample({}, since(past.lengths, now.lengths), "_count");
    if (now.lengths > 0)
        writeOne("modbus_reader_last_poll_duration_seconds", "gauge", "Length of the last poll.",
                 inSeconds(m_view.home.pollLengths.last()));
    writeOne("modbus_reader_restarts_total", "counter",
             "Starts of the reader behind an earlier one.", since(past.restarts, now.restarts));
    writeOne("modbus_reader_assertion_failures_total", "counter",
             "Failed assertions and uncaught exceptions, each of which ended the reader.",
             since(past.assertions, now.assertions));
}

void Metrics::writeDelivery() {
    const Counts& past = m_view.past;
    const Counts& now = m_view.counts;
    writeOne("modbus_reader_server_failures_total", "counter",
             "Requests that the local server didn't answer with status 200.",
             since(serverFailures(past), serverFailures(now)));
    writeOne("modbus_reader_messages_delivered_total", "counter",
             "Messages that the metering service took whole.",
             since(past.delivered, now.delivered));
    writeOne("modbus_reader_messages_lost_total", "counter",
             "Messages that the metering service didn't take.", since(past.lost, now.lost));
}

void Metrics::writeTroubles() {
    m_text.metric("modbus_reader_troubles_total", "counter",
                  "Lines of trouble other than failures of registers, and lines that were cut or "
                  "forged, by their keys in diagnostics.json.");
    for (const auto& [kind, count] : m_view.counts.troubles) {
        const double number = since(countOf(m_view.past.troubles, kind), count);
        const std::string_view key = kind.key.empty() ? "other" : std::string_view(kind.key);
        if (number > 0)
            m_text.sample({{"trouble", key}, {"reason", kind.reason}}, number);
    }
}

void Metrics::writeInfo() {
    m_text.metric("modbus_meter_info", "info", "What the list of attached meters says.");
    for (const Place& place : m_meters) {
        const Meter& meter = meterAt(place);
        if (meter.isAttached) {
            m_text.sample({{"slave_address", place.address},
                           {"meter", place.id},
                           {"name", meter.name},
                           {"model", meter.configId}},
                          1);
        }
    }
}

void Metrics::writePowers() {
    m_text.metric("modbus_meter_power_import_watts", "gauge", "Power that flows to the consumer.");
    for (const Place& place : m_meters)
        writePower(0, place);
    m_text.metric("modbus_meter_power_export_watts", "gauge", "Power that the consumer delivers.");
    for (const Place& place : m_meters)
        writePower(1, place);
}

void Metrics::writePower(std::size_t member, const Place& place) {
    const LoggedReading* reading = present(place);
    const MeterCourse* course = courseOf(place);
    if (reading == nullptr)
        return;
    const double watts = reading->values[member];
    if (course->isPowerRead() && (watts != 0 || course->hadPower(member)))
        m_text.sample({{"slave_address", place.address}, {"meter", place.id}}, watts);
}

void Metrics::writeEnergies() {
    const auto write = [&](std::string_view name, std::string_view help, std::size_t member) {
        m_text.metric(name, "counter", help);
        for (const Place& place : m_meters) {
            const LoggedReading* reading = present(place);
            if (reading != nullptr && reading->values[member] > 0)
                m_text.sample({{"slave_address", place.address}, {"meter", place.id}},
                              reading->values[member]);
        }
    };
    write("modbus_meter_energy_import_joules_total",
          "The meter's counter of energy consumed, in all.", firstEnergy);
    write("modbus_meter_energy_export_joules_total",
          "The meter's counter of energy produced, in all.", firstEnergy + 1);
}

void Metrics::writeTariffs() {
    const auto write = [&](std::string_view name, std::string_view help, std::size_t first) {
        m_text.metric(name, "counter", help);
        for (const Place& place : m_meters) {
            const LoggedReading* reading = present(place);
            for (std::size_t i = first; reading != nullptr && i < measuredMembers.size(); i += 2) {
                if (reading->values[i] > 0) {
                    m_text.sample({{"slave_address", place.address},
                                   {"meter", place.id},
                                   {"tariff", measuredMembers[i].substr(1, 1)}},
                                  reading->values[i]);
                }
            }
        }
    };
    write("modbus_meter_energy_import_tariff_joules_total",
          "The meter's counters of energy consumed, by tariff.", firstEnergy + 2);
    write("modbus_meter_energy_export_tariff_joules_total",
          "The meter's counters of energy produced, by tariff.", firstEnergy + 3);
}

void Metrics::writeAges() {
    writeEach("modbus_meter_reading_age_seconds", "gauge",
              "Time since the last reading in which the meter answered anything began, or since "
              "the exporter started if it knows of none.",
              [&](const Place& place) {
                  return secondsSince(lastAnswer(place).value_or(m_view.begin), m_view);
              });
    writeEach("modbus_meter_good_reading_age_seconds", "gauge",
              "Time since the last reading of which no register failed began, or since the "
              "exporter started if it knows of none.",
              [&](const Place& place) {
                  return secondsSince(meterAt(place).lastGood.value_or(m_view.begin), m_view);
              });
}

void Metrics::writeCounts() {
    writeCount("modbus_meter_polls_total", "Polls in which the meter was read or should have been.",
               &MeterCounts::polls);
    writeCount("modbus_meter_good_polls_total", "Polls in which no register of the meter failed.",
               &MeterCounts::goodPolls);
}

void Metrics::writeFailures() {
    m_text.metric("modbus_meter_register_failures_total", "counter",
                  "Registers that could not be read, by the key of the reason in "
                  "diagnostics.json.");
    for (const Place& place : m_meters)
        writeFailures(pastOf(place).failures, m_view.counts.meters[place.index].failures,
                      place.address, place.id);
    writeFailures(m_view.past.unattributed, m_view.counts.unattributed, "unknown", "unknown");
}

void Metrics::writeFailures(const std::map<std::string, std::size_t>& past,
                            const std::map<std::string, std::size_t>& counts,
                            std::string_view address, std::string_view id) {
    for (const auto& [kind, count] : counts)
        if (const double number = since(countOf(past, kind), count); number > 0)
            m_text.sample({{"slave_address", address}, {"meter", id}, {"kind", kind}}, number);
}

void Metrics::writeCounters() {
    writeCount("modbus_meter_energy_decreases_total",
               "Readings in which a counter of energy was lower than before.",
               &MeterCounts::decreases);
    writeCount("modbus_meter_energy_jumps_total",
               "Readings in which a counter of energy rose by more than the power explains.",
               &MeterCounts::jumps);
}

} // namespace

std::string metricsOf(const HomeView& view, Exposition::Format format) {
    return Metrics(view, format).write();
}

} // namespace inspector
