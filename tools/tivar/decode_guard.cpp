#include "decode_guard.h"

#include <cstdio>

#include "failure.h"

namespace tool {
namespace {

bool survives(DecodeGuard& guard, void (*step)(void*), void* state) {
    if (setjmp(guard.place) != 0) return false;
    step(state);
    return true;
}

}  // namespace

void leave(DecodeGuard& guard, const char* message) {
    std::snprintf(guard.message, sizeof guard.message, "%s", message);
    std::longjmp(guard.place, 1);
}

void runGuarded(DecodeGuard& guard, void (*step)(void*), void* state) {
    if (!survives(guard, step, state)) {
        fail(std::string("the picture is damaged or cut short (") + guard.message + ")",
             "get a complete copy of it");
    }
}

}  // namespace tool
