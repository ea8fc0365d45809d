#include "inspector/home/haste-check.h"

#include "inspector/log/text-fields.h"

#include <utility>

namespace inspector {
namespace {

/// Whether a read that failed for this reason may have left an answer for the next one.
bool mayLeaveAnswer(std::string_view kind) {
    return kind == "timeout" || kind == "bad-crc" || kind == "bad-data" || kind == "wrong-slave";
}

} // namespace

void HasteCheck::connect(std::string_view connection) {
    *this = HasteCheck(*m_home);
    if (connection.starts_with("Connecting TCP"))
        m_lack.reset();
    const auto baud = wholeBehind(connection, " baud:");
    if (!connection.starts_with("Modbus serial device connecting") || baud.value_or(0) <= 0)
        return;
    const bool hasParity = between(connection, " parity:", " ") != "N";
    const auto stopBits = wholeBehind(connection, " stopBits:").value_or(1);
    // The daemon's pause, and then the shortest question and answer.
    constexpr double pause = 20;
    constexpr double startAndDataBits = 9;
    constexpr double characters = 8 + 7;
    const double bits = startAndDataBits + (hasParity ? 1 : 0) + static_cast<double>(stopBits);
    const double onLine = 1000 * characters * bits / static_cast<double>(*baud);
    // As long as a pause may take beyond what it should.
    constexpr double tooShort = 2;
    m_lack = onLine < tooShort ? HasteLack::slowness : HasteLack::pace;
    if (m_lack == HasteLack::pace)
        m_least = pause + onLine;
}

void HasteCheck::begin(Moment time) {
    m_last = time;
    m_isHasty = false;
}

void HasteCheck::take(Moment time) {
    const std::optional<Moment> last = std::exchange(m_last, time);
    if (!m_least || !last)
        return;
    // The times of the log are cut to milliseconds.
    const auto most = static_cast<double>(time - *last + 1);
    if (most >= *m_least) {
        ++m_usual;
        m_hasty = 0;
    } else if (time < *last) {
        // The clock was set back.
        m_hasty = 0;
    } else if (isKnown()) {
        ++m_hasty;
        m_isHasty = true;
    } else {
        // The line is none that takes this time, as that of a simulated house.
        m_least.reset();
    }
}

void HasteCheck::fail(Moment time, std::string_view kind) {
    m_last = time;
    if (!m_lack || m_isUntold || isKnown() || !mayLeaveAnswer(kind))
        return;
    m_isUntold = true;
    ++m_home->untoldHaste[*m_lack];
}

bool HasteCheck::end() {
    m_last.reset();
    // Whatever failed before left nothing, as all values took their time.
    if (m_isUntold && isKnown()) {
        m_isUntold = false;
        --m_home->untoldHaste[*m_lack];
    }
    // A single one may be a clock that was set back a little.
    return m_isHasty && m_hasty > 1;
}

} // namespace inspector
