// The error stack of the device state and the reply buffer, through which operations answer.
#pragma once

#include <cstdint>

namespace tivar {

// Pushes an error code on the device's error stack; nothing happens without a device state.
void push_er(int16_t code);

// Appends count, first record and overflow count to the reply buffer. No opcode leads here.
void dq_es();

// Appends length bytes to the reply buffer, cut to what it still holds.
void mov2buf(const void* source, uint32_t length);

}  // namespace tivar
