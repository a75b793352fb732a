#include "shape/pad.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "picture/pixel_rows.h"
#include "shape/pack_indices.h"

namespace tool {
namespace {

bool isSame(Color a, Color b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

bool isGrey(Color color) {
    return color.red == color.green && color.green == color.blue;
}

Image converted(const Image& image, PixelFormat format) {
    Image colors = newImage(format, {image.width, image.height});
    for (size_t y = 0; y < image.height; ++y) {
        convertRow(image, rowAt(image, y), format, rowAt(colors, y));
    }
    return colors;
}

// An entry of the palette that no pixel has, or the one behind its last.
size_t freeEntry(const Image& image) {
    const unsigned bits = bitsOf(image.format);
    std::vector<bool> taken(256);
    for (size_t y = 0; y < image.height; ++y) {
        const uint8_t* row = rowAt(image, y);
        for (size_t x = 0; x < image.width; ++x) taken[indexAt(row, x, bits)] = true;
    }
    const auto end = taken.begin() + static_cast<ptrdiff_t>(image.palette.size());
    return static_cast<size_t>(std::find(taken.begin(), end, false) - taken.begin());
}

// The palette's index of the colour, which joins it where there is room; none = there is no room.
std::optional<uint8_t> indexOf(Image& image, Color color) {
    std::vector<Color>& palette = image.palette;
    const auto found = std::find_if(palette.begin(), palette.end(),
                                    [&](Color entry) { return isSame(entry, color); });
    if (found != palette.end()) return static_cast<uint8_t>(found - palette.begin());
    const size_t entry = freeEntry(image);
    if (entry < palette.size()) {
        palette[entry] = color;
        return static_cast<uint8_t>(entry);
    }
    if (palette.size() >= 256) return std::nullopt;
    palette.push_back(color);
    return static_cast<uint8_t>(palette.size() - 1);
}

// The corner where the middle part of a side begins.
uint32_t marginOf(uint32_t whole, uint32_t part) {
    return (whole - part) / 2;
}

Image paddedIndices(const Image& image, PixelSize size, uint8_t border) {
    const unsigned bits = bitsOf(image.format);
    Image canvas = newImage(indexFormat(std::max(image.palette.size(), size_t{1} << bits)), size);
    canvas.palette = image.palette;
    const uint32_t left = marginOf(size.width, image.width);
    const uint32_t top = marginOf(size.height, image.height);
    for (size_t y = 0; y < size.height; ++y) {
        const bool beside = y < top || y >= top + image.height;
        const uint8_t* from = beside ? nullptr : rowAt(image, y - top);
        packIndices(rowAt(canvas, y), size.width, bitsOf(canvas.format), [&](size_t x) {
            const bool outside = beside || x < left || x >= left + image.width;
            return outside ? border : indexAt(from, x - left, bits);
        });
    }
    return canvas;
}

// Whole bytes make the pixels.
Image paddedBytes(const Image& image, PixelSize size, const std::vector<uint8_t>& border) {
    Image canvas = newImage(image.format, size);
    const size_t bytes = border.size();
    const size_t left = marginOf(size.width, image.width) * bytes;
    const uint32_t top = marginOf(size.height, image.height);
    std::vector<uint8_t> blank;
    for (size_t x = 0; x < size.width; ++x) {
        blank.insert(blank.end(), border.begin(), border.end());
    }
    for (size_t y = 0; y < size.height; ++y) {
        std::memcpy(rowAt(canvas, y), blank.data(), blank.size());
        if (y < top || y >= top + image.height) continue;
        std::memcpy(rowAt(canvas, y) + left, rowAt(image, y - top), image.width * bytes);
    }
    return canvas;
}

}  // namespace

Image padded(Image image, PixelSize size, Color color, uint8_t alpha) {
    if (image.width == size.width && image.height == size.height) return image;
    const bool transparent = image.format == PixelFormat::GreyAlpha || !image.alphas.empty();
    if (transparent) image = converted(image, PixelFormat::Rgba);
    if (isIndexed(image.format)) {
        const std::optional<uint8_t> border = indexOf(image, color);
        if (border) return paddedIndices(image, size, *border);
        image = converted(image, PixelFormat::Rgb);
    }
    if (image.format == PixelFormat::Grey) {
        if (isGrey(color)) return paddedBytes(image, size, {color.red});
        image = converted(image, PixelFormat::Rgb);
    }
    std::vector<uint8_t> border{color.red, color.green, color.blue};
    if (image.format == PixelFormat::Rgba) border.push_back(alpha);
    return paddedBytes(image, size, border);
}

}  // namespace tool
