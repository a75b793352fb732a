// Reading and writing one pixel: the plain rule that every faster path is held against.
#pragma once

#include <tivar/color.h>

#include <cstddef>

#include "color/depth.h"

namespace tivar {

constexpr uint32_t packRgb(uint32_t red, uint32_t green, uint32_t blue) {
    return red << 24 | green << 16 | blue << 8;
}
constexpr uint8_t redOf(uint32_t packed) {
    return static_cast<uint8_t>(packed >> 24);
}
constexpr uint8_t greenOf(uint32_t packed) {
    return static_cast<uint8_t>(packed >> 16);
}
constexpr uint8_t blueOf(uint32_t packed) {
    return static_cast<uint8_t>(packed >> 8);
}

inline uint32_t nearestToPacked(uint32_t packed, const uint8_t* table, int16_t count) {
    return rlNearestRGBIndex(redOf(packed), greenOf(packed), blueOf(packed), table, count);
}

// Pixels of depths that are not stored read as 0.
inline uint32_t getPixel(const uint8_t* row, uint32_t x, int16_t bitsPerPixel) {
    switch (bitsPerPixel) {
        case 1:
            return row[x / 8] >> (7 - x % 8) & 1u;
        case 4:
            return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15u;
        case 8:
            return row[x];
        case 24: {
            const uint8_t* p = row + size_t{x} * 3;
            return packRgb(p[0], p[1], p[2]);
        }
        case 32: {
            const uint8_t* p = row + size_t{x} * 4;
            return packRgb(p[0], p[1], p[2]) | p[3];
        }
        default:
            return 0;
    }
}

// Stores a value as it is; nothing at depths that are not stored.
inline void storePixel(uint8_t* row, uint32_t x, int16_t bitsPerPixel, uint32_t value) {
    switch (bitsPerPixel) {
        case 1: {
            const auto bit = static_cast<uint8_t>(0x80u >> x % 8);
            row[x / 8] = static_cast<uint8_t>((row[x / 8] & ~bit) | ((value & 1) != 0 ? bit : 0));
            break;
        }
        case 4: {
            const uint32_t nibble = value & 15;
            row[x / 2] = static_cast<uint8_t>(x % 2 == 0 ? (row[x / 2] & 0x0F) | nibble << 4
                                                         : (row[x / 2] & 0xF0) | nibble);
            break;
        }
        case 8:
            row[x] = static_cast<uint8_t>(value);
            break;
        case 24:
        case 32: {
            uint8_t* p = row + size_t{x} * static_cast<size_t>(bitsPerPixel / 8);
            p[0] = redOf(value);
            p[1] = greenOf(value);
            p[2] = blueOf(value);
            if (bitsPerPixel == 32) p[3] = static_cast<uint8_t>(value);
            break;
        }
        default:
            break;
    }
}

// How values become stored values at the destination.
struct PixelTarget {
    int16_t bitsPerPixel;
    const uint32_t* indexMap;
    const uint8_t* colorTable;
    int16_t colorCount;
};

// The value to store for an input value.
inline uint32_t resolveValue(const PixelTarget& target, uint32_t value) {
    const bool indexed = target.bitsPerPixel < kTrueColorBits;
    if (target.indexMap != nullptr) {
        const uint32_t mapped = target.indexMap[value];
        if (indexed || target.colorTable == nullptr) return mapped;
        // At depth 24 and 32 the map leads to a table entry; there is nothing behind the table.
        if (mapped >= static_cast<uint32_t>(target.colorCount < 0 ? 0 : target.colorCount))
            return 0;
        const uint8_t* entry = target.colorTable + size_t{mapped} * 3;
        return packRgb(entry[0], entry[1], entry[2]);
    }
    if (indexed && target.colorTable != nullptr)
        return nearestToPacked(value, target.colorTable, target.colorCount) & 0xFF;
    return value;
}

}  // namespace tivar
