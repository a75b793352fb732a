// How near a picture comes to its original.
#pragma once

#include "picture/pixel_rows.h"

namespace tool {

// Peak signal-to-noise ratios in decibels, infinite for no error.
struct Likeness {
    double plain{};
    double blurred{};   // of both pictures after a blur, as from a distance
    bool ofGreys{};     // of both pictures as greys
    bool sameColors{};  // nothing differs at all
};

bool haveSameColors(const PixelRows& a, const PixelRows& b);

// Whether a picture is compared as greys: it can have nothing else, or one bit for a pixel.
bool comparesGreys(const PixelRows& rows);

// Both have the same size.
Likeness likenessOf(const PixelRows& rows, const PixelRows& original, bool asGreys);

}  // namespace tool
