// A picture as the filter and the driver take it: in the library's memory, without alpha.
#pragma once

#include <cstddef>
#include <cstdint>

#include "picture/image.h"
#include "picture/pixel_rows.h"
#include "process/library.h"

namespace tool {

// Rows lie bottom row first, stride bytes apart; pixels of 24 bits are red, green, blue.
struct Picture {
    uint16_t bits{};
    uint32_t width{};
    uint32_t height{};
    size_t stride{};
    Image source;  // whose memory the pixels are, unless they have been scaled
    Block table;   // 2^bits entries of red, green, blue; none at 24 bits
    Block pixels;
    uint8_t* colors{};
    uint8_t* rows{};
};

bool hasAlpha(const Image& image);

// The image with transparent pixels blended with background.
Image opaque(Image image, Color background);

// Transparent pixels are blended with background.
Picture pictureOf(const Library& library, Image image, Color background);

// The picture's rows; it lives longer.
PixelRows rowsOf(const Picture& picture);

}  // namespace tool
