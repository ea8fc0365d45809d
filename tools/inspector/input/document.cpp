#include "inspector/input/document.h"

#include "inspector/input/document-form.h"
#include "inspector/input/places.h"
#include "modbus/config-file.h"
#include "modbus/server-replies.h"
#include "vx/json.h"

#include <json-c/json_visit.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace inspector {
namespace {

/// Where the daemon's parser gives up.
std::size_t faultOffset(const std::string& text) {
    const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                         json_tokener_free);
    json_object_put(json_tokener_parse_ex(tokener.get(), text.c_str(), -1));
    return json_tokener_get_parse_end(tokener.get());
}

bool isParsed(const std::string& text) {
    try {
        vx::parseJsonFragment(text.c_str());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// A number of the daemon's parser is written as it was, be it one such as 1e999, until it is set
/// anew.
int forgetText(json_object* json, int, json_object*, const char*, std::size_t*, void*) {
    if (json_object_is_type(json, json_type_double) != 0)
        json_object_set_double(json, json_object_get_double(json));
    return JSON_C_VISIT_RETURN_CONTINUE;
}

} // namespace

const DocumentKind& supportedKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"supported", &shapeOf<MeterConfigReply>(),
                                   &shapeOf<decltype(MeterConfigReply::data)>(),
                                   &shapeOf<vxModel::ElectricityMeterConfig>()};
    return kind;
}

const DocumentKind& attachedKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"attached", &shapeOf<AttachedMetersReply>(),
                                   &shapeOf<decltype(AttachedMetersReply::data)>(),
                                   &shapeOf<vxModel::ModbusMeter>()};
    return kind;
}

const DocumentKind& serialKind() {
    using namespace orv::modbusreader;
    static const DocumentKind kind{"serial", &shapeOf<SerialPortConfigReply>(),
                                   &shapeOf<vxModel::SerialPortConfig>(), nullptr};
    return kind;
}

const DocumentKind& configKind() {
    // It keeps the serial parameters all the same, and so sees no reason to try again.
    static const DocumentKind kind{"config", &shapeOf<orv::modbus::ConfigFile>(), nullptr, nullptr,
                                   "A daemon that starts with this file opens no bus, and all "
                                   "reads fail until it is mended and the daemon starts again or "
                                   "gets other serial parameters: "};
    return kind;
}

Document::Document(const DocumentKind& kind, std::string text)
    : m_kind(&kind), m_text(std::move(text)) {
    m_text.resize(std::strlen(m_text.c_str()));
    open();
}

std::string Document::contentPath() const {
    return m_form == Form::whole && m_kind->content != nullptr ? "/data" : "";
}

TextWalk Document::walkThrough(Letter letter) {
    m_form = formOf(m_text, *m_kind);
    const Shape& shape = m_form == Form::whole     ? *m_kind->whole
                         : m_form == Form::content ? *m_kind->content
                                                   : *m_kind->single;
    const bool hasEnvelope = m_form == Form::whole && m_kind->content != nullptr;
    return walkText(m_text, shape, hasEnvelope, m_kind->name, letter);
}

void Document::open() {
    try {
        TextWalk walk = walkThrough(Letter::ofJson);
        // It takes a null that has no blank beside it alone.
        if (walk.rootKind == JsonNode::Kind::null && m_text != "null")
            throw JsonFault{"A null with blanks", 0};
        const std::size_t rest = m_text.find_first_not_of(" \t\r\n", walk.root.end);
        if (rest != std::string::npos && !isTakenWithRest(walk))
            throw JsonFault{"No comment", rest};
        if (rest != std::string::npos)
            report(rest, "text-behind", Severity::warning,
                   "The daemon reads the first value and ignores what stands behind it.",
                   "Delete it, or find out what was lost there.");
        m_walk = std::move(walk);
    } catch (const JsonFault& fault) {
        openLeniently(fault);
    }
    if (m_walk)
        std::move(m_walk->findings.begin(), m_walk->findings.end(), std::back_inserter(m_findings));
}

/// Behind a value the daemon's parser looks for comments.
bool Document::isTakenWithRest(const TextWalk& walk) const {
    const bool hasBrackets =
        walk.rootKind == JsonNode::Kind::object || walk.rootKind == JsonNode::Kind::list;
    // Its tree of a large text would be larger still, and what it was matters no more.
    return isParsed(hasBrackets ? "[]" + m_text.substr(walk.root.end) : m_text);
}

void Document::openLeniently(const JsonFault& fault) {
    try {
        const auto fragment = vx::parseJsonFragment(m_text.c_str());
        report(fault.offset, "lenient-json", Severity::hint,
               "The daemon's parser takes this text, but by the letter it is no JSON: " +
                   fault.reason,
               "Write what every parser understands.");
        place(m_findings);
        json_c_visit(fragment.get(), 0, forgetText, nullptr);
        m_text = vx::toJson(fragment);
        m_hasPlaces = false;
        m_walk = walkThrough(Letter::ofDaemon);
    } catch (const std::exception& e) {
        report(faultOffset(m_text), "does-not-convert", Severity::error,
               std::string(m_kind->broken) + e.what(), "Make it JSON.");
    }
}

void Document::report(std::size_t offset, std::string_view name, Severity severity,
                      std::string message, std::string remedy) {
    Reporter(m_kind->name, m_findings)(name, severity, "", std::move(message), std::move(remedy));
    m_findings.back().offset = offset;
}

void Document::place(Findings& findings) const {
    if (!m_hasPlaces)
        return;
    const std::vector<TextPlace> places = placesOf(m_text, offsetsOf(findings));
    for (std::size_t i = 0; i < findings.size(); ++i) {
        findings[i].line = places[i].line;
        findings[i].column = places[i].column;
    }
}

std::vector<std::size_t> Document::offsetsOf(const Findings& findings) const {
    std::optional<ValueFinder> values;
    if (m_walk)
        values.emplace(m_text, *m_walk, contentPath());
    std::vector<std::size_t> offsets;
    for (const Finding& x : findings)
        offsets.push_back(x.offset != Finding::unknown ? x.offset
                          : values                     ? values->offsetOf(x.path)
                                                       : 0);
    return offsets;
}

} // namespace inspector
