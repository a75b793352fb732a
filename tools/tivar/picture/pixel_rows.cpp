#include "picture/pixel_rows.h"

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

}  // namespace tool
