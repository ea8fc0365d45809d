#include "inspector/report/report-rows.h"

#include "inspector/report/wording.h"

#include <algorithm>

namespace inspector {
namespace {

using Overview = std::vector<std::pair<std::string, std::string>>;

std::string orQuestionMark(const std::optional<std::size_t>& number) {
    return number ? std::to_string(*number) : "?";
}

std::string counted(std::size_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void addLog(Overview& rows, const Report& report) {
    const Home& home = report.home;
    const auto local = [&](Moment time) { return localText(time, home.offset); };
    const Moment first = home.first.value_or(0);
    const Moment last = home.last.value_or(0);
    // Of a clock that was set back the length is not known.
    const std::string length = last < first ? "?" : durationText(last - first);
    const LogReader::Counts& counts = report.counts;
    // A healthy log of warnings holds lines of equal signs alone, which have no time.
    rows.emplace_back(
        "Log", (home.first ? local(first) + " to " + local(last) + ", " + length + ", " : "?, ") +
                   counted(counts.lines, "line"));
    for (const auto& [number, text] :
         {std::pair{counts.foreign, "foreign"}, std::pair{counts.cut, "cut"},
          std::pair{counts.forged, "forged within values"}})
        if (number > 0)
            rows.emplace_back("", std::to_string(number) + " " + text);
    if (home.leftOut > 0)
        rows.emplace_back("", std::to_string(home.leftOut) +
                                  " meters or failures left out, as they were too many");
    for (const std::string& damage : report.damages)
        rows.emplace_back("", damage);
    rows.emplace_back("Gaps", orQuestionMark(home.gaps));
    constexpr std::size_t mostGaps = 5;
    for (std::size_t i = 0; i < std::min(mostGaps, home.firstGaps.size()); ++i)
        rows.emplace_back("", local(home.firstGaps[i].from) + " to " + local(home.firstGaps[i].to));
}

void addPolls(Overview& rows, const Report& report) {
    const Home& home = report.home;
    const LengthHistogram& lengths = home.pollLengths;
    std::string polls = orQuestionMark(home.polls);
    if (lengths.count() > 0)
        polls += ", median " + durationText(*lengths.quantile(0.5)) + ", 95th of 100 " +
                 durationText(*lengths.quantile(0.95)) + ", longest " +
                 durationText(lengths.longest());
    rows.emplace_back("Polls", polls);
    if (report.summary.leastSeconds)
        rows.emplace_back("",
                          "at least " + fixed(*report.summary.leastSeconds, 3) + " s by the map");
}

} // namespace

Overview overviewOf(const Report& report) {
    const Home& home = report.home;
    Overview rows;
    addLog(rows, report);
    rows.emplace_back("Restarts", orQuestionMark(restartsOf(home)));
    if (home.assertions.count > 0)
        rows.emplace_back("", counted(home.assertions.count, "failed assertion"));
    if (home.terminations.count > 0)
        rows.emplace_back("", counted(home.terminations.count, "uncaught exception"));
    addPolls(rows, report);
    rows.emplace_back("Messages", std::to_string(home.offers) + " offered, " +
                                      orQuestionMark(home.delivered) + " delivered, " +
                                      orQuestionMark(home.lost) + " lost");
    return rows;
}

std::vector<std::string> rowOf(const Meter& meter, const Home& home) {
    const std::string good = meter.polls.value_or(0) > 0 && meter.goodPolls
                                 ? fixed(100.0 * static_cast<double>(*meter.goodPolls) /
                                             static_cast<double>(*meter.polls),
                                         1) +
                                       " %"
                                 : "?";
    const std::string last =
        meter.lastGood
            ? localText(*meter.lastGood, home.offset) + ", " +
                  durationText(std::max<Moment>(0, home.last.value_or(0) - *meter.lastGood)) +
                  " ahead of the end"
            : "none";
    return {meter.slaveAddress ? std::to_string(*meter.slaveAddress) : "?",
            meter.id,
            meter.name,
            orQuestionMark(meter.polls),
            good,
            orQuestionMark(meter.delivered),
            orQuestionMark(meter.lost),
            orQuestionMark(meter.carried),
            last};
}

std::vector<std::string> rowOf(const std::string& meter, const FailureKind& kind,
                               const RegisterFailure& failure, const Home& home) {
    return {meter,
            nameOf(kind.place),
            kind.kind,
            std::to_string(failure.seen.count),
            orQuestionMark(failure.longestRun),
            localText(failure.seen.first, home.offset),
            localText(failure.seen.last, home.offset)};
}

std::string occasionsOf(const Notice& notice, const Home& home) {
    const auto local = [&](Moment time) { return localText(time, home.offset); };
    const Occurrences& seen = notice.seen;
    return counted(seen.count, "time") + ", " +
           (seen.first == seen.last ? local(seen.first)
                                    : local(seen.first) + " to " + local(seen.last));
}

} // namespace inspector
