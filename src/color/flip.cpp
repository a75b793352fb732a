// Mirroring in place.
#include <tivar/color.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "color/bitmap.h"
#include "color/debug.h"
#include "color/depth.h"
#include "color/pixel.h"

namespace tivar {
namespace {

// The bitmap's memory. A block that holds all rows includes the slack behind them, in which the
// place just past the last row lies; a shorter one ends where it ends. Offsets are 64-bit, since
// rows that the block lacks may lie anywhere.
struct FlipTarget {
    uint8_t read(uint64_t at) const { return at < room ? data[at] : uint8_t{0}; }
    void write(uint64_t at, uint8_t value) const {
        if (at < room) data[at] = value;
    }

    uint8_t* data;
    uint64_t room;
    uint32_t stride;
    int16_t bitsPerPixel;
};

// A pixel at the end of the memory, with zeros for the bytes that lie behind it.
struct EdgePixel {
    EdgePixel(const FlipTarget& flipTarget, uint64_t rowStart, uint32_t x)
        : target(flipTarget),
          start(rowStart + uint64_t{x} * static_cast<uint32_t>(target.bitsPerPixel) / 8),
          place(target.bitsPerPixel < 8 ? x % static_cast<uint32_t>(8 / target.bitsPerPixel) : 0) {
        for (uint32_t i = 0; i < 4; ++i) bytes[i] = target.read(start + i);
    }
    uint32_t value() const { return getPixel(bytes, place, target.bitsPerPixel); }
    void store(uint32_t value) {
        storePixel(bytes, place, target.bitsPerPixel, value);
        for (uint32_t i = 0; i < 4; ++i) target.write(start + i, bytes[i]);
    }

    const FlipTarget& target;
    uint64_t start;
    uint32_t place;
    uint8_t bytes[4];
};

bool holdsPixel(const FlipTarget& target, uint64_t rowStart, uint32_t x) {
    const uint64_t end = (uint64_t{x} + 1) * static_cast<uint64_t>(target.bitsPerPixel);
    return rowStart + (end + 7) / 8 <= target.room;
}

uint32_t readPixel(const FlipTarget& target, uint64_t rowStart, uint32_t x) {
    if (!holdsPixel(target, rowStart, x)) return EdgePixel(target, rowStart, x).value();
    return getPixel(target.data + rowStart, x, target.bitsPerPixel);
}

void writePixel(const FlipTarget& target, uint64_t rowStart, uint32_t x, uint32_t value) {
    if (!holdsPixel(target, rowStart, x)) return EdgePixel(target, rowStart, x).store(value);
    rlSetPixel(target.data + rowStart, 0, x, 0, target.bitsPerPixel, value, nullptr, nullptr, 0);
}

// Trades pixel x of both rows for pixel width - x, for the x before end.
void mirrorPixels(const FlipTarget& target, uint64_t top, uint64_t bottom, uint32_t width,
                  uint64_t end) {
    for (uint32_t x = 0; x < end; ++x) {
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

// The same from pixel 1 on, for a row of pixels of whole bytes that lies in the memory.
template <size_t kBytes>
void mirrorInside(uint8_t* row, uint32_t width) {
    for (uint32_t x = 1; x < width / 2; ++x) {
        uint8_t* pixel = row + x * kBytes;
        std::swap_ranges(pixel, pixel + kBytes, row + size_t{width - x} * kBytes);
    }
}

// Null for depths that have no such way.
auto mirrorInsideAt(int16_t bitsPerPixel) -> void (*)(uint8_t* row, uint32_t width) {
    switch (bytesPerPixel(bitsPerPixel)) {
        case 1:
            return mirrorInside<1>;
        case 3:
            return mirrorInside<3>;
        case 4:
            return mirrorInside<4>;
        default:
            return nullptr;
    }
}

// Kept: pixel x trades places with pixel width - x, so pixel 0 goes just past the row.
void mirrorRows(const FlipTarget& target, uint64_t top, uint64_t bottom, uint32_t width) {
    const auto mirror = mirrorInsideAt(target.bitsPerPixel);
    const bool inside = bottom + target.stride <= target.room;
    if (mirror != nullptr && inside && width > 1 && !tracesPixels()) {
        mirrorPixels(target, top, bottom, width, 1);
        mirror(target.data + top, width);
        if (bottom != top) mirror(target.data + bottom, width);
        return;
    }
    // Behind the last pixel of the memory there is nothing to trade.
    const uint64_t held = (target.room - top) * 8 / static_cast<uint64_t>(target.bitsPerPixel) + 1;
    mirrorPixels(target, top, bottom, width, std::min<uint64_t>(width / 2, held));
}

// Exchanges two rows through the buffer, which may be shorter than a row: what it cannot hold is
// lost.
void exchangeRows(const FlipTarget& target, uint64_t top, uint64_t bottom,
                  const OwnedBlock& buffer) {
    const uint32_t held = std::min(GlobalSize(buffer.handle), target.stride);
    if (bottom + target.stride <= target.room) {
        std::memcpy(buffer.data, target.data + top, held);
        std::memmove(target.data + top, target.data + bottom, target.stride);
        std::memcpy(target.data + bottom, buffer.data, held);
        std::memset(target.data + bottom + held, 0, target.stride - held);
        return;
    }
    for (uint32_t i = 0; i < target.stride && top + i < target.room; ++i) {
        const uint8_t upper = target.read(top + i);
        target.write(top + i, target.read(bottom + i));
        target.write(bottom + i, i < held ? upper : uint8_t{0});
    }
}

}  // namespace
}  // namespace tivar

using namespace tivar;

MemHandle rlFlipBitmap(MemHandle bits, int16_t bitsPerPixel, uint32_t width, uint32_t height,
                       int16_t mirrorHorizontally, int16_t mirrorVertically) {
    BitmapSize size;
    auto* data = static_cast<uint8_t*>(GlobalLock(bits));
    if (data == nullptr || !measureBitmap(width, height, bitsPerPixel, size)) return bits;
    if (size.bytes == 0) return bits;
    // Kept: the buffer's size travels as a 16-bit number.
    const OwnedBlock buffer(rlGetMemory(static_cast<int16_t>(size.stride), 1));
    if (!buffer) return bits;
    const uint32_t present = GlobalSize(bits);
    const uint64_t room = present < size.bytes ? present : blockRoom(bits);
    const FlipTarget target = {data, room, size.stride, bitsPerPixel};
    for (uint32_t i = 0; i < (height + 1) / 2; ++i) {
        const uint64_t top = uint64_t{i} * size.stride;
        const uint64_t bottom = uint64_t{height - 1 - i} * size.stride;
        if (top >= room) break;
        if (mirrorVertically != 0) exchangeRows(target, top, bottom, buffer);
        if (mirrorHorizontally != 0) mirrorRows(target, top, bottom, width);
    }
    return bits;
}
