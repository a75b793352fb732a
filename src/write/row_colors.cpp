#include "write/row_colors.h"

#include <algorithm>
#include <cstring>

#include "color/red_blue.h"

namespace tivar {
namespace {

// value / 255 to the nearest whole number, for values up to 255 * 255.
uint8_t divideBy255(uint32_t value) {
    value += 128;
    return static_cast<uint8_t>((value + (value >> 8)) >> 8);
}

// red and blue are the places of the channels in a pixel of four bytes, alpha is the last.
void dropAlpha(const uint8_t* row, uint32_t width, unsigned red, unsigned blue, uint8_t* colors) {
    for (uint32_t x = 0; x < width; ++x, row += 4, colors += 3) {
        colors[0] = row[red];
        colors[1] = row[1];
        colors[2] = row[blue];
    }
}

void mixAlpha(const uint8_t* row, const RowColors& how, unsigned red, unsigned blue,
              uint8_t* colors) {
    for (uint32_t x = 0; x < how.width; ++x, row += 4, colors += 3) {
        const uint32_t alpha = row[3];
        const uint32_t rest = 255 - alpha;
        colors[0] = divideBy255(row[red] * alpha + how.background[0] * rest);
        colors[1] = divideBy255(row[1] * alpha + how.background[1] * rest);
        colors[2] = divideBy255(row[blue] * alpha + how.background[2] * rest);
    }
}

void unpackIndices(const uint8_t* row, uint32_t width, uint32_t bits, uint8_t* indices) {
    const uint32_t perByte = 8 / bits;
    const auto mask = static_cast<uint8_t>((1u << bits) - 1);
    for (uint32_t x = 0; x < width; ++row) {
        const uint32_t end = std::min(width - x, perByte);
        for (uint32_t i = 0; i < end; ++i, ++x)
            indices[x] = static_cast<uint8_t>(*row >> (8 - bits - i * bits) & mask);
    }
}

void lookUpShades(const RowColors& how, const uint8_t* row, uint8_t* colors) {
    for (uint32_t x = 0; x < how.width; ++x, colors += 3)
        std::memcpy(colors, how.shades[row[x]], 3);
}

// The indices are unpacked into the end of the row of colours, which the colours reach last.
void lookUpPacked(const RowColors& how, const uint8_t* row, uint8_t* colors) {
    uint8_t* indices = colors + size_t{how.width} * 2;
    unpackIndices(row, how.width, formatBits(how.format), indices);
    lookUpShades(how, indices, colors);
}

}  // namespace

void prepareColors(RowColors& colors, const Job& job) {
    colors = {};
    colors.format = job.picture.format;
    colors.width = job.picture.width;
    colors.overBackground = job.options.alpha != TIVAR_ALPHA_DROP;
    std::memcpy(colors.background, job.options.background, sizeof colors.background);
    if (job.picture.format == TIVAR_GREY) {
        for (int i = 0; i < 256; ++i) std::memset(colors.shades[i], i, 3);
    } else if (job.picture.palette_count != 0) {
        std::memcpy(colors.shades, job.picture.palette, size_t{job.picture.palette_count} * 3);
    }
}

const uint8_t* colorsOf(const RowColors& how, const uint8_t* row, uint8_t* scratch) {
    switch (how.format) {
        case TIVAR_RGB:
            return row;
        case TIVAR_BGR:
            copyRowRedBlue(row, scratch, how.width);
            return scratch;
        case TIVAR_RGBA:
        case TIVAR_BGRA: {
            const unsigned red = how.format == TIVAR_RGBA ? 0 : 2;
            if (how.overBackground) {
                mixAlpha(row, how, red, 2 - red, scratch);
            } else {
                dropAlpha(row, how.width, red, 2 - red, scratch);
            }
            return scratch;
        }
        case TIVAR_INDEX1:
        case TIVAR_INDEX4:
            lookUpPacked(how, row, scratch);
            return scratch;
        default:
            lookUpShades(how, row, scratch);
            return scratch;
    }
}

const uint8_t* indicesOf(const RowColors& how, const uint8_t* row, uint8_t* scratch) {
    const uint32_t bits = formatBits(how.format);
    if (bits == 8) return row;
    unpackIndices(row, how.width, bits, scratch);
    return scratch;
}

}  // namespace tivar
