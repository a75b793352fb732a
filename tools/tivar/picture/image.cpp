#include "picture/image.h"

#include <sys/mman.h>

#include <algorithm>
#include <limits>

#include "process/failure.h"
#include "process/memory_size.h"

namespace tool {
namespace {

// Routines with vectors may look behind the last pixel.
constexpr size_t kSlack = 16;

void checkSize(const ReadRequest& request, uint64_t width, uint64_t height, uint64_t bytes) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    const uint64_t longest = request.longestSide;
    if (width > longest || height > longest) {
        fail("has " + size + ", a side may have at most " + std::to_string(longest),
             "scale it down first");
    }
    if (width == 0 || height == 0) fail("has " + size, "choose another picture");
    if (bytes > std::numeric_limits<uint32_t>::max()) {
        fail("has " + size + ", which is more than 4 gigabytes", "scale it down first");
    }
    if (width * height > request.limitPixels) {
        fail("has " + size + ", more than the limit of " + std::to_string(request.limitPixels),
             "raise it with --limit-pixels if you trust the file");
    }
}

// Pictures are touched from end to end: fewer, larger pages cost less to get. Only a hint.
void preferLargePages(uint8_t* bytes, size_t count) {
    constexpr size_t kWorthwhile = 4u << 20;
    constexpr uintptr_t kPage = 4096;
    if (count < kWorthwhile) return;
    const auto start = reinterpret_cast<uintptr_t>(bytes);
    const uintptr_t first = (start + kPage - 1) / kPage * kPage;
    ::madvise(reinterpret_cast<void*>(first), (start + count) / kPage * kPage - first,
              MADV_HUGEPAGE);
}

uint8_t indexAt(const uint8_t* row, size_t x, unsigned bits) {
    const size_t bit = x * bits;
    return static_cast<uint8_t>(row[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1));
}

struct Pixel {
    Color color;
    uint8_t alpha = 255;
};

Pixel pixelAt(const Image& image, const uint8_t* row, size_t x) {
    switch (image.format) {
        case PixelFormat::Grey:
            return {{row[x], row[x], row[x]}};
        case PixelFormat::GreyAlpha:
            return {{row[2 * x], row[2 * x], row[2 * x]}, row[2 * x + 1]};
        case PixelFormat::Rgb:
            return {{row[3 * x], row[3 * x + 1], row[3 * x + 2]}};
        case PixelFormat::Rgba:
            return {{row[4 * x], row[4 * x + 1], row[4 * x + 2]}, row[4 * x + 3]};
        case PixelFormat::Inks:
            return {};
        default:
            break;
    }
    const uint8_t index = indexAt(row, x, bitsOf(image.format));
    Pixel pixel{{0, 0, 0}};
    if (index < image.palette.size()) pixel.color = image.palette[index];
    if (index < image.alphas.size()) pixel.alpha = image.alphas[index];
    return pixel;
}

}  // namespace

unsigned bitsOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Index1:
            return 1;
        case PixelFormat::Index4:
            return 4;
        case PixelFormat::Index8:
        case PixelFormat::Grey:
            return 8;
        case PixelFormat::GreyAlpha:
            return 16;
        case PixelFormat::Rgb:
            return 24;
        default:
            return 32;
    }
}

bool isIndexed(PixelFormat format) {
    return format == PixelFormat::Index1 || format == PixelFormat::Index4 ||
           format == PixelFormat::Index8;
}

PixelFormat indexFormat(size_t colors) {
    return colors <= 2    ? PixelFormat::Index1
           : colors <= 16 ? PixelFormat::Index4
                          : PixelFormat::Index8;
}

uint64_t rowBytes(uint64_t width, unsigned bits) {
    return (width * bits + 31) / 32 * 4;
}

void requireSize(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height) {
    constexpr uint64_t kBeyond = uint64_t{1} << 31;  // products of smaller sides do not overflow
    const bool sane = width < kBeyond && height < kBeyond;
    checkSize(request, width, height, sane ? rowBytes(width, bitsOf(format)) * height : UINT64_MAX);
}

Image outlineOf(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height) {
    requireSize(request, format, width, height);
    Image image;
    image.format = format;
    image.width = static_cast<uint32_t>(width);
    image.height = static_cast<uint32_t>(height);
    image.whole = {image.width, image.height};
    image.stride = inMemory(rowBytes(width, bitsOf(format)));
    return image;
}

Image newImage(const ReadRequest& request, PixelFormat format, uint64_t width, uint64_t height) {
    Image image = outlineOf(request, format, width, height);
    const uint64_t bytes = uint64_t{image.stride} * image.height;
    image.pixels.reset(static_cast<uint8_t*>(std::calloc(inMemory(bytes + kSlack), 1)));
    if (image.pixels == nullptr) {
        fail("not enough memory for " + std::to_string(bytes) + " bytes",
             "close other programs or use a smaller picture");
    }
    preferLargePages(image.pixels.get(), inMemory(bytes));
    return image;
}

Image newImage(PixelFormat format, PixelSize size) {
    ReadRequest any;
    any.limitPixels = std::numeric_limits<uint64_t>::max();
    any.longestSide = std::numeric_limits<uint64_t>::max();
    return newImage(any, format, size.width, size.height);
}

Image copyOf(const Image& image) {
    Image copy = newImage(image.format, {image.width, image.height});
    std::copy_n(image.pixels.get(), image.stride * image.height, copy.pixels.get());
    copy.palette = image.palette;
    copy.alphas = image.alphas;
    copy.profile = image.profile;
    copy.orientation = image.orientation;
    copy.whole = image.whole;
    copy.eighths = image.eighths;
    copy.notices = image.notices;
    return copy;
}

std::vector<Color> greys(unsigned count) {
    std::vector<Color> table;
    for (unsigned i = 0; i < count; ++i) {
        const auto grey = static_cast<uint8_t>(i * 255 / (count - 1));
        table.push_back({grey, grey, grey});
    }
    return table;
}

void widenTwoBits(uint8_t* row, uint32_t width) {
    for (size_t at = (size_t{width} + 3) / 4; at-- > 0;) {
        const unsigned four = row[at];
        row[2 * at + 1] = static_cast<uint8_t>((four >> 2 & 3) << 4 | (four & 3));
        row[2 * at] = static_cast<uint8_t>(four >> 6 << 4 | (four >> 4 & 3));
    }
    // What stood behind the last pixel has been widened, too.
    const size_t end = (size_t{width} + 1) / 2;
    if (width % 2 != 0) row[end - 1] = row[end - 1] & 0xF0;
    std::fill(row + end, row + (size_t{width} + 3) / 4 * 2, uint8_t{0});
}

void convertRow(const Image& image, const uint8_t* from, PixelFormat wanted, uint8_t* to) {
    const bool alpha = wanted == PixelFormat::Rgba;
    for (size_t x = 0; x < image.width; ++x) {
        const Pixel pixel = pixelAt(image, from, x);
        *to++ = pixel.color.red;
        *to++ = pixel.color.green;
        *to++ = pixel.color.blue;
        if (alpha) *to++ = pixel.alpha;
    }
}

}  // namespace tool
