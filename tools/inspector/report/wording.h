#pragma once

#include "inspector/home/home.h"

#include <string>
#include <string_view>

// How the report words what people and machines read.

namespace inspector {

/// "2026-11-14T03:24:08.123Z"
std::string utcText(Moment time);
/// "2026-11-14 04:24:08", in the zone of the log; "?" of 0, which is the time of what no line with
/// a time came ahead of.
std::string localText(Moment time, int offsetMinutes);
/// As long as something took: "2.123 s", "3 min 20 s", "2 d 5 h".
std::string durationText(Moment milliseconds);
/// With so many digits behind the point.
std::string fixed(double number, int digits);
/// "input 10 powerImport"
std::string nameOf(const RegisterPlace& place);
/// The name of a register's field.
std::string fieldNameOf(const RegisterPlace& place);
/// "Wallbox (3, 30115577)", of what is known of it.
std::string nameOf(const Meter& meter);
/// What a mark of late answers says.
std::string wordsOf(std::string_view lateAnswer);

} // namespace inspector
