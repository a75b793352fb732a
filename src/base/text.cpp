#include "base/text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace tivar {
namespace {

int upper(char c) {
    return std::toupper(static_cast<unsigned char>(c));
}

}  // namespace

char* strupr(char* text) {
    if (text == nullptr) return text;
    for (char* p = text; *p != '\0'; ++p) *p = static_cast<char>(upper(*p));
    return text;
}

char* strlower(char* text) {
    if (text == nullptr) return text;
    for (char* p = text; *p != '\0'; ++p)
        *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    return text;
}

char* strlwr(char* text) {
    return strlower(text);
}

int32_t stricmp(const char* a, const char* b) {
    while (*a != '\0' && *b != '\0' && upper(*a) == upper(*b)) {
        ++a;
        ++b;
    }
    return upper(*b) - upper(*a);
}

int32_t strnicmp(const char* a, const char* b, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (upper(a[i]) != upper(b[i])) return upper(b[i]) - upper(a[i]);
    }
    return 0;
}

void copyBounded(char* destination, size_t capacity, const char* text) {
    if (capacity == 0) return;
    const size_t length = ::strnlen(text, capacity - 1);
    std::memcpy(destination, text, length);
    destination[length] = '\0';
}

int32_t parseInt(const char* text) {
    const long long value = std::strtoll(text, nullptr, 10);
    return static_cast<int32_t>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
}

}  // namespace tivar
