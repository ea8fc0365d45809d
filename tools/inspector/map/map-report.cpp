#include "inspector/map/map-report.h"

#include "inspector/daemon/register-row.h"
#include "inspector/output/in-pieces.h"
#include "inspector/output/safe-text.h"
#include "inspector/output/text-table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <unordered_map>

namespace inspector {
namespace {

std::string formatted(const char* format, auto... values) {
    std::array<char, 64> text;
    const int size = std::snprintf(text.data(), text.size(), format, values...);
    return {text.data(), static_cast<std::size_t>(size)};
}

/// As in the message, which has no other word for what isn't finite.
std::string significant(double number) {
    return std::isfinite(number) ? formatted("%.6g", number) : "null";
}

/// In four digits. There are many addresses.
std::string inHexadecimal(std::uint16_t address) {
    constexpr const char* digits = "0123456789ABCDEF";
    return {'0',
            'x',
            digits[address >> 12],
            digits[address >> 8 & 0xF],
            digits[address >> 4 & 0xF],
            digits[address & 0xF]};
}

/// What a table shows of a register but its address.
struct Cells {
    explicit Cells(const RegisterRow& row)
        : function(std::to_string(row.function)), words(std::to_string(row.words)) {
        if (!row.isUsed) {
            member = "dropped";
            return;
        }
        member = row.facts->member;
        if (!row.facts->memberOfNegative.empty())
            member += ", negative " + row.facts->memberOfNegative;
        unit = row.facts->unit;
        unread = row.facts->carried ? "as before" : "left out";
        if (!unit.empty()) {
            largest = significant(row.range.largest);
            step = significant(row.range.step);
        }
    }

    std::string function;
    std::string words;
    std::string member;
    std::string unit;
    std::string largest;
    std::string step;
    std::string_view unread;
};

/// Makes tables of registers, the cells of those that are alike once.
class RegisterTables {
public:
    TextTable of(const vxModel::ElectricityMeterConfig& model) {
        const bool hasExport =
            std::any_of(model.registers.begin(), model.registers.end(), isExport);
        using enum TextTable::Side;
        TextTable table({{"space"},
                         {"fn", right, 5},
                         {"address", right},
                         {"hex", right, 4},
                         {"words", right},
                         {"type"},
                         {"scale", right},
                         {"member"},
                         {"unit"},
                         {"largest", right, 2},
                         {"step", right, 3},
                         {"if unread", left, 1}});
        for (const vxModel::ModbusRegister& x : model.registers) {
            const RegisterRow& row = m_rows.of(x);
            const Cells& cells = m_cells.try_emplace(&row, row).first->second;
            // The pair of powers is carried as one, whatever this poll read of the other.
            const bool carriesExport = hasExport && !row.facts->memberOfNegative.empty();
            table.add({row.isInput ? "input" : "holding", cells.function, std::to_string(x.address),
                       inHexadecimal(x.address), cells.words, row.dataType, row.scale, cells.member,
                       cells.unit, cells.largest, cells.step,
                       carriesExport && row.isUsed ? "as before, export too" : cells.unread});
        }
        return table;
    }

private:
    static bool isExport(const vxModel::ModbusRegister& x) {
        return x.fieldType == vxModel::ModbusFieldType::powerExport &&
               hasEffect(x.modbusDataType, x.fieldType);
    }

    RegisterRows m_rows;
    std::unordered_map<const RegisterRow*, Cells> m_cells;
};

std::string headOf(const Terminal& terminal, const vxModel::ElectricityMeterConfig& model) {
    std::string head = "Model " + quoted(model.id);
    for (const std::string* text : {&model.displayName, &model.manufacturer, &model.model})
        if (!text->empty())
            head += ", " + *text;
    return terminal.bold(shownText(head)) + "\n";
}

void printFinding(Terminal& terminal, const Finding& finding) {
    std::string place = std::string(finding.document);
    if (finding.line != 0)
        place += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
    if (!finding.path.empty())
        place += " " + shownText(finding.path);
    terminal.line(terminal.coloured(finding.severity, nameOf(finding.severity)) + " " +
                  terminal.bold(finding.name) + " " + place);
    terminal.paragraph(finding.message, 4);
    terminal.paragraph(finding.remedy, 4);
}

std::string seconds(double number) {
    return formatted("%.3f s", number);
}

void printAssumptions(Terminal& terminal, const PollBudget& budget) {
    if (budget.isLineAssumed)
        terminal.paragraph("Reckoned for 9600 baud, even parity and one stop bit, as nothing tells "
                           "the line's parameters.",
                           2);
    const std::string bus = budget.isTcp ? "bus" : "serial line";
    if (budget.isBusAssumed)
        terminal.paragraph("Reckoned as if the daemon opened the " + bus +
                               ", which by the findings it doesn't.",
                           2);
    if (budget.isTimeOutAssumed)
        terminal.paragraph("Reckoned with a time-out of 5 s instead of the negative one.", 2);
}

} // namespace

void printModels(Terminal& terminal, const Installation& installation) {
    if (!installation.models)
        return;
    const Installation::Models& models = *installation.models;
    const auto textOf = [&](std::size_t from, std::size_t to) {
        RegisterTables tables;
        std::string text;
        for (std::size_t i = from; i < to; ++i)
            text += headOf(terminal, models[i].value) +
                    tables.of(models[i].value).text(terminal, 2) + "\n";
        return text;
    };
    constexpr std::size_t sizeOfPiece = 50;
    inPieces(models.size(), sizeOfPiece, textOf,
             [&](const std::string& text) { terminal.write(text); });
}

void printFindings(Terminal& terminal, const Findings& findings) {
    if (findings.empty())
        terminal.line("No findings.");
    for (const Severity severity : {Severity::error, Severity::warning, Severity::hint})
        for (const Finding& finding : findings)
            if (finding.severity == severity)
                printFinding(terminal, finding);
}

void printBudget(Terminal& terminal, const PollBudget& budget) {
    using enum TextTable::Side;
    terminal.line();
    terminal.line(terminal.bold("A poll takes at least " + seconds(budget.seconds)));
    TextTable parts({{"part"}, {"", right}});
    parts.add({"requests of the local server", seconds(budget.requests)});
    parts.add({"pauses ahead of the reads", seconds(budget.pauses)});
    parts.add({"requests and answers on the bus", seconds(budget.wire)});
    if (budget.waits > 0)
        parts.add({"answers that never come", seconds(budget.waits)});
    parts.add({"the closing second", seconds(budget.closing)});
    parts.print(terminal, 2);
    printAssumptions(terminal, budget);
    terminal.line();
    TextTable meters({{"meter", right},
                      {"model"},
                      {"takes", right},
                      {"more if dead", right},
                      {"age when delivered", right}});
    for (const PollBudget::Meter& x : budget.meters)
        meters.add({std::to_string(x.slaveAddress), x.configId, seconds(x.seconds),
                    seconds(x.deadSeconds), seconds(x.ageSeconds)});
    meters.print(terminal, 2);
    terminal.line();
    TextTable models({{"longest models"}, {"registers", right}, {"takes", right}});
    constexpr std::size_t most = 10;
    for (std::size_t i = 0; i < std::min(most, budget.models.size()); ++i)
        models.add({budget.models[i].id, std::to_string(budget.models[i].registers),
                    seconds(budget.models[i].seconds)});
    models.print(terminal, 2);
    if (budget.models.size() > most)
        terminal.line("  and " + std::to_string(budget.models.size() - most) + " more");
}

} // namespace inspector
