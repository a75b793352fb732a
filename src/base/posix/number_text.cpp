#include "base/number_text.h"

#include <locale.h>
#include <stdlib.h>

#include <cstdio>

namespace tivar {

double parseDouble(const char* text) {
    const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    if (plain == nullptr) return 0.0;
    const double value = strtod_l(text, nullptr, plain);
    freelocale(plain);
    return value;
}

void formatDouble(char* text, size_t capacity, double value, int digits) {
    const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t previous = plain == nullptr ? nullptr : uselocale(plain);
    std::snprintf(text, capacity, "%.*g", digits, value);
    if (plain == nullptr) return;
    uselocale(previous);
    freelocale(plain);
}

}  // namespace tivar
