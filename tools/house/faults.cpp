#include "house/faults.h"

#include <algorithm>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>

namespace house::faults {

namespace {

/// What happens at the place of a fault: a name, and behind a colon a number of a range, if there
/// is one.
struct Form {
    const char* name;
    unsigned from = 0;
    unsigned to = 0;

    std::string text() const {
        if (to == 0)
            return name;
        return std::string(name) + ":" + std::to_string(from) + " to " + std::to_string(to);
    }
};

struct FormOfMeter {
    Form form;
    Fault (*make)(unsigned number);
};

Fault late(unsigned milliseconds) {
    return Fault::late(std::chrono::milliseconds(milliseconds));
}

const FormOfMeter formsOfMeter[] = {
    {{"silent"}, [](unsigned) { return Fault::silence; }},
    {{"exception", 1, 11}, Fault::exception},
    {{"late", 1, 99999}, late},
    {{"garbled"}, [](unsigned) { return Fault::garbled; }},
    {{"unit", 1, 247}, Fault::fromUnit},
};

const Form formOfServer{"status", 400, 599};

const std::map<std::string, std::string> paths{{"rtuconfig", LocalServer::rtuConfigPath},
                                               {"attached", LocalServer::attachedPath},
                                               {"supported", LocalServer::supportedPath}};

/// A text in its parts. The address of a meter, or the number of its form, is 0 if there is none.
struct Parts {
    std::string place;
    unsigned address = 0;
    std::string name;
    unsigned number = 0;

    bool have(const Form& form) const {
        return name == form.name && number >= form.from && number <= form.to;
    }
};

unsigned toNumber(const std::string& digits) {
    return digits.empty() ? 0 : static_cast<unsigned>(std::stoul(digits));
}

std::optional<Parts> split(const std::string& text) {
    static const std::regex form("(([1-9][0-9]{0,2})|[a-z]+)=([a-z]+)(:([1-9][0-9]{0,4}))?");
    std::smatch words;
    if (!std::regex_match(text, words, form))
        return std::nullopt;
    return Parts{words[1], toNumber(words[2]), words[3], toNumber(words[5])};
}

bool isOfServer(const Parts& parts) {
    return paths.contains(parts.place) && parts.have(formOfServer);
}

std::optional<Fault> tryToFaultOfMeter(const Parts& parts) {
    for (const auto& [form, make] : formsOfMeter) {
        if (parts.address != 0 && parts.have(form))
            return make(parts.number);
    }
    return std::nullopt;
}

void orderOfServer(const Parts& parts, LocalServer& server) {
    server.answerAlways(paths.at(parts.place),
                        Answer::withStatus(parts.number, "A fault that was ordered"));
}

void orderOfMeter(const std::string& text, const Parts& parts, const Fault& fault, const Home& home,
                  ModbusSlave& slave) {
    const auto address = static_cast<int>(parts.address);
    const auto& meters = home.meters();
    if (std::none_of(meters.begin(), meters.end(),
                     [&](const Meter& meter) { return meter.slaveAddress == address; }))
        throw std::runtime_error("The fault " + text + " fits no meter of the home");
    if (fault.kind() == Fault::Kind::otherUnit && fault.unit() == parts.address)
        throw std::runtime_error("The fault " + text + " names the meter's own unit");
    slave.unit(address).failAlways(fault);
}

} // namespace

std::string forms() {
    std::string result;
    for (const FormOfMeter& one : formsOfMeter)
        result += "ADDRESS=" + one.form.text() + ", ";
    return result + "rtuconfig|attached|supported=" + formOfServer.text();
}

bool isFault(const std::string& text) {
    const std::optional<Parts> parts = split(text);
    return parts && (isOfServer(*parts) || tryToFaultOfMeter(*parts));
}

void order(const std::vector<std::string>& texts, const Home& home, ModbusSlave& slave,
           LocalServer& server) {
    std::set<std::string> places;
    for (const std::string& text : texts) {
        if (!isFault(text))
            throw std::runtime_error("'" + text + "' is none of " + forms());
        const Parts parts = *split(text);
        if (!places.insert(parts.place).second)
            throw std::runtime_error("The fault " + text + " is the second one of its place");
        if (const std::optional<Fault> fault = tryToFaultOfMeter(parts))
            orderOfMeter(text, parts, *fault, home, slave);
        else
            orderOfServer(parts, server);
    }
}

} // namespace house::faults
