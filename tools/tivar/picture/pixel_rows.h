// Rows of pixels from wherever they come: the pictures that are exported and the files that result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "picture/image.h"

namespace tool {

struct PixelRows {
    uint32_t width{};
    uint32_t height{};
    unsigned bits{};             // 1, 2, 4, 8, 24, or 32 with alpha
    std::vector<Color> palette;  // 2^bits colours; none above 8 bits
    std::vector<Notice> notices;
    // Row y, counted from the top, into room of packedBytes: indices, the first one in the highest
    // bits, or red, green, blue, and alpha.
    std::function<void(uint32_t y, uint8_t* packed)> read;
};

size_t packedBytes(const PixelRows& rows);

inline uint8_t indexAt(const uint8_t* packed, size_t x, unsigned bits) {
    const size_t bit = x * bits;
    return static_cast<uint8_t>(packed[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1));
}

// The colours of a row, three bytes each; packed is scratch room.
void readColors(const PixelRows& rows, uint32_t y, std::vector<uint8_t>& packed, uint8_t* colors);

// The picture's rows; what is neither indices nor 3 or 4 colours becomes colours.
PixelRows rowsOf(std::shared_ptr<const Image> image);

}  // namespace tool
