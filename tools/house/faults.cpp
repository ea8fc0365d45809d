#include "house/faults.h"

#include <algorithm>
#include <regex>
#include <set>
#include <stdexcept>

namespace house::faults {

namespace {

const std::regex& ofMeter() {
    static const std::regex form(
        "([1-9][0-9]{0,2})=(silent|(exception):([1-9]|1[01])|(late):([1-9][0-9]{0,4}))");
    return form;
}

const std::regex& ofServer() {
    static const std::regex form("(rtuconfig|attached|supported)=status:([45][0-9]{2})");
    return form;
}

Fault toFault(const std::smatch& words) {
    if (words[3].matched)
        return Fault::exception(static_cast<unsigned>(std::stoul(words[4])));
    if (words[5].matched)
        return Fault::late(std::chrono::milliseconds(std::stoul(words[6])));
    return Fault::silence;
}

std::string toPath(const std::string& name) {
    if (name == "rtuconfig")
        return LocalServer::rtuConfigPath;
    return name == "attached" ? LocalServer::attachedPath : LocalServer::supportedPath;
}

void orderOne(const std::string& text, const Home& home, ModbusSlave& slave, LocalServer& server) {
    std::smatch words;
    if (std::regex_match(text, words, ofServer())) {
        const auto status = static_cast<unsigned>(std::stoul(words[2]));
        server.answerAlways(toPath(words[1]),
                            Answer::withStatus(status, "A fault that was ordered"));
        return;
    }
    if (!std::regex_match(text, words, ofMeter()))
        throw std::runtime_error("'" + text + "' is none of " + forms);
    const int address = std::stoi(words[1]);
    const auto& meters = home.meters();
    if (std::none_of(meters.begin(), meters.end(),
                     [&](const Meter& meter) { return meter.slaveAddress == address; }))
        throw std::runtime_error("The fault " + text + " fits no meter of the home");
    slave.unit(address).failAlways(toFault(words));
}

} // namespace

const char* const forms = "ADDRESS=silent, ADDRESS=exception:1 to 11, ADDRESS=late:1 to 99999, "
                          "rtuconfig|attached|supported=status:400 to 599";

bool isFault(const std::string& text) {
    return std::regex_match(text, ofMeter()) || std::regex_match(text, ofServer());
}

void order(const std::vector<std::string>& texts, const Home& home, ModbusSlave& slave,
           LocalServer& server) {
    std::set<std::string> places;
    for (const std::string& text : texts) {
        if (!places.insert(text.substr(0, text.find('='))).second)
            throw std::runtime_error("The fault " + text + " is the second one of its place");
        orderOne(text, home, slave, server);
    }
}

} // namespace house::faults
