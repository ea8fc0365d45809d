#include "inspector/budget/bus-timing.h"

#include "inspector/daemon/enum-names.h"

namespace inspector {
namespace {

constexpr double defaultTimeOut = 5;
// Of frames on a serial line, with address, function and check sum.
constexpr int charactersOfRequest = 8;
constexpr int charactersAroundWords = 5;
constexpr int charactersOfWord = 2;
constexpr double charactersOfGap = 3.5;
// "Modbus over serial line": above 19200 baud the gap stays as it is.
constexpr double fastestBaudOfGap = 19200;
constexpr double leastGap = 0.00175;

} // namespace

BusTiming::BusTiming(const Installation& installation) : m_timeOut(defaultTimeOut) {
    if (installation.config && installation.config->value.timeoutResponseSec > 0)
        m_timeOut = installation.config->value.timeoutResponseSec;
    if (isTcp(installation))
        return;
    vxModel::SerialPortConfig line{.baudRate = vxModel::BaudRateType::baud9600,
                                   .parity = vxModel::Parity::even,
                                   .stopBits = vxModel::StopBits::bits1};
    m_isAssumed =
        !installation.serial || installation.serial->value.baudRate == vxModel::BaudRateType::none;
    if (!m_isAssumed)
        line = installation.serial->value;
    const double baud = digitsOf(line.baudRate);
    const bool hasParity =
        line.parity == vxModel::Parity::even || line.parity == vxModel::Parity::odd;
    constexpr int startAndDataBits = 9;
    const int bits = startAndDataBits + (hasParity ? 1 : 0) + digitsOf(line.stopBits);
    m_character = bits / baud;
    m_gap = baud > fastestBaudOfGap ? leastGap : charactersOfGap * m_character;
}

double BusTiming::exchange(int words) const {
    const int characters = charactersOfRequest + charactersAroundWords + charactersOfWord * words;
    return characters * m_character + m_gap;
}

} // namespace inspector
