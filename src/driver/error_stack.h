#pragma once

#include <cstdint>

namespace tivar {

// Pushes an error code on the device's error stack; nothing happens without a device state.
void push_er(int16_t code);

}  // namespace tivar
