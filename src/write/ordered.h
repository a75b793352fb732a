// Ordered dithering over a palette: for displays that redraw parts of themselves. What a pixel
// becomes depends on its colour and its place alone.
//
// Palettes of greys mix the two entries around a grey exactly. Others mix as many entries as a
// colour takes: T. Knoll's pattern dithering (US patent 6,606,166, expired), thresholds from a mask
// of blue noise.
#pragma once

#include <cstdint>

#include "write/greys.h"
#include "write/nearest_entry.h"
#include "write/rows.h"

namespace tivar {

// Entries that a colour is mixed of, dark ones first.
constexpr int kMixed = 32;
struct Mixture {
    int32_t color;  // whose it is; -1 = none yet
    uint8_t indices[kMixed];
};

constexpr uint32_t kMixtures = 1024;

// Lists and mixtures are made when they are first asked for: a record serves one thread.
struct Ordered {
    bool ofGreys;
    GreyPlaces places;
    NearestEntry nearest;
    uint8_t byLight[256];     // indices, dark entries first
    Block<Mixture> mixtures;  // of the last colours that fell there
};

// False without memory. table has 1 to 256 entries.
bool prepareOrdered(Ordered& ordered, const ColorTable& table);

// Row y of the picture; rows may come in any order.
void orderRow(Ordered& ordered, uint32_t y, const uint8_t* rgb, uint32_t width, uint8_t* indices);

}  // namespace tivar
