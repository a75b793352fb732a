// The C libraries leave by longjmp when something fails. A guarded step holds nothing that needs a
// destructor, so that the jump skips none; what does lives in the caller.
#pragma once

#include <csetjmp>

#include "picture/image.h"
#include "process/failure.h"

namespace tool {

struct DecodeGuard {
    std::jmp_buf place;
    char message[256] = "";
    bool limited = false;  // a limit was passed, which says nothing about damage
};

// Stores message and jumps back to the guarded call.
[[noreturn]] void leave(DecodeGuard& guard, const char* message);

// Runs step(state): whether it did not leave.
bool runGuarded(DecodeGuard& guard, void (*step)(void*), void* state);

// A Failure about the picture that was read, with the guard's message.
[[noreturn]] void failDecoding(const DecodeGuard& guard);

template <class Step>
bool survives(DecodeGuard& guard, Step step) {
    return runGuarded(
        guard, [](void* state) { (*static_cast<Step*>(state))(); }, &step);
}

// The same for steps of reading, which fail when they leave.
template <class Step>
void guarded(DecodeGuard& guard, Step step) {
    if (!survives(guard, step)) failDecoding(guard);
}

// Runs read(), which fills the picture; for lenient readers what it could not read stays as it is,
// with a notice.
template <class Read>
void tolerating(const ReadRequest& request, Image& image, Read read) {
    try {
        read();
    } catch (const Failure& failure) {
        if (!request.lenient) throw;
        image.notices.push_back({failure.what, "what is missing is left empty"});
    }
}

}  // namespace tool
