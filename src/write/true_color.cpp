#include "write/true_color.h"

#include <cstring>

#include "color/red_blue.h"

namespace tivar {
namespace {

void exchangeFourBytes(const uint8_t* row, uint32_t width, uint8_t* out) {
    for (uint32_t x = 0; x < width; ++x, row += 4, out += 4) {
        const uint8_t pixel[4] = {row[2], row[1], row[0], row[3]};
        std::memcpy(out, pixel, sizeof pixel);
    }
}

}  // namespace

void putColors24(const RowColors& how, const uint8_t* row, uint8_t* scratch, uint8_t* out) {
    if (how.format == TIVAR_BGR) {
        std::memcpy(out, row, size_t{how.width} * 3);
    } else {
        copyRowRedBlue(colorsOf(how, row, scratch), out, how.width);
    }
}

void putColors32(const RowColors& how, bool keepsAlpha, const uint8_t* row, uint8_t* scratch,
                 uint8_t* out) {
    if (keepsAlpha && how.format == TIVAR_BGRA) {
        std::memcpy(out, row, size_t{how.width} * 4);
        return;
    }
    if (keepsAlpha) return exchangeFourBytes(row, how.width, out);
    const uint8_t* colors = colorsOf(how, row, scratch);
    for (uint32_t x = 0; x < how.width; ++x, colors += 3, out += 4) {
        const uint8_t pixel[4] = {colors[2], colors[1], colors[0], 0};
        std::memcpy(out, pixel, sizeof pixel);
    }
}

}  // namespace tivar
