#include "color/rows.h"

#include <cstring>

#include "color/pixel.h"

namespace tivar {

namespace {

void unpackNibbles(const uint8_t* row, uint32_t width, uint8_t* indices) {
    for (uint32_t pair = 0; pair < (width + 1) / 2; ++pair) {
        indices[pair * 2] = static_cast<uint8_t>(row[pair] >> 4);
        indices[pair * 2 + 1] = row[pair] & 15;
    }
}

void unpackBits(const uint8_t* row, uint32_t width, uint8_t* indices) {
    for (uint32_t group = 0; group < (width + 7) / 8; ++group) {
        for (uint32_t i = 0; i < 8; ++i)
            indices[group * 8 + i] = static_cast<uint8_t>(row[group] >> (7 - i) & 1);
    }
}

// The indices that fill whole bytes; their number.
uint32_t packNibbles(const uint8_t* indices, uint32_t width, uint8_t* row) {
    uint32_t done = 0;
    for (; done + 2 <= width; done += 2)
        row[done / 2] = static_cast<uint8_t>(indices[done] << 4 | (indices[done + 1] & 15));
    return done;
}

uint32_t packBits(const uint8_t* indices, uint32_t width, uint8_t* row) {
    uint32_t done = 0;
    for (; done + 8 <= width; done += 8) {
        uint32_t bits = 0;
        for (uint32_t i = 0; i < 8; ++i) bits = bits << 1 | (indices[done + i] & 1u);
        row[done / 8] = static_cast<uint8_t>(bits);
    }
    return done;
}

}  // namespace

void unpackIndices(const uint8_t* row, int16_t bitsPerPixel, uint32_t width, uint8_t* indices) {
    if (bitsPerPixel == 4) unpackNibbles(row, width, indices);
    if (bitsPerPixel == 1) unpackBits(row, width, indices);
}

void packIndices(const uint8_t* indices, int16_t bitsPerPixel, uint32_t width, uint8_t* row) {
    uint32_t done = 0;
    switch (bitsPerPixel) {
        case 1:
            done = packBits(indices, width, row);
            break;
        case 4:
            done = packNibbles(indices, width, row);
            break;
        case 8:
            std::memcpy(row, indices, width);
            return;
        default:
            break;
    }
    for (; done < width; ++done) storePixel(row, done, bitsPerPixel, indices[done]);
}

}  // namespace tivar
