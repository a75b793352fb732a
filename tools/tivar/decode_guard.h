// The C decoders leave by longjmp when a file is damaged. A guarded step holds nothing that needs a
// destructor, so that the jump skips none; what does lives in the caller.

#ifndef TIVAR_TOOL_DECODE_GUARD_H
#define TIVAR_TOOL_DECODE_GUARD_H

#include <csetjmp>

namespace tool {

struct DecodeGuard {
    std::jmp_buf place;
    char message[256] = "";
};

// Stores message and jumps back to the guarded call.
[[noreturn]] void leave(DecodeGuard& guard, const char* message);

// step(state) unless it leaves: then a Failure that carries the guard's message.
void runGuarded(DecodeGuard& guard, void (*step)(void*), void* state);

template <class Step>
void guarded(DecodeGuard& guard, Step&& step) {
    runGuarded(
        guard, [](void* state) { (*static_cast<Step*>(state))(); }, &step);
}

}  // namespace tool

#endif
