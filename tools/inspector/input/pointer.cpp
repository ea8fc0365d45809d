#include "inspector/input/pointer.h"

namespace inspector {

std::string pointerTo(std::string_view pointer, std::string_view key) {
    std::string result(pointer);
    result += '/';
    for (const char c : key) {
        if (c == '~')
            result += "~0";
        else if (c == '/')
            result += "~1";
        else
            result += c;
    }
    return result;
}

} // namespace inspector
