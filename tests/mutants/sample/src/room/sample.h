#pragma once

namespace sample {

inline bool isLetter(char c) {
    return c >= 'a' && c <= 'z';
}

int toByte(int value);
int countLetters(const char* text);

}  // namespace sample
