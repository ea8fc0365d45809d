#pragma once

#include <string>

namespace inspector {

/// The shortest text that stands for the number.
std::string shortest(float number);

/// A scale as it was written, not as the nearest number of single precision is in double.
double writtenScale(float scale);

/// With so many digits, and without zeros at the end.
std::string rounded(double number, int digits);

} // namespace inspector
