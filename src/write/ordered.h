// Ordered dithering over a palette: for displays that redraw parts of themselves. What a pixel
// becomes depends on its colour and its place alone.
//
// Palettes of greys mix the two entries around a grey exactly. Others mix as many entries as a
// colour takes: T. Knoll's pattern dithering (US patent 6,606,166, expired), thresholds from a mask
// of blue noise.
#pragma once

#include <cstdint>

#include "write/few_entries.h"
#include "write/greys.h"
#include "write/nearest_colors.h"
#include "write/rows.h"

namespace tivar {

// So many entries a colour is mixed of, fewer where the palette leaves small gaps.
constexpr uint32_t kMostMixed = 32;
constexpr uint32_t kLeastMixed = 8;

struct Ordered {
    bool ofGreys;
    GreyPlaces places;
    uint32_t mixed;
    ColorTable table;
    uint8_t byLight[256];     // indices, dark entries first
    uint8_t lightRanks[256];  // their places there
#ifdef TIVAR_SSE2
    uint64_t lanes[256];  // entries, a channel 16 bits
    FewEntries few;
#endif
};

// table has 1 to 256 entries.
void prepareOrdered(Ordered& ordered, const ColorTable& table);

// Row y of the picture. Rows may come in any order, and on several threads. nearest has the same
// table.
void orderRow(const Ordered& ordered, const NearestColors& nearest, uint32_t y, const uint8_t* rgb,
              uint32_t width, uint8_t* indices);

}  // namespace tivar
