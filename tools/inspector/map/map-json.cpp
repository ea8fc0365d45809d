#include "inspector/daemon/register-row.h"
#include "inspector/map/map-report.h"
#include "inspector/output/number-text.h"

#include <string>
#include <unordered_map>

namespace inspector {
namespace {

void writeTextOrNull(JsonOutput& output, std::string_view key, const std::string& text) {
    output.key(key);
    if (text.empty())
        output.null();
    else
        output.value(text);
}

/// All of a register but its address, which is put ahead.
std::string withoutAddress(const RegisterRow& row, float scale) {
    static const std::string none;
    JsonOutput output;
    output.beginObject();
    output.member("space", row.isInput ? "input" : "holding");
    output.member("function", row.function);
    output.member("words", row.words);
    output.member("dataType", row.dataType);
    output.member("scale", writtenScale(scale));
    output.member("fieldType", row.fieldType);
    writeTextOrNull(output, "member", row.isUsed ? row.facts->member : none);
    writeTextOrNull(output, "memberOfNegative", row.isUsed ? row.facts->memberOfNegative : none);
    writeTextOrNull(output, "unit", row.isUsed ? row.facts->unit : none);
    output.member("carried", row.isUsed && row.facts->carried);
    if (row.isUsed && !row.facts->unit.empty()) {
        output.member("largest", row.range.largest);
        output.member("step", row.range.step);
    }
    output.endObject();
    return std::string(output.text().substr(1));
}

/// Writes registers, what is alike of them once.
class RegisterWriter {
public:
    explicit RegisterWriter(JsonOutput& output) : m_output(output) {}

    void write(const vxModel::ModbusRegister& x) {
        const RegisterRow& row = m_rows.of(x);
        std::string& rest = m_texts[&row];
        if (rest.empty())
            rest = withoutAddress(row, x.scaleValue);
        m_text = "{\"address\":";
        m_text.append(std::to_string(x.address)).append(",").append(rest);
        m_output.json(m_text);
    }

private:
    JsonOutput& m_output;
    RegisterRows m_rows;
    std::unordered_map<const RegisterRow*, std::string> m_texts;
    std::string m_text;
};

void writeModels(JsonOutput& output, const Installation& installation) {
    RegisterWriter registers(output);
    output.beginList();
    for (const auto& [model, path] : modelsOf(installation)) {
        output.beginObject();
        output.member("id", model.id);
        output.key("registers");
        output.beginList();
        for (const vxModel::ModbusRegister& x : model.registers)
            registers.write(x);
        output.endList();
        output.endObject();
    }
    output.endList();
}

void writeFindings(JsonOutput& output, const Findings& findings) {
    output.beginList();
    for (const Finding& x : findings) {
        output.beginObject();
        output.member("name", x.name);
        output.member("severity", nameOf(x.severity));
        output.member("document", x.document);
        output.member("path", x.path);
        output.member("message", x.message);
        output.member("remedy", x.remedy);
        if (x.line != 0) {
            output.member("line", x.line);
            output.member("column", x.column);
        }
        output.endObject();
    }
    output.endList();
}

void writeBudget(JsonOutput& output, const PollBudget& budget) {
    output.beginObject();
    output.member("seconds", budget.seconds);
    output.member("requests", budget.requests);
    output.member("pauses", budget.pauses);
    output.member("wire", budget.wire);
    output.member("waits", budget.waits);
    output.member("closing", budget.closing);
    output.member("lineAssumed", budget.isLineAssumed);
    output.member("busAssumed", budget.isBusAssumed);
    output.member("timeOutAssumed", budget.isTimeOutAssumed);
    output.key("meters");
    output.beginList();
    for (const PollBudget::Meter& x : budget.meters) {
        output.beginObject();
        output.member("slaveAddress", x.slaveAddress);
        output.member("configId", x.configId);
        output.member("seconds", x.seconds);
        output.member("deadSeconds", x.deadSeconds);
        output.member("ageSeconds", x.ageSeconds);
        output.endObject();
    }
    output.endList();
    output.key("models");
    output.beginList();
    for (const PollBudget::Model& x : budget.models) {
        output.beginObject();
        output.member("id", x.id);
        output.member("registers", x.registers);
        output.member("seconds", x.seconds);
        output.endObject();
    }
    output.endList();
    output.endObject();
}

} // namespace

void writeMap(JsonOutput& output, const Installation& installation, const Findings& findings,
              const PollBudget& budget) {
    output.beginObject();
    output.key("models");
    writeModels(output, installation);
    output.key("findings");
    writeFindings(output, findings);
    output.key("budget");
    writeBudget(output, budget);
    output.endObject();
    output.finish();
}

} // namespace inspector
