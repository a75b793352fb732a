// The depths of pixels, in one place. How each lies in a row stands in pixel.h; whoever has a
// faster way for some depths names them and leaves all others to the plain rule.
#pragma once

#include <tivar/filter.h>

#include <cstdint>

namespace tivar {

struct Depth {
    int16_t bits;
    int16_t formatCode;      // the settings' colour format; 0: no file has this depth
    int16_t paletteEntries;  // of a file
    bool indexed;            // pixels are places in a colour table
    uint8_t bytesPerPixel;   // 0: several pixels share a byte
};

constexpr Depth kDepths[] = {
    {1, COLOR_FORMAT_1BIT, 2, true, 0},     // black and white
    {4, COLOR_FORMAT_4BIT, 16, true, 0},    //
    {8, COLOR_FORMAT_8BIT, 256, true, 1},   //
    {24, COLOR_FORMAT_24BIT, 0, false, 3},  // red, green, blue
    {32, 0, 0, false, 4},                   // and a fourth byte
};

constexpr int16_t kTrueColorBits = 24;
constexpr int16_t kDeepestIndexedBits = 8;
constexpr int16_t kFourByteBits = 32;

// Null for depths that are not stored: their pixels read as 0.
constexpr const Depth* findDepth(int32_t bits) {
    for (const Depth& depth : kDepths) {
        if (depth.bits == bits) return &depth;
    }
    return nullptr;
}

// The depth of files of a colour format; null when there are none.
constexpr const Depth* depthOfFormat(int32_t formatCode) {
    for (const Depth& depth : kDepths) {
        if (depth.formatCode == formatCode && formatCode != 0) return &depth;
    }
    return nullptr;
}

constexpr bool isStoredDepth(int32_t bits) {
    return findDepth(bits) != nullptr;
}

constexpr bool isIndexedDepth(int32_t bits) {
    const Depth* depth = findDepth(bits);
    return depth != nullptr && depth->indexed;
}

// 0 where pixels share bytes, and for depths that are not stored.
constexpr int bytesPerPixel(int32_t bits) {
    const Depth* depth = findDepth(bits);
    return depth == nullptr ? 0 : depth->bytesPerPixel;
}

// Several pixels share a byte.
constexpr bool isPackedDepth(int32_t bits) {
    return isStoredDepth(bits) && bytesPerPixel(bits) == 0;
}

}  // namespace tivar
