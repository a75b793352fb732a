// What tests/mutants/selftest changes: its test notices some of the changes, and it is known which.
#include "room/sample.h"

namespace sample {

int toByte(int value) {
    if (value < 0) return 0;
    return value > 255 ? 255 : value;
}

int countLetters(const char* text) {
    if (text == nullptr) return 0;
    int count = 0;
    while (isLetter(*text)) {
        ++text;
        ++count;
    }
    return count;
}

}  // namespace sample
