#include "picture/pixel_rows.h"

#include <algorithm>

namespace tool {

size_t packedBytes(const PixelRows& rows) {
    return (size_t{rows.width} * rows.bits + 7) / 8;
}

void readColors(const PixelRows& rows, uint32_t y, std::vector<uint8_t>& packed, uint8_t* colors) {
    if (rows.bits == 24) return rows.read(y, colors);
    packed.resize(packedBytes(rows));
    rows.read(y, packed.data());
    for (size_t x = 0; x < rows.width; ++x, colors += 3) {
        const Color color = rows.palette[indexAt(packed.data(), x, rows.bits)];
        colors[0] = color.red;
        colors[1] = color.green;
        colors[2] = color.blue;
    }
}

PixelRows rowsOf(const Picture& picture) {
    PixelRows rows;
    rows.width = picture.width;
    rows.height = picture.height;
    rows.bits = picture.bits;
    const size_t colors = picture.bits == 24 ? 0 : size_t{1} << picture.bits;
    for (const uint8_t* entry = picture.colors; rows.palette.size() < colors; entry += 3) {
        rows.palette.push_back({entry[0], entry[1], entry[2]});
    }
    const size_t count = packedBytes(rows);
    rows.read = [&picture, count](uint32_t y, uint8_t* packed) {
        std::copy_n(rowAt(picture, y), count, packed);
    };
    return rows;
}

}  // namespace tool
