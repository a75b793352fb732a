#include "gallery/over.h"

#include <utility>

namespace tool {
namespace {

uint8_t blend(unsigned value, unsigned alpha, unsigned background) {
    return static_cast<uint8_t>((value * alpha + background * (255 - alpha) + 127) / 255);
}

}  // namespace

PixelRows over(PixelRows rows, Color background) {
    if (rows.bits != 32) return rows;
    PixelRows opaque;
    opaque.width = rows.width;
    opaque.height = rows.height;
    opaque.bits = 24;
    opaque.read = [rows = std::move(rows), background](uint32_t y, uint8_t* packed) {
        std::vector<uint8_t> pixels(packedBytes(rows));
        rows.read(y, pixels.data());
        for (const uint8_t* from = pixels.data(); from != pixels.data() + pixels.size();
             from += 4) {
            *packed++ = blend(from[0], from[3], background.red);
            *packed++ = blend(from[1], from[3], background.green);
            *packed++ = blend(from[2], from[3], background.blue);
        }
    };
    return opaque;
}

}  // namespace tool
