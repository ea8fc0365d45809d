#include "inspector/live/course-json.h"

#include <cmath>

namespace inspector {

void writePowers(JsonOutput& json, const MeterCourse& course) {
    json.key("powers");
    json.beginList();
    for (const PowerPoint& point : course.powers()) {
        json.beginList();
        json.value(point.time);
        json.value(std::round(point.watts * 10) / 10);
        json.endList();
    }
    json.endList();
}

} // namespace inspector
