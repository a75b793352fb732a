#include "gallery/figures.h"

#include <cmath>
#include <cstdio>

namespace tool {

std::string fixed(double number, int digits) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", digits, number);
    return text;
}

std::string grouped(uint64_t number) {
    std::string digits = std::to_string(number);
    for (size_t at = digits.size(); at > 3;) {
        at -= 3;
        digits.insert(at, "&#8239;");
    }
    return digits;
}

std::string decibelText(double decibels, bool sameColors) {
    if (std::isinf(decibels)) return sameColors ? "identical" : "no error";
    return fixed(decibels, 2) + "&nbsp;dB";
}

std::string decibelValue(double decibels) {
    return std::isinf(decibels) ? "identical" : fixed(decibels, 6);
}

std::string timeText(double seconds) {
    return fixed(seconds * 1000, 1) + "&nbsp;ms";
}

}  // namespace tool
