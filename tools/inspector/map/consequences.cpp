#include "inspector/map/consequences.h"

#include "inspector/daemon/zero-names.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

namespace inspector {
namespace {

/// What comes of a zero, which the daemon takes for many a number that it misreads.
constexpr std::array<std::string_view, 4> consequencesOfZero = {"broadcast-address", "no-port",
                                                                "no-words", "scale-zero"};

/// By document and path.
using Spot = std::pair<std::string_view, std::string_view>;

Spot spotOf(const Finding& x) {
    return {x.document, x.path};
}

std::set<Spot> spotsOf(const Findings& findings, bool (*isMeant)(const Finding&)) {
    std::set<Spot> spots;
    for (const Finding& x : findings)
        if (isMeant(x))
            spots.insert(spotOf(x));
    return spots;
}

bool isErrorOfZero(const Finding& x) {
    return x.severity == Severity::error &&
           std::find(consequencesOfZero.begin(), consequencesOfZero.end(), x.name) !=
               consequencesOfZero.end();
}

bool tellsAll(const Finding& x) {
    return x.name == "unknown-name" ||
           (x.name == "number-misread" && x.severity == Severity::error);
}

} // namespace

void dropConsequences(Findings& causes, Findings& checks) {
    const std::set<Spot> errors = spotsOf(checks, isErrorOfZero);
    for (Finding& x : causes)
        if (x.name == "number-misread" && errors.contains(spotOf(x)))
            x.severity = Severity::error;
    const std::set<Spot> told = spotsOf(causes, tellsAll);
    std::erase_if(checks, [&](const Finding& x) { return told.contains(spotOf(x)); });
}

void dropOfUnread(const Findings& checks, Findings& causes) {
    std::set<std::string_view> registers;
    for (const Finding& x : checks)
        if (x.name == "serial-never-read")
            registers.insert(x.path);
    std::erase_if(causes, [&](const Finding& x) {
        return (x.name == "unknown-name" || x.name == "number-misread") &&
               registers.contains(std::string_view(x.path).substr(0, x.path.rfind('/')));
    });
}

void easeSerialNames(Findings& findings, Severity severity, std::string_view text) {
    for (Finding& x : findings) {
        const std::size_t effect = x.message.rfind(noSerialLine);
        if (x.name != "unknown-name" || effect == std::string::npos)
            continue;
        x.severity = severity;
        x.message.replace(effect, noSerialLine.size(), text);
    }
}

} // namespace inspector
