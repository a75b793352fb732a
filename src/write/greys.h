// Greys: how light a colour is, and what a palette of greys offers every level.
#pragma once

#include <cstddef>
#include <cstdint>

#include "write/rows.h"

namespace tivar {

// How light a colour is: the luma of ITU-R BT.601 in 65536ths, rounded. Greys are themselves.
inline uint8_t lumaOf(const uint8_t* color) {
    return static_cast<uint8_t>(
        (color[0] * 19595u + color[1] * 38470u + color[2] * 7471u + 32768u) >> 16);
}

void greysOf(const uint8_t* rgb, uint32_t width, uint8_t* greys);

bool isGreyTable(const ColorTable& table);

// A level between two entries of a palette of greys that follow each other. At an entry's own
// level, and beyond the last ones, both are that entry.
struct GreyPlace {
    uint8_t lower;
    uint8_t upper;
    uint8_t lowerIndex;  // the lowest of entries that are alike
    uint8_t upperIndex;
    uint8_t part;  // of the way from lower to upper, in 255ths
};

struct GreyPlaces {
    GreyPlace at[256];
};

// table has at least one entry, and greys only.
void placeGreys(const ColorTable& table, GreyPlaces& places);

}  // namespace tivar
