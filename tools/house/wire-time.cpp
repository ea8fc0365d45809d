#include "house/wire-time.h"

#include <algorithm>

namespace house {

WireTime::WireTime(int baud, bool hasParity, int stopBits) {
    using namespace std::chrono_literals;
    const int bits = 1 + 8 + (hasParity ? 1 : 0) + stopBits;
    m_byte = Duration(1s) * bits / baud;
    // Three and a half bytes, but never less than Modbus has for all fast lines.
    m_silence = std::max<Duration>(m_byte * 7 / 2, 1750us);
}

WireTime::Duration WireTime::ofExchange(std::size_t requestBytes, std::size_t answerBytes) const {
    return m_byte * static_cast<int>(requestBytes + answerBytes) + m_silence;
}

} // namespace house
