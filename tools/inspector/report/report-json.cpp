#include "inspector/report/report.h"
#include "inspector/report/wording.h"

namespace inspector {
namespace {

template <class T>
void optionalMember(JsonOutput& output, std::string_view name, const std::optional<T>& value) {
    output.key(name);
    if (value)
        output.value(*value);
    else
        output.null();
}

void moment(JsonOutput& output, std::string_view name, std::optional<Moment> time) {
    optionalMember(output, name, time && *time != 0 ? std::optional(utcText(*time)) : std::nullopt);
}

void seconds(JsonOutput& output, std::string_view name, std::optional<std::int64_t> length) {
    optionalMember(output, name, length ? std::optional(inSeconds(*length)) : std::nullopt);
}

void occurrences(JsonOutput& output, const Occurrences& seen) {
    output.member("count", seen.count);
    moment(output, "first", seen.first);
    moment(output, "last", seen.last);
}

void writeLog(JsonOutput& output, const Report& report) {
    const Home& home = report.home;
    output.beginObject();
    moment(output, "first", home.first);
    moment(output, "last", home.last);
    output.member("lines", report.counts.lines);
    output.member("foreign", report.counts.foreign);
    output.member("cut", report.counts.cut);
    output.member("forged", report.counts.forged);
    output.member("leftOut", home.leftOut);
    optionalMember(output, "gapCount", home.gaps);
    output.key("gaps");
    if (home.gaps) {
        output.beginList();
        for (const Gap& gap : home.firstGaps) {
            output.beginObject();
            moment(output, "from", gap.from);
            moment(output, "to", gap.to);
            output.endObject();
        }
        output.endList();
    } else {
        output.null();
    }
    output.key("damages");
    output.beginList();
    for (const std::string& damage : report.damages)
        output.value(damage);
    output.endList();
    output.endObject();
}

void writePolls(JsonOutput& output, const Report& report) {
    const LengthHistogram& lengths = report.home.pollLengths;
    output.beginObject();
    optionalMember(output, "count", report.home.polls);
    seconds(output, "medianSeconds", lengths.quantile(0.5));
    seconds(output, "p95Seconds", lengths.quantile(0.95));
    seconds(output, "longestSeconds",
            lengths.count() == 0 ? std::nullopt : std::optional(lengths.longest()));
    optionalMember(output, "leastSeconds", report.summary.leastSeconds);
    output.endObject();
}

void writeFailures(JsonOutput& output, const Failures& failures) {
    output.beginList();
    for (const auto& [failed, failure] : failures) {
        output.beginObject();
        output.member("registerType", failed.place.isInput ? "input" : "holding");
        output.member("address", failed.place.address);
        output.member("fieldType", fieldNameOf(failed.place));
        output.member("kind", failed.kind);
        occurrences(output, failure.seen);
        optionalMember(output, "longestRun", failure.longestRun);
        output.endObject();
    }
    output.endList();
}

void writeReading(JsonOutput& output, const std::optional<LoggedReading>& reading) {
    if (!reading) {
        output.null();
        return;
    }
    output.beginObject();
    moment(output, "time", reading->time);
    output.member("tariffEnabled", reading->tariffEnabled);
    for (std::size_t i = 0; i < measuredMembers.size(); ++i)
        if (reading->values[i] != 0)
            output.member(measuredMembers[i], reading->values[i]);
    output.endObject();
}

void writeCounters(JsonOutput& output, const Meter& meter) {
    output.beginList();
    for (std::size_t i = 0; i < meter.counters.size(); ++i) {
        const Counter& counter = meter.counters[i];
        if (counter.backwards.count + counter.jumps.count + counter.still.count == 0)
            continue;
        output.beginObject();
        output.member("member", measuredMembers[i + firstEnergy]);
        output.member("backwards", counter.backwards.count);
        output.member("jumps", counter.jumps.count);
        output.member("still", counter.still.count);
        output.endObject();
    }
    output.endList();
}

void writeMeter(JsonOutput& output, const Home& home, const Meter& meter) {
    output.beginObject();
    optionalMember(output, "slaveAddress", meter.slaveAddress);
    output.member("id", meter.id);
    output.member("name", meter.name);
    optionalMember(output, "polls", meter.polls);
    optionalMember(output, "goodPolls", meter.goodPolls);
    optionalMember(output, "delivered", meter.delivered);
    optionalMember(output, "lost", meter.lost);
    optionalMember(output, "carried", meter.carried);
    output.member("shifted", meter.shifted.count);
    moment(output, "lastGood", meter.lastGood);
    seconds(output, "ageSeconds",
            meter.lastGood && home.last ? std::optional(*home.last - *meter.lastGood)
                                        : std::nullopt);
    output.key("failures");
    writeFailures(output, meter.failures);
    output.key("counters");
    writeCounters(output, meter);
    output.key("reading");
    writeReading(output, meter.last);
    output.endObject();
}

void writeNotice(JsonOutput& output, const Home& home, const Notice& notice) {
    output.beginObject();
    output.member("key", notice.key);
    output.member("reason", notice.reason);
    output.member("needsPerson", notice.needsPerson);
    output.key("slaveAddress");
    if (notice.meter && home.meters[*notice.meter].slaveAddress)
        output.value(*home.meters[*notice.meter].slaveAddress);
    else
        output.null();
    output.member("title", notice.explanation.title);
    output.member("subject", notice.subject);
    occurrences(output, notice.seen);
    output.member("meaning", notice.explanation.meaning);
    output.member("remedy", notice.explanation.remedy);
    output.key("see");
    output.beginList();
    for (const std::string& heading : notice.explanation.see)
        output.value(heading);
    output.endList();
    output.endObject();
}

} // namespace

void writeReport(JsonOutput& output, const Report& report) {
    const Home& home = report.home;
    output.beginObject();
    output.key("log");
    writeLog(output, report);
    output.key("polls");
    writePolls(output, report);
    optionalMember(output, "restarts", restartsOf(home));
    output.member("assertionFailures", crashesOf(home));
    output.key("delivery");
    output.beginObject();
    output.member("offered", home.offers);
    optionalMember(output, "delivered", home.delivered);
    optionalMember(output, "lost", home.lost);
    output.endObject();
    output.key("meters");
    output.beginList();
    for (const Meter& meter : home.meters)
        writeMeter(output, home, meter);
    output.endList();
    output.key("unattributedFailures");
    writeFailures(output, home.unattributed);
    output.key("troubles");
    output.beginList();
    for (const Notice& notice : report.summary.notices)
        writeNotice(output, home, notice);
    output.endList();
    output.key("unknown");
    output.beginList();
    for (const Unknown& x : report.summary.unknown) {
        output.beginObject();
        output.member("what", x.what);
        output.key("log");
        if (x.rules.empty())
            output.null();
        else
            output.value(x.rules);
        output.endObject();
    }
    output.endList();
    output.endObject();
}

} // namespace inspector
