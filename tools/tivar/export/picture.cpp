#include "export/picture.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tool {
namespace {

uint8_t blend(unsigned value, unsigned alpha, unsigned background) {
    return static_cast<uint8_t>((value * alpha + background * (255 - alpha) + 127) / 255);
}

Color blend(Color color, unsigned alpha, Color background) {
    return {blend(color.red, alpha, background.red), blend(color.green, alpha, background.green),
            blend(color.blue, alpha, background.blue)};
}

bool isGrey(Color color) {
    return color.red == color.green && color.green == color.blue;
}

// Room for the blended picture.
Image emptyLike(const Image& image, PixelFormat format) {
    Image empty = newImage(format, {image.width, image.height});
    empty.orientation = image.orientation;
    empty.whole = image.whole;
    empty.eighths = image.eighths;
    return empty;
}

Image blendGreys(const Image& image, uint8_t background) {
    Image greys = emptyLike(image, PixelFormat::Grey);
    for (size_t y = 0; y < image.height; ++y) {
        const uint8_t* from = rowAt(image, y);
        uint8_t* to = rowAt(greys, y);
        for (size_t x = 0; x < image.width; ++x) {
            to[x] = blend(from[2 * x], from[2 * x + 1], background);
        }
    }
    return greys;
}

Image blendColors(const Image& image, Color background) {
    Image colors = emptyLike(image, PixelFormat::Rgb);
    std::vector<uint8_t> pixels(size_t{image.width} * 4);
    for (size_t y = 0; y < image.height; ++y) {
        convertRow(image, rowAt(image, y), PixelFormat::Rgba, pixels.data());
        const uint8_t* from = pixels.data();
        uint8_t* to = rowAt(colors, y);
        for (size_t x = 0; x < image.width; ++x, from += 4, to += 3) {
            const Color color = blend({from[0], from[1], from[2]}, from[3], background);
            to[0] = color.red;
            to[1] = color.green;
            to[2] = color.blue;
        }
    }
    return colors;
}

std::vector<Color> tableOf(const Image& image) {
    if (image.format == PixelFormat::Grey) return greys(256);
    std::vector<Color> table = image.palette;
    table.resize(size_t{1} << bitsOf(image.format), Color{0, 0, 0});
    return table;
}

Block wrapped(const Library& library, const Image& image) {
    const auto bytes = static_cast<uint32_t>(image.stride * image.height);
    Block block(library, library.globalPointerToHandle(image.pixels.get(), bytes));
    if (block.handle == 0) throw std::bad_alloc();
    return block;
}

void blendPalette(Image& image, Color background) {
    const std::vector<uint8_t> alphas = std::exchange(image.alphas, {});
    for (size_t i = 0; i < std::min(alphas.size(), image.palette.size()); ++i) {
        image.palette[i] = blend(image.palette[i], alphas[i], background);
    }
}

}  // namespace

bool hasAlpha(const Image& image) {
    return image.format == PixelFormat::GreyAlpha || image.format == PixelFormat::Rgba ||
           !image.alphas.empty();
}

// Greys stay greys over a grey background.
Image opaque(Image image, Color background) {
    switch (image.format) {
        case PixelFormat::GreyAlpha:
            if (isGrey(background)) return blendGreys(image, background.red);
            return blendColors(image, background);
        case PixelFormat::Rgba:
            return blendColors(image, background);
        default:
            blendPalette(image, background);
            return image;
    }
}

Picture pictureOf(const Library& library, Image image, Color background) {
    Picture picture;
    picture.source = opaque(std::move(image), background);
    const Image& source = picture.source;
    picture.bits = static_cast<uint16_t>(bitsOf(source.format));
    picture.width = source.width;
    picture.height = source.height;
    picture.stride = source.stride;
    picture.pixels = wrapped(library, source);
    picture.rows = source.pixels.get();
    if (picture.bits == 24) return picture;
    picture.table = allocate(library, 3u << picture.bits);
    picture.colors = picture.table.bytes();
    uint8_t* entry = picture.colors;
    for (const Color color : tableOf(source)) {
        *entry++ = color.red;
        *entry++ = color.green;
        *entry++ = color.blue;
    }
    return picture;
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
        std::copy_n(picture.rows + picture.stride * (picture.height - 1 - y), count, packed);
    };
    return rows;
}

}  // namespace tool
