// Floating-point numbers as text, with a point, whatever the process's locale.
#pragma once

#include <cstddef>

namespace tivar {

double parseDouble(const char* text);

// "%.<digits>g".
void formatDouble(char* text, size_t capacity, double value, int digits);

}  // namespace tivar
