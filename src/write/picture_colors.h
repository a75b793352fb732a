// What colours a picture has, and how many pixels of each.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/color_point.h"
#include "write/rows.h"
#include "write/watch.h"

namespace tivar {

enum class PaletteResult { kDone, kNoMemory, kCancelled };

// Up to so many colours are listed one by one; of more, those that share 6 bits a channel become
// one point.
constexpr uint32_t kMostListed = 8192;

struct PictureColors {
    Block<ColorPoint> points;
    uint32_t count = 0;
    bool listed = false;  // every point is one of the picture's colours
};

// Looks at every row once. The points come in an order that does not depend on the threads.
PaletteResult countColors(const ColorRows& rows, int threads, Watch& watch, PictureColors& colors);

}  // namespace tivar
