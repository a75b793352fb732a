#include "picture/pixel_rows.h"

#include <algorithm>
#include <utility>

namespace tool {

size_t packedBytes(const PixelRows& rows) {
    return (size_t{rows.width} * rows.bits + 7) / 8;
}

void readColors(const PixelRows& rows, uint32_t y, std::vector<uint8_t>& packed, uint8_t* colors) {
    if (rows.bits == 24) return rows.read(y, colors);
    packed.resize(packedBytes(rows));
    rows.read(y, packed.data());
    for (size_t x = 0; x < rows.width; ++x, colors += 3) {
        if (rows.bits == 32) {
            std::copy_n(&packed[4 * x], 3, colors);
            continue;
        }
        const Color color = rows.palette[indexAt(packed.data(), x, rows.bits)];
        colors[0] = color.red;
        colors[1] = color.green;
        colors[2] = color.blue;
    }
}

PixelRows rowsOf(std::shared_ptr<const Image> image) {
    PixelRows rows;
    rows.width = image->width;
    rows.height = image->height;
    rows.notices = image->notices;
    const bool plain = isIndexed(image->format) && image->alphas.empty();
    const bool alpha = image->format == PixelFormat::Rgba ||
                       image->format == PixelFormat::GreyAlpha || !image->alphas.empty();
    rows.bits = plain ? bitsOf(image->format) : alpha ? 32 : 24;
    if (plain) {
        rows.palette = image->palette;
        rows.palette.resize(size_t{1} << rows.bits, Color{0, 0, 0});
    }
    const size_t count = packedBytes(rows);
    const bool same = bitsOf(image->format) == rows.bits;
    rows.read = [image = std::move(image), count, same, alpha](uint32_t y, uint8_t* packed) {
        const uint8_t* row = rowAt(*image, y);
        if (same) {
            std::copy_n(row, count, packed);
        } else {
            convertRow(*image, row, alpha ? PixelFormat::Rgba : PixelFormat::Rgb, packed);
        }
    };
    return rows;
}

}  // namespace tool
