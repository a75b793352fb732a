// Case conversion, case-blind comparison and bounded copies of zero-terminated strings.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tivar {

char* strupr(char* text);
char* strlower(char* text);
char* strlwr(char* text);

// 0 when equal regardless of case. Kept: the sign is that of b minus a.
int32_t stricmp(const char* a, const char* b);

// The same over exactly n characters. Kept: it does not stop where the strings end.
int32_t strnicmp(const char* a, const char* b, int32_t n);

// Copies text into capacity bytes, cut to fit and always terminated.
void copyBounded(char* destination, size_t capacity, const char* text);

// Whole decimal number with the standard conversion's rules, saturating.
int32_t parseInt(const char* text);

inline bool isEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

}  // namespace tivar
