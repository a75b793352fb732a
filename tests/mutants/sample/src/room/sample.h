#pragma once

namespace sample {

inline bool isLetter(char c) {
    return c >= 'a' && c <= 'z';
}

// Its test alone has it in any form.
template <class Number>
Number twice(Number value) {
    return value + value;
}

int toByte(int value);
int countLetters(const char* text);

}  // namespace sample
