// The documents of an installation, apart by a NUL: what the inspector takes of them is what the
// daemon does, each finding has its place in them, and two looks find the same.

#include "fuzz.h"

#include "inspector/budget/poll-budget.h"
#include "inspector/map/inspection.h"
#include "modbus/server-replies.h"
#include "vx/exception.h"

#include <algorithm>
#include <cmath>

using namespace inspector;
using orv::modbusreader::AttachedMetersReply;
using orv::modbusreader::MeterConfigReply;
using orv::modbusreader::SerialPortConfigReply;

namespace {

/// Supported, attached, serial and configuration file. An empty one isn't given.
Texts textsOf(std::string input) {
    const auto cut = [&]() -> std::optional<std::string> {
        const std::size_t end = std::min(input.find('\0'), input.size());
        const std::string text = input.substr(0, end);
        input.erase(0, end + 1);
        return text.empty() ? std::nullopt : std::optional(text);
    };
    Texts texts;
    for (auto* text : {&texts.supported, &texts.attached, &texts.serial, &texts.config})
        *text = cut();
    return texts;
}

/// The daemon's own conversion of a document; nothing if it takes none of it.
template <class Whole>
std::optional<Whole> converted(const std::string& text, Document::Form form) {
    Whole whole;
    try {
        const auto fragment = vx::parseJsonFragment(text.c_str());
        if (form == Document::Form::whole)
            return vx::fromJson<Whole>(fragment.get());
        if constexpr (requires { whole.data; }) {
            using Content = decltype(Whole::data);
            if (form == Document::Form::content)
                whole.data = vx::fromJson<Content>(fragment.get());
            else if constexpr (requires { typename Content::value_type; })
                whole.data = {vx::fromJson<typename Content::value_type>(fragment.get())};
        }
        return whole;
    } catch (const vx::Exception&) {
        return std::nullopt;
    }
}

/// A record that holds a NaN isn't equal to itself, but its text is.
template <class T>
bool isSame(const T& a, const T& b) {
    return a == b || vx::str("", a) == vx::str("", b);
}

template <class T>
bool isTaken(const std::optional<std::vector<Placed<T>>>& taken, const std::vector<T>& told) {
    return taken && std::ranges::equal(*taken, told, [](const auto& a, const auto& b) {
               return isSame(a.value, b);
           });
}

/// What isn't there has its defaults.
template <class T>
bool isTaken(const std::optional<Placed<T>>& taken, const T& told) {
    return isSame(taken ? taken->value : T(), told);
}

/// Looks at one document of an inspection.
class DocumentCheck {
public:
    DocumentCheck(const Inspection& inspection, const Document& document, const std::string& text)
        : m_inspection(inspection), m_document(document), m_text(text) {}

    void check() const {
        const Installation& installation = m_inspection.installation();
        if (m_document.name() == "supported")
            compare<MeterConfigReply>(installation.models);
        else if (m_document.name() == "attached")
            compare<AttachedMetersReply>(installation.meters);
        else if (m_document.name() == "serial")
            compare<SerialPortConfigReply>(installation.serial);
        else
            compareConfig(installation.config);
        for (const Finding& finding : m_inspection.findings())
            if (finding.document == m_document.name())
                checkPlace(finding);
    }

private:
    bool has(std::string_view name) const {
        return std::ranges::any_of(m_inspection.findings(), [&](const Finding& x) {
            return x.document == m_document.name() && x.name == name;
        });
    }

    template <class Reply>
    void compare(const auto& taken) const {
        const auto told = converted<Reply>(m_text, m_document.form());
        VX_ASSERT(told.has_value() != has("does-not-convert"), m_text);
        VX_ASSERT(!told || isTaken(taken, told->data), m_text);
    }

    void compareConfig(const auto& taken) const {
        using orv::modbus::ConfigFile;
        const auto told = converted<ConfigFile>(m_text, m_document.form());
        VX_ASSERT(told.has_value() != has("does-not-convert"), m_text);
        VX_ASSERT(!told || isTaken(taken, told->modbusMiscConfig), m_text);
    }

    void checkPlace(const Finding& x) const {
        VX_ASSERT((x.line == 0) == (x.column == 0), x.name, x.line, x.column);
        if (x.line == 0) {
            // The text was written anew.
            VX_ASSERT(has("lenient-json"), x.name);
            return;
        }
        std::size_t begin = 0;
        for (std::size_t line = 1; line < x.line; ++line) {
            begin = m_text.find('\n', begin) + 1;
            VX_ASSERT(begin != 0, x.name, x.line);
        }
        const std::string line = m_text.substr(begin, m_text.find('\n', begin) - begin);
        const auto characters = std::ranges::count_if(
            line, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
        VX_ASSERT(x.column <= static_cast<std::size_t>(characters) + 1, x.name, x.column);
    }

    const Inspection& m_inspection;
    const Document& m_document;
    const std::string& m_text;
};

bool isPointer(const std::string& path) {
    if (!path.empty() && path[0] != '/')
        return false;
    for (std::size_t i = path.find('~'); i != std::string::npos; i = path.find('~', i + 1))
        if (i + 1 == path.size() || (path[i + 1] != '0' && path[i + 1] != '1'))
            return false;
    return true;
}

void checkFindings(const Inspection& inspection) {
    for (const Finding& x : inspection.findings()) {
        VX_ASSERT(!x.name.empty() && !x.message.empty() && !x.remedy.empty(), x.name, x.message);
        VX_ASSERT(isPointer(x.path), x.name, x.path);
        VX_ASSERT(std::ranges::any_of(
                      inspection.documents(),
                      [&](const Document& document) { return document.name() == x.document; }),
                  x.name, x.document);
    }
}

void checkBudget(const PollBudget& budget) {
    const auto check = [](double seconds) {
        VX_ASSERT(std::isfinite(seconds) && seconds >= 0, seconds);
    };
    for (const double seconds : {budget.seconds, budget.requests, budget.pauses, budget.wire,
                                 budget.waits, budget.closing})
        check(seconds);
    for (const auto& meter : budget.meters) {
        check(meter.seconds);
        check(meter.deadSeconds);
        check(meter.ageSeconds);
    }
    for (const auto& model : budget.models)
        check(model.seconds);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::dropLog();
    const Texts texts = textsOf(fuzz::textOf(data, size));
    const Inspection inspection(texts);
    VX_ASSERT(Inspection(texts).findings() == inspection.findings());
    checkFindings(inspection);
    checkBudget(budgetOf(inspection.installation()));
    auto document = inspection.documents().begin();
    for (const auto* text : {&texts.supported, &texts.attached, &texts.serial, &texts.config})
        if (*text)
            DocumentCheck(inspection, *document++, **text).check();
    return 0;
}
