#include "inspector/output/text-table.h"
#include "inspector/report/report-rows.h"
#include "inspector/report/wording.h"

namespace inspector {
namespace {

/// Prints one report.
class TextReport {
public:
    TextReport(Terminal& terminal, const Report& report)
        : m_terminal(terminal), m_report(report), m_home(report.home) {}

    void print() {
        printOverview();
        printMeters();
        printFailures();
        printNotices();
        printUnknown();
    }

private:
    void printOverview() {
        constexpr std::size_t width = 10;
        for (const auto& [name, text] : overviewOf(m_report))
            m_terminal.line(m_terminal.bold(name) + std::string(width - name.size(), ' ') + text);
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
        for (const Meter& x : m_home.meters)
            table.add(rowOf(x, m_home));
        table.print(m_terminal, 2);
        m_terminal.line();
    }

    void addFailures(TextTable& table, const std::string& meter, const Failures& failures) {
        for (const auto& [failed, x] : failures)
            table.add(rowOf(meter, failed, x, m_home));
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
        m_terminal.paragraph((notice.subject.empty() ? notice.explanation.title : notice.subject) +
                                 ", " + occasionsOf(notice, m_home),
                             4);
        m_terminal.paragraph(notice.explanation.meaning, 4);
        m_terminal.paragraph(notice.explanation.wholeRemedy(), 4);
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
            m_terminal.paragraph(sentenceOf(x), 0);
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
