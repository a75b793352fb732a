#include "shape/pixel_scaler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "picture/pixel_rows.h"
#include "shape/pack_indices.h"

namespace tool {
namespace {

// Which of count pixels lies under the centre of each one of size.
std::vector<uint32_t> centres(double first, double length, uint32_t size, uint32_t count) {
    std::vector<uint32_t> places(size);
    for (uint32_t i = 0; i < size; ++i) {
        const double place = first + (2.0 * i + 1) * length / (2.0 * size);
        places[i] = static_cast<uint32_t>(std::clamp(std::floor(place), 0.0, count - 1.0));
    }
    return places;
}

template <size_t bytes>
void pickPixels(const uint8_t* from, const std::vector<uint32_t>& columns, uint8_t* to) {
    for (const uint32_t x : columns) {
        std::memcpy(to, from + x * bytes, bytes);
        to += bytes;
    }
}

void pickRow(const Image& image, const uint8_t* from, const std::vector<uint32_t>& columns,
             uint8_t* to) {
    const unsigned bits = bitsOf(image.format);
    switch (bits) {
        case 8:
            return pickPixels<1>(from, columns, to);
        case 16:
            return pickPixels<2>(from, columns, to);
        case 24:
            return pickPixels<3>(from, columns, to);
        case 32:
            return pickPixels<4>(from, columns, to);
        default:
            packIndices(to, columns.size(), bits,
                        [&](size_t x) { return indexAt(from, columns[x], bits); });
    }
}

}  // namespace

Image scaledByPixels(const Image& image, const Region& region, PixelSize size) {
    Image scaled = newImage(image.format, size);
    scaled.palette = image.palette;
    scaled.alphas = image.alphas;
    scaled.orientation = image.orientation;
    const auto columns = centres(region.left, region.width, size.width, image.width);
    const auto rows = centres(region.top, region.height, size.height, image.height);
    for (size_t y = 0; y < size.height; ++y) {
        if (y > 0 && rows[y] == rows[y - 1]) {
            std::memcpy(rowAt(scaled, y), rowAt(scaled, y - 1), scaled.stride);
        } else {
            pickRow(image, rowAt(image, rows[y]), columns, rowAt(scaled, y));
        }
    }
    return scaled;
}

}  // namespace tool
