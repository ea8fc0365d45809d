#include "house/serial-line.h"

#include <array>
#include <string>

namespace house {

namespace {

constexpr std::array baudRates{"none",      "baud9600",  "baud19200",
                               "baud38400", "baud57600", "baud115200"};
constexpr std::array parities{"uninitilzed", "none", "even", "odd"};
constexpr std::array dataBits{"none", "bits7", "bits8", "bits9"};
constexpr std::array stopBits{"none", "bits1", "bits2"};

/// The number at the end of a name like "baud9600".
int numberOf(const JsonPart& name) {
    const std::string text = name.text();
    const std::size_t digits = text.find_first_of("0123456789");
    name.check(digits != std::string::npos, "Not set");
    return std::stoi(text.substr(digits));
}

} // namespace

void checkSerialLine(const JsonPart& line) {
    line.allowOnly({"serialDevice", "baudRate", "parity", "dataBits", "stopBits"});
    line.checkName("baudRate", baudRates);
    line.checkName("parity", parities);
    line.checkName("dataBits", dataBits);
    line.checkName("stopBits", stopBits);
}

WireTime wireTimeOn(const JsonPart& line) {
    const std::string parity = line.text("parity");
    line.at("parity").check(parity != parities.front(), "Not set");
    return {numberOf(line.at("baudRate")), parity != "none", numberOf(line.at("stopBits"))};
}

} // namespace house
