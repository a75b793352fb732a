// Mirroring in place.
#include <tivar/color.h>

#include <algorithm>
#include <cstring>

#include "color/bitmap.h"
#include "color/pixel.h"
#include "host/memory.h"

namespace tivar {
namespace {

// The bitmap's memory with the slack behind it, in which the place just past the last row lies.
struct FlipTarget {
    uint8_t* data;
    size_t room;
    size_t stride;
    int16_t bitsPerPixel;
};

bool holdsPixel(const FlipTarget& target, size_t rowStart, uint32_t x) {
    const uint64_t end = (uint64_t{x} + 1) * static_cast<uint64_t>(target.bitsPerPixel);
    return rowStart + static_cast<size_t>((end + 7) / 8) <= target.room;
}

uint32_t readPixel(const FlipTarget& target, size_t rowStart, uint32_t x) {
    if (!holdsPixel(target, rowStart, x)) return 0;
    return getPixel(target.data + rowStart, x, target.bitsPerPixel);
}

void writePixel(const FlipTarget& target, size_t rowStart, uint32_t x, uint32_t value) {
    if (!holdsPixel(target, rowStart, x)) return;
    rlSetPixel(target.data + rowStart, 0, x, 0, target.bitsPerPixel, value, nullptr, nullptr, 0);
}

// Kept: pixel x trades places with pixel width - x, so pixel 0 goes just past the row.
void mirrorRows(const FlipTarget& target, size_t top, size_t bottom, uint32_t width) {
    for (uint32_t x = 0; x < width / 2; ++x) {
        const uint32_t mirrored = width - x;
        const uint32_t a = readPixel(target, top, x);
        const uint32_t b = readPixel(target, top, mirrored);
        const uint32_t c = readPixel(target, bottom, x);
        const uint32_t d = readPixel(target, bottom, mirrored);
        writePixel(target, top, x, b);
        writePixel(target, top, mirrored, a);
        writePixel(target, bottom, x, d);
        writePixel(target, bottom, mirrored, c);
    }
}

// Exchanges two rows through the buffer, which may be shorter than a row: what it cannot hold is
// lost.
void exchangeRows(const FlipTarget& target, size_t top, size_t bottom, const OwnedBlock& buffer) {
    const size_t held = std::min<size_t>(GlobalSize(buffer.handle), target.stride);
    std::memcpy(buffer.data, target.data + top, held);
    std::memmove(target.data + top, target.data + bottom, target.stride);
    std::memcpy(target.data + bottom, buffer.data, held);
    std::memset(target.data + bottom + held, 0, target.stride - held);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

MemHandle rlFlipBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t width, uint32_t height,
                       int16_t mirrorHorizontally, int16_t mirrorVertically) {
    BitmapSize size;
    auto* data = static_cast<uint8_t*>(GlobalLock(bits));
    if (data == nullptr || !measureBitmap(width, height, bitsPerPixel, size)) return bits;
    // Rows that the block lacks cannot be mirrored.
    if (GlobalSize(bits) < size.bytes || size.bytes == 0) return bits;
    // Kept: the buffer's size travels as a 16-bit number.
    const OwnedBlock buffer(rlGetMemory(static_cast<int16_t>(size.stride), 1));
    if (!buffer) return bits;
    const FlipTarget target = {data, blockRoom(bits), size.stride, bitsPerPixel};
    for (uint32_t i = 0; i < (height + 1) / 2; ++i) {
        const size_t top = size_t{i} * size.stride;
        const size_t bottom = size_t{height - 1 - i} * size.stride;
        if (mirrorVertically != 0) exchangeRows(target, top, bottom, buffer);
        if (mirrorHorizontally != 0) mirrorRows(target, top, bottom, width);
    }
    return bits;
}
