#include "export/scaling.h"

#include <algorithm>
#include <limits>
#include <string>

#include "process/failure.h"
#include "process/memory_size.h"

namespace tool {
namespace {

// The library counts source rows in 16 bits with a sign wherever the height does not grow.
constexpr uint32_t kTallestShrinking = 32767;

}  // namespace

bool scalesBothWays(const Picture& picture, PixelSize target) {
    return (target.width < picture.width && target.height > picture.height) ||
           (target.width > picture.width && target.height < picture.height);
}

void refuseTallShrinking(const Picture& picture, PixelSize target) {
    const bool changes = target.width != picture.width || target.height != picture.height;
    if (changes && target.height <= picture.height && picture.height > kTallestShrinking) {
        fail("a picture of more than 32767 rows cannot be scaled to another width or fewer rows",
             "scale it down first or keep its size");
    }
}

void scaleTo(const Library& library, Picture& picture, PixelSize target) {
    const uint32_t width = target.width;
    const uint32_t height = std::min(target.height, kLargestSide);
    const uint64_t bytes = rowBytes(width, picture.bits) * height;
    Block scaled;
    if (bytes <= std::numeric_limits<uint32_t>::max()) {
        scaled = Block(library, library.stretchBitmap(
                                    picture.pixels.handle, static_cast<int16_t>(picture.bits),
                                    picture.width, picture.height, width, height));
    }
    if (scaled.handle == 0) {
        fail("not enough memory for " + std::to_string(width) + " x " + std::to_string(height) +
                 " pixels",
             "choose a smaller size");
    }
    picture.pixels = std::move(scaled);
    picture.source.pixels.reset();
    picture.rows = picture.pixels.bytes();
    picture.width = width;
    picture.height = height;
    picture.stride = inMemory(rowBytes(width, picture.bits));
}

}  // namespace tool
