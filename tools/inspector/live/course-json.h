#pragma once

#include "inspector/live/meter-course.h"
#include "inspector/output/json-output.h"

namespace inspector {

/// Member of an object that is open: the powers, as pairs of time and watts.
void writePowers(JsonOutput& json, const MeterCourse& course);

} // namespace inspector
