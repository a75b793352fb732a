// The error stack of the device state and the reply buffer, through which operations answer.
#pragma once

#include <tivar/driver.h>

#include <cstdint>

namespace tivar {

// Pushes an error code on the device's error stack; nothing happens without a device state.
void push_er(int16_t code);

// Appends count, first record and overflow count to the reply buffer. No opcode leads here.
void dq_es();

// Appends length bytes to the reply buffer, cut to what it still holds. Without a device state, or
// a source, mov2buf does nothing.
void mov2buf(const void* source, uint32_t length);
void appendReply(EMData& device, const void* source, uint32_t length);

template <class T>
void reply(EMData& device, const T& value) {
    appendReply(device, &value, sizeof value);
}

}  // namespace tivar
