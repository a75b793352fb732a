#include "write/high_rows.h"

#include <bit>

namespace tivar {

bool prepareHighRows(HighRows& rows, uint32_t width, int32_t masks, int32_t dither) {
    const int greenBits = masks == TIVAR_MASKS_555 ? 5 : 6;
    rows.dither = dither;
    rows.width = width;
    if (dither == TIVAR_DITHER_DIFFUSE)
        return prepareHighDiffusion(rows.diffusion, width, greenBits);
    prepareHigh(rows.format, greenBits);
    return true;
}

void putHighRow(HighRows& rows, uint32_t y, const uint8_t* colors, uint8_t* out) {
    auto* pixels = reinterpret_cast<uint16_t*>(out);
    if (rows.dither == TIVAR_DITHER_DIFFUSE) {
        diffuseHighRow(rows.diffusion, colors, pixels);
    } else if (rows.dither == TIVAR_DITHER_ORDERED) {
        orderHighRow(rows.format, y, colors, rows.width, pixels);
    } else {
        roundHighRow(rows.format, colors, rows.width, pixels);
    }
    if constexpr (std::endian::native == std::endian::big)
        for (uint32_t x = 0; x < rows.width; ++x)
            pixels[x] = static_cast<uint16_t>(pixels[x] << 8 | pixels[x] >> 8);
}

}  // namespace tivar
