#include "picture/decode_guard.h"

#include <cstdio>

#include "process/failure.h"

namespace tool {

void leave(DecodeGuard& guard, const char* message) {
    std::snprintf(guard.message, sizeof guard.message, "%s", message);
    // NOLINTNEXTLINE(cert-err52-cpp): the libraries' way to leave
    std::longjmp(guard.place, 1);
}

bool runGuarded(DecodeGuard& guard, void (*step)(void*), void* state) {
    // NOLINTNEXTLINE(cert-err52-cpp): nothing is skipped, see the header
    if (setjmp(guard.place) != 0) return false;
    step(state);
    return true;
}

void failDecoding(const DecodeGuard& guard) {
    if (guard.limited) {
        fail(guard.message, "raise --limit-pixels if you trust the file, or convert it first");
    }
    fail(std::string("the picture is damaged or cut short (") + guard.message + ")",
         "get a complete copy of it");
}

}  // namespace tool
