#include "color/row_converter.h"

#include <cstring>

#include "color/depth.h"
#include "color/rows.h"

namespace tivar {

void convertRowPlainly(const uint8_t* source, int16_t sourceBits, uint8_t* dest,
                       const PixelTarget& target, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x) {
        const uint32_t value = getPixel(source, x, sourceBits);
        storePixel(dest, x, target.bitsPerPixel, resolveValue(target, value));
    }
}

RowConverter::RowConverter(int16_t fromBits, const PixelTarget& to, uint32_t rowWidth)
    : sourceBits(fromBits),
      target(to),
      width(rowWidth),
      indexBlock(allocateScratch(uint64_t{rowWidth} + 8)) {
    const bool toIndices = isIndexedDepth(target.bitsPerPixel);
    if (!indexBlock) return;
    if (isIndexedDepth(sourceBits)) {
        for (uint32_t i = 0; i < 1u << sourceBits; ++i) {
            colors[i] = resolveValue(target, i);
            mapped[i] = static_cast<uint8_t>(colors[i]);
        }
        if (toIndices) step = &RowConverter::convertIndices;
        if (target.bitsPerPixel == kTrueColorBits) step = &RowConverter::expandIndices;
    } else if (sourceBits == kTrueColorBits && toIndices && target.colorTable != nullptr) {
        nearest.emplace(target.colorTable, target.colorCount);
        step = &RowConverter::matchColors;
    }
}

void RowConverter::convert(const uint8_t* source, uint8_t* dest) {
    const bool copies = sourceBits == kTrueColorBits && target.bitsPerPixel == kTrueColorBits;
    if (copies)
        std::memcpy(dest, source, size_t{width} * 3);
    else if (step != nullptr)
        (this->*step)(source, dest);
    else
        convertRowPlainly(source, sourceBits, dest, target, width);
}

// The indices of a row, one a byte.
const uint8_t* RowConverter::unpack(const uint8_t* source) {
    if (!isPackedDepth(sourceBits)) return source;
    unpackIndices(source, sourceBits, width, indexBlock.data);
    return indexBlock.data;
}

void RowConverter::convertIndices(const uint8_t* source, uint8_t* dest) {
    uint8_t* indices = isPackedDepth(target.bitsPerPixel) ? indexBlock.data : dest;
    const uint8_t* unpacked = unpack(source);
    for (uint32_t x = 0; x < width; ++x) indices[x] = mapped[unpacked[x]];
    if (indices != dest) packIndices(indices, target.bitsPerPixel, width, dest);
}

void RowConverter::expandIndices(const uint8_t* source, uint8_t* dest) {
    const uint8_t* unpacked = unpack(source);
    for (uint32_t x = 0; x < width; ++x, dest += 3) {
        const uint32_t color = colors[unpacked[x]];
        dest[0] = redOf(color);
        dest[1] = greenOf(color);
        dest[2] = blueOf(color);
    }
}

void RowConverter::matchColors(const uint8_t* source, uint8_t* dest) {
    uint8_t* indices = isPackedDepth(target.bitsPerPixel) ? indexBlock.data : dest;
    nearest->findRow(source, width, indices);
    if (indices != dest) packIndices(indices, target.bitsPerPixel, width, dest);
}

}  // namespace tivar
