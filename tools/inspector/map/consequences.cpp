#include "inspector/map/consequences.h"

#include "inspector/daemon/zero-names.h"

#include <set>
#include <string_view>
#include <utility>

namespace inspector {

void dropConsequences(const Findings& causes, Findings& checks) {
    using Place = std::pair<std::string_view, std::string_view>;
    std::set<Place> places;
    for (const Finding& x : causes)
        if (x.name == "unknown-name" ||
            (x.name == "number-misread" && x.severity == Severity::error))
            places.emplace(x.document, x.path);
    std::erase_if(checks,
                  [&](const Finding& x) { return places.contains(Place(x.document, x.path)); });
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

void easeOverTcp(Findings& findings) {
    for (Finding& x : findings) {
        const std::size_t effect = x.message.rfind(noSerialLine);
        if (x.name != "unknown-name" || effect == std::string::npos)
            continue;
        x.severity = Severity::hint;
        x.message.replace(effect, noSerialLine.size(), "over TCP nothing depends on it");
    }
}

} // namespace inspector
