#include "inspector/output/text-table.h"
#include "inspector/report/report.h"
#include "inspector/report/wording.h"

namespace inspector {
namespace {

std::string orQuestionMark(const std::optional<std::size_t>& number) {
    return number ? std::to_string(*number) : "?";
}

std::string counted(std::size_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

/// Prints one report.
class TextReport {
public:
    TextReport(Terminal& terminal, const Report& report)
        : m_terminal(terminal), m_report(report), m_home(report.home) {}

    void print() {
        printLog();
        printPolls();
        printMeters();
        printFailures();
        printNotices();
        printUnknown();
    }

private:
    std::string local(Moment time) const { return localText(time, m_home.offset); }
    std::string fromTo(const Occurrences& seen) const {
        return seen.first == seen.last ? local(seen.first)
                                       : local(seen.first) + " to " + local(seen.last);
    }
    void row(const std::string& name, const std::string& text) {
        constexpr std::size_t width = 10;
        m_terminal.line(m_terminal.bold(name) + std::string(width - name.size(), ' ') + text);
    }

    void printLog() {
        const Moment first = m_home.first.value_or(0);
        const Moment last = m_home.last.value_or(0);
        const LogReader::Counts& counts = m_report.counts;
        // A healthy log of warnings holds lines of equal signs alone, which have no time.
        if (!m_home.first)
            row("Log", "?, " + counted(counts.lines, "line"));
        else
            row("Log", local(first) + " to " + local(last) + ", " +
                           durationText(std::max<Moment>(0, last - first)) + ", " +
                           counted(counts.lines, "line"));
        for (const auto& [number, text] :
             {std::pair{counts.foreign, "foreign"}, std::pair{counts.cut, "cut"},
              std::pair{counts.forged, "forged within values"}})
            if (number > 0)
                row("", std::to_string(number) + " " + text);
        if (m_home.leftOut > 0)
            row("", std::to_string(m_home.leftOut) +
                        " meters or failures left out, as they were too many");
        for (const std::string& damage : m_report.damages)
            row("", damage);
        row("Gaps", m_home.gaps ? std::to_string(*m_home.gaps) : "?");
        constexpr std::size_t mostGaps = 5;
        for (std::size_t i = 0; i < std::min(mostGaps, m_home.firstGaps.size()); ++i)
            row("", local(m_home.firstGaps[i].from) + " to " + local(m_home.firstGaps[i].to));
        row("Restarts", orQuestionMark(restartsOf(m_home)));
        if (m_home.assertions.count > 0)
            row("", counted(m_home.assertions.count, "failed assertion"));
    }

    void printPolls() {
        const LengthHistogram& lengths = m_home.pollLengths;
        std::string polls = orQuestionMark(m_home.polls);
        if (lengths.count() > 0)
            polls += ", median " + durationText(*lengths.quantile(0.5)) + ", 95th of 100 " +
                     durationText(*lengths.quantile(0.95)) + ", longest " +
                     durationText(lengths.longest());
        row("Polls", polls);
        if (m_report.summary.leastSeconds)
            row("", "at least " + fixed(*m_report.summary.leastSeconds, 3) + " s by the map");
        row("Messages", std::to_string(m_home.offers) + " offered, " +
                            orQuestionMark(m_home.delivered) + " delivered, " +
                            orQuestionMark(m_home.lost) + " lost");
        m_terminal.line();
    }

    void printMeters() {
        using enum TextTable::Side;
        if (m_home.meters.empty())
            return;
        TextTable table({{"meter", right},
                         {"id"},
                         {"name"},
                         {"polls", right},
                         {"good", right},
                         {"delivered", right},
                         {"lost", right, 2},
                         {"carried", right, 3},
                         {"last good reading", left, 1}});
        for (const Meter& x : m_home.meters) {
            const std::string good = x.polls.value_or(0) > 0 && x.goodPolls
                                         ? fixed(100.0 * static_cast<double>(*x.goodPolls) /
                                                     static_cast<double>(*x.polls),
                                                 1) +
                                               " %"
                                         : "?";
            const std::string last =
                x.lastGood
                    ? local(*x.lastGood) + ", " +
                          durationText(std::max<Moment>(0, m_home.last.value_or(0) - *x.lastGood)) +
                          " ahead of the end"
                    : "none";
            table.add({x.slaveAddress ? std::to_string(*x.slaveAddress) : "?", x.id, x.name,
                       orQuestionMark(x.polls), good, orQuestionMark(x.delivered),
                       orQuestionMark(x.lost), orQuestionMark(x.carried), last});
        }
        table.print(m_terminal, 2);
        m_terminal.line();
    }

    void addFailures(TextTable& table, const std::string& meter, const Failures& failures) {
        for (const auto& [failed, x] : failures)
            table.add({meter, nameOf(failed.place), failed.kind, std::to_string(x.seen.count),
                       orQuestionMark(x.longestRun), local(x.seen.first), local(x.seen.last)});
    }

    void printFailures() {
        using enum TextTable::Side;
        TextTable table({{"meter", right},
                         {"register not read"},
                         {"why"},
                         {"count", right},
                         {"longest run", right, 1},
                         {"first", left, 2},
                         {"last", left, 3}});
        bool any = !m_home.unattributed.empty();
        for (const Meter& x : m_home.meters) {
            addFailures(table, x.slaveAddress ? std::to_string(*x.slaveAddress) : "?", x.failures);
            any = any || !x.failures.empty();
        }
        addFailures(table, "?", m_home.unattributed);
        if (!any)
            return;
        table.print(m_terminal, 2);
        m_terminal.line();
    }

    void printNotice(const Notice& notice) {
        const Severity severity = notice.needsPerson ? Severity::error : Severity::hint;
        std::string key = notice.key.empty() ? "unknown" : notice.key;
        if (!notice.reason.empty())
            key += "/" + notice.reason;
        std::string head = m_terminal.coloured(severity, notice.needsPerson ? "trouble" : "note") +
                           " " + m_terminal.bold(key);
        if (notice.meter)
            head += " " + nameOf(m_home.meters[*notice.meter]);
        m_terminal.line(head);
        m_terminal.paragraph((notice.subject.empty() ? notice.title : notice.subject) + ", " +
                                 counted(notice.seen.count, "time") + ", " + fromTo(notice.seen),
                             4);
        m_terminal.paragraph(notice.meaning, 4);
        std::string remedy = notice.remedy;
        for (const std::string& heading : notice.see)
            remedy += (remedy.empty() ? "" : " ") + ("See \"" + heading) + "\" in operations.md.";
        m_terminal.paragraph(remedy, 4);
    }

    void printNotices() {
        if (m_report.summary.notices.empty())
            m_terminal.line("No trouble.");
        for (const Notice& notice : m_report.summary.notices)
            printNotice(notice);
    }

    void printUnknown() {
        for (const Unknown& x : m_report.summary.unknown) {
            m_terminal.line();
            m_terminal.paragraph(
                "Not in this log: " + x.what + ". VX_LOG=" + x.rules + " shows them.", 0);
        }
    }

    Terminal& m_terminal;
    const Report& m_report;
    const Home& m_home;
};

} // namespace

void printReport(Terminal& terminal, const Report& report) {
    TextReport(terminal, report).print();
}

} // namespace inspector
