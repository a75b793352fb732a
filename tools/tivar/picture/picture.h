// A picture as the library takes it, and the way from a file to it.

#ifndef TIVAR_TOOL_PICTURE_H
#define TIVAR_TOOL_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "process/library.h"

namespace tool {

constexpr uint32_t kLargestSide = 65535;  // CellPicture counts in 16 bits

struct PixelSize {
    uint32_t width;
    uint32_t height;
};

struct Color {
    uint8_t red = 255;
    uint8_t green = 255;
    uint8_t blue = 255;
};

// Rows lie bottom row first, stride bytes apart; pixels of 24 bits are red, green, blue.
struct Picture {
    uint16_t bits{};
    uint32_t width{};
    uint32_t height{};
    size_t stride{};
    Block table;  // 2^bits entries of red, green, blue; none at 24 bits
    Block pixels;
    uint8_t* colors{};
    uint8_t* rows{};
};

// Bytes of one row, padded to a multiple of 4.
uint64_t rowBytes(uint64_t width, unsigned bits);

// A zeroed picture; sides or products that the library cannot hold are Failures.
Picture newPicture(const Library& library, uint16_t bits, uint64_t width, uint64_t height);

// Row y, counted from the top.
uint8_t* rowAt(const Picture& picture, size_t y);

void setColor(Picture& picture, size_t index, Color color);

// The table's first entries become that many greys from black to white.
void setGreys(Picture& picture, unsigned count);

// Reads a PNG, JPEG or PNM file, told apart by their first bytes; name "-" is standard input.
// Transparent pixels are blended with background.
Picture readPicture(const Library& library, const std::string& name, Color background);

}  // namespace tool

#endif
