// A record; with FORGOTTEN_MEMBER its field list names a member that is not there.

#include "vx/record.h"

struct Point {
    int x = 0;
#ifndef FORGOTTEN_MEMBER
    int height = 0;
#endif

    VX_FIELDS(Point, x, height)
};

std::string use() {
    return vx::toJson(vx::toJsonFragment(vx::fromJson<Point>("{}")));
}
