// Tables of the error diffusion.
#pragma once

#include <cstdint>

namespace tivar {

constexpr int kMonoEntries = 8;
constexpr int kMustHaveEntries = 8;

// The greys of 1-bit output. The stored bit is bit 0 of the grey's index, so black, 64, 160 and 208
// become 0, white, 128, 192 and 224 become 1.
constexpr uint8_t MonoTable[kMonoEntries * 3] = {0,   0,   0,   255, 255, 255, 64,  64,
                                                 64,  128, 128, 128, 160, 160, 160, 192,
                                                 192, 192, 208, 208, 208, 224, 224, 224};

// Appended to a reduced table.
constexpr uint8_t must_have_colors[kMustHaveEntries * 3] = {
    255, 255, 255, 255, 255, 0, 255, 0, 255, 0, 255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0};

}  // namespace tivar
