#include "color/bitmap.h"

#include <cstring>

namespace tivar {

bool measureBitmap(uint32_t width, uint32_t height, int32_t bitsPerPixel, BitmapSize& size) {
    size = {0, 0};
    if (bitsPerPixel < 0) return false;
    const uint64_t rowBits = uint64_t{width} * static_cast<uint32_t>(bitsPerPixel);
    if (rowBits > UINT32_MAX) return false;
    const uint64_t stride = (rowBits + 31) / 32 * 4;
    if (stride * height > UINT32_MAX) return false;
    size = {static_cast<uint32_t>(stride), static_cast<uint32_t>(stride * height)};
    return true;
}

uint32_t rowBytesOf(uint32_t width, uint32_t bitsPerPixel) {
    BitmapSize size;
    measureBitmap(width, 1, static_cast<int32_t>(bitsPerPixel), size);
    return size.stride;
}

MemHandle allocateBitmap(uint32_t width, uint32_t height, int16_t bitsPerPixel) {
    BitmapSize size;
    return measureBitmap(width, height, bitsPerPixel, size) ? rlGetMemory(1, size.bytes) : 0;
}

ExtendedBlock::ExtendedBlock(MemHandle block, uint32_t wanted)
    : data(static_cast<const uint8_t*>(GlobalLock(block))), copy(0) {
    const uint32_t present = GlobalSize(block);
    if (data == nullptr || present >= wanted) return;
    copy.handle = allocateZeroed(wanted);
    copy.data = static_cast<uint8_t*>(GlobalLock(copy.handle));
    if (copy) std::memcpy(copy.data, data, present);
    data = copy.data;
}

SourceBitmap::SourceBitmap(MemHandle bits, uint32_t width, uint32_t height, int16_t bitsPerPixel)
    : valid(measureBitmap(width, height, bitsPerPixel, size)),
      block(valid ? bits : 0, size.bytes) {}

}  // namespace tivar
