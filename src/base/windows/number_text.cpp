// The C library here knows one locale for the whole process, whose point may be a comma.
#include "base/number_text.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace tivar {
namespace {

const char* localPoint() {
    const lconv* locale = std::localeconv();
    const bool known = locale != nullptr && locale->decimal_point != nullptr;
    return known && locale->decimal_point[0] != '\0' ? locale->decimal_point : ".";
}

}  // namespace

double parseDouble(const char* text) {
    const char point = localPoint()[0];
    if (point == '.') return std::strtod(text, nullptr);
    char local[1024];  // digits beyond these make no difference
    size_t length = 0;
    for (; text[length] != '\0' && text[length] != point; ++length) {
        if (length + 1 == std::size(local)) break;
        local[length] = text[length] == '.' ? point : text[length];
    }
    local[length] = '\0';
    return std::strtod(local, nullptr);
}

void formatDouble(char* text, size_t capacity, double value, int digits) {
    std::snprintf(text, capacity, "%.*g", digits, value);
    const char point = localPoint()[0];
    if (char* found = point == '.' || capacity == 0 ? nullptr : std::strchr(text, point))
        *found = '.';
}

}  // namespace tivar
