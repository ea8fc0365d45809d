// Moments and their texts, in UTC and in several time zones, beside the C library's own.

#include "fuzz.h"

#include "support/time-zone.h"
#include "vx/date-time.h"
#include "vx/exception.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr const char* zones[] = {
    "UTC0",     "CET-1CEST,M3.5.0,M10.5.0/3",      "NPT-5:45", "WST-14", "AST12:59",
    "EST5EDT4", "LHST-10:30LHDT-11,M10.1.0,M4.1.0"};

/// As `strftime` writes the moment, with its milliseconds.
std::string plainText(vx::DateTime moment, const std::tm& tm) {
    char text[32];
    const auto size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &tm);
    const auto count = duration_cast<milliseconds>(moment.time_since_epoch()).count() % 1000;
    char fraction[32];
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(count));
    return std::string(text, size) + fraction;
}

std::string plainOffset(const std::tm& tm) {
    char text[8];
    std::strftime(text, sizeof text, "%z", &tm);
    return std::string(text, 3) + ":" + std::string(text + 3);
}

/// Before 1970 the milliseconds of the texts have a sign of their own.
bool isMeant(vx::DateTime moment) {
    return moment.time_since_epoch().count() >= 0;
}

void checkTexts(vx::DateTime moment) {
    const std::string utc = vx::toString(moment);
    const std::string local = vx::toLocalMsIsoString(moment);
    VX_ASSERT(utc.size() == 24 && local.size() == 29, utc, local);
    if (!isMeant(moment))
        return;
    const std::time_t whole = std::chrono::system_clock::to_time_t(moment);
    std::tm tm{};
    gmtime_r(&whole, &tm);
    VX_ASSERT(utc == plainText(moment, tm) + "Z", utc);
    localtime_r(&whole, &tm);
    VX_ASSERT(local == plainText(moment, tm) + plainOffset(tm), local);
    VX_ASSERT(vx::toDateTime(utc) == std::chrono::floor<milliseconds>(moment), utc);
}

/// The moment of a text whose numbers are digits alone and whose year isn't wrapped.
void checkPlainText(const std::string& text, vx::DateTime moment) {
    static const std::string form = "dddd-dd-ddTdd:dd:dd";
    for (std::size_t i = 0; i < form.size(); ++i)
        if (form[i] == 'd' && std::isdigit(static_cast<unsigned char>(text[i])) == 0)
            return;
    const auto number = [&](std::size_t at, std::size_t digits) {
        return std::stoi(text.substr(at, digits));
    };
    if (number(0, 4) < 1900 || number(0, 4) > 2250)
        return;
    std::tm tm{};
    tm.tm_year = number(0, 4) - 1900;
    tm.tm_mon = number(5, 2) - 1;
    tm.tm_mday = number(8, 2);
    tm.tm_hour = number(11, 2);
    tm.tm_min = number(14, 2);
    tm.tm_sec = number(17, 2);
    const auto fraction = moment - vx::DateTime(seconds(timegm(&tm)));
    // What is no digit ends the fraction; three of them count.
    std::string digits = text[19] == '.' ? text.substr(20, 3) : "";
    digits.resize(std::min(digits.find_first_not_of("0123456789"), digits.size()));
    digits.resize(3, '0');
    VX_ASSERT(fraction == milliseconds(std::stoi(digits)), text);
}

void checkReading(const std::string& text) {
    vx::DateTime moment;
    try {
        moment = vx::toDateTime(text);
    } catch (const vx::Exception&) {
        return;
    }
    VX_ASSERT(text.size() >= 20 && text.back() == 'Z', text);
    // The text ends at a NUL for the numbers and goes on for the rest.
    if (text.find('\0') != std::string::npos)
        return;
    checkPlainText(text, moment);
    // A wrapped year comes with a part of a millisecond.
    if (isMeant(moment))
        VX_ASSERT(vx::toDateTime(vx::toString(moment)) == std::chrono::floor<milliseconds>(moment),
                  text);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const TimeZone zone(input.PickValueInArray(zones));
    checkTexts(vx::DateTime(nanoseconds(input.ConsumeIntegral<std::int64_t>())));
    checkReading(input.ConsumeRemainingBytesAsString());
    return 0;
}
