// Rows of a picture as the colour steps see them: red, green, blue, a byte each.
#pragma once

#include <cstdint>

namespace tivar {

// The colours of row y, 0 = the top one. scratch has room for a row; the result is scratch or lies
// in the picture. Any number of threads may ask at the same time, each with scratch of its own.
struct ColorRows {
    uint32_t width;
    uint32_t height;
    const uint8_t* (*read)(const void* context, uint32_t y, uint8_t* scratch);
    const void* context;
};

inline const uint8_t* rowOf(const ColorRows& rows, uint32_t y, uint8_t* scratch) {
    return rows.read(rows.context, y, scratch);
}

// A palette of the file.
struct ColorTable {
    uint32_t count;
    uint8_t entries[256][3];  // red, green, blue
};

}  // namespace tivar
