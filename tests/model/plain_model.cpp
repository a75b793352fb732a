// Pixels, tables and conversions.

#include "plain_model.h"

#include <algorithm>
#include <cmath>

namespace model {

namespace {

std::uint8_t byteOf(std::uint32_t value, int shift) {
    return static_cast<std::uint8_t>((value >> shift) & 0xFFU);
}

bool within(int a, int b, int tolerance) {
    return std::abs(a - b) <= tolerance;
}

// Pixel x starts this many bytes into its row.
std::int64_t byteInRow(std::uint32_t x, int bits) {
    return toUnsigned(x * (bits / 8.0));
}

std::int64_t pixelOffset(const Bitmap& bitmap, std::uint32_t x, std::uint32_t y) {
    const std::int64_t stride = bytesPerLine(bitmap.width, bitmap.bits);
    return y * stride + byteInRow(x, bitmap.bits);
}

// Position of the pixel inside its byte, counted from the most significant bit.
int bitPosition(const Bitmap& bitmap, std::uint32_t x) {
    const std::int64_t bits = std::int64_t{x} * bitmap.bits;
    return static_cast<int>(bits % 8);
}

void storeBit(Bytes& data, std::int64_t offset, int position, std::uint32_t value) {
    const int shift = 7 - position;
    const std::uint32_t cleared = byteAt(data, offset) & ~(1U << shift);
    putByte(data, offset, byteOf(cleared | ((value & 1U) << shift), 0));
}

void storeNibble(Bytes& data, std::int64_t offset, int position, std::uint32_t value) {
    const std::uint32_t old = byteAt(data, offset);
    const std::uint32_t nibble = value & 0x0FU;
    const std::uint32_t merged =
        position == 4 ? (old & 0xF0U) | nibble : (old & 0x0FU) | (nibble << 4);
    putByte(data, offset, byteOf(merged, 0));
}

void storeTriple(Bytes& data, std::int64_t offset, std::uint32_t packed) {
    putByte(data, offset, byteOf(packed, 24));
    putByte(data, offset + 1, byteOf(packed, 16));
    putByte(data, offset + 2, byteOf(packed, 8));
}

std::uint8_t lessBlack(std::uint8_t ink, std::uint8_t black) {
    return static_cast<std::uint8_t>(255 - std::max(ink, black));
}

}  // namespace

std::uint8_t byteAt(const Bytes& block, std::int64_t offset) {
    if (offset < 0 || offset >= static_cast<std::int64_t>(block.size())) return 0;
    return block[static_cast<std::size_t>(offset)];
}

void putByte(Bytes& block, std::int64_t offset, std::uint8_t value) {
    if (offset < 0 || offset >= static_cast<std::int64_t>(block.size())) return;
    block[static_cast<std::size_t>(offset)] = value;
}

std::uint32_t powerOfTwo(int exponent) {
    if (exponent < 0 || exponent > 31) return 0;
    return std::uint32_t{1} << exponent;
}

std::uint32_t toUnsigned(double value) {
    if (std::isnan(value) || value <= 0.0) return 0;
    if (value >= 4294967295.0) return 4294967295U;
    return static_cast<std::uint32_t>(value);
}

std::int32_t toSigned(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483647.0) return 2147483647;
    if (value <= -2147483648.0) return -2147483647 - 1;
    return static_cast<std::int32_t>(value);
}

std::uint32_t tableEntry(const Bytes& table, std::uint32_t index) {
    const std::int64_t offset = std::int64_t{index} * 3;
    const std::uint32_t r = byteAt(table, offset);
    const std::uint32_t g = byteAt(table, offset + 1);
    const std::uint32_t b = byteAt(table, offset + 2);
    return (r << 24) | (g << 16) | (b << 8);
}

std::uint32_t bytesPerLine(std::uint32_t width, int bits) {
    const std::uint64_t rowBits = std::uint64_t{width} * static_cast<std::uint32_t>(bits);
    if (rowBits > 0xFFFFFFFFU) return 0;
    std::uint64_t bytes = rowBits / 8;
    if (rowBits % 8 != 0) bytes += 1;
    if (bytes % 4 != 0) bytes = (bytes / 4 + 1) * 4;
    return static_cast<std::uint32_t>(bytes);
}

bool obtainable(std::uint32_t width, std::uint32_t height, int bits) {
    const std::uint64_t rowBits = std::uint64_t{width} * static_cast<std::uint32_t>(bits);
    if (rowBits > 0xFFFFFFFFU) return false;
    // A block needs up to 34 bytes beside its data, and the sum must fit 32 bits.
    return std::uint64_t{bytesPerLine(width, bits)} * height + 34 <= 0xFFFFFFFFU;
}

Bitmap newBitmap(std::uint32_t width, std::uint32_t height, int bits) {
    if (!obtainable(width, height, bits)) return Bitmap{};
    const std::uint32_t size = bytesPerLine(width, bits) * height;
    return Bitmap{width, height, bits, Bytes(size, 0)};
}

std::uint32_t getPixel(const Bitmap& bitmap, std::uint32_t x, std::uint32_t y) {
    const std::int64_t offset = pixelOffset(bitmap, x, y);
    const std::uint32_t b0 = byteAt(bitmap.data, offset);
    const std::uint32_t b1 = byteAt(bitmap.data, offset + 1);
    const std::uint32_t b2 = byteAt(bitmap.data, offset + 2);
    const std::uint32_t b3 = byteAt(bitmap.data, offset + 3);
    const int position = bitPosition(bitmap, x);
    switch (bitmap.bits) {
        case 1:
            return (b0 >> (7 - position)) & 1U;
        case 4:
            return position == 4 ? b0 & 0x0FU : b0 >> 4;
        case 8:
            return b0;
        case 24:
            return (b0 << 24) | (b1 << 16) | (b2 << 8);
        case 32:
            return (b0 << 24) | (b1 << 16) | (b2 << 8) | b3;
        default:
            return 0;
    }
}

void setPixel(Bitmap& bitmap, std::uint32_t x, std::uint32_t y, std::uint32_t value,
              const std::vector<std::uint32_t>* indexMap, const Bytes* table, int count) {
    const bool mapped = indexMap != nullptr && !indexMap->empty();
    std::uint32_t stored = value;
    if (mapped) {
        stored = value < indexMap->size() ? (*indexMap)[value] : 0;
    } else if (table != nullptr && bitmap.bits < 24) {
        stored = nearest(byteOf(value, 24), byteOf(value, 16), byteOf(value, 8), *table, count);
        stored &= 0xFFU;
    }

    const std::int64_t offset = pixelOffset(bitmap, x, y);
    const int position = bitPosition(bitmap, x);
    const bool fromTable = mapped && table != nullptr;
    switch (bitmap.bits) {
        case 1:
            storeBit(bitmap.data, offset, position, stored);
            break;
        case 4:
            storeNibble(bitmap.data, offset, position, stored);
            break;
        case 8:
            putByte(bitmap.data, offset, byteOf(stored, 0));
            break;
        case 24:
            storeTriple(bitmap.data, offset, fromTable ? tableEntry(*table, stored) : stored);
            break;
        case 32:
            storeTriple(bitmap.data, offset, fromTable ? tableEntry(*table, stored) : stored);
            putByte(bitmap.data, offset + 3, fromTable ? std::uint8_t{0} : byteOf(stored, 0));
            break;
        default:
            break;
    }
}

std::uint32_t nearest(int r, int g, int b, const Bytes& table, int count) {
    const bool greyQuery = within(r, g, 4) && within(g, b, 4) && within(r, b, 4);
    std::uint32_t best = 0;
    std::uint32_t bestDistance = 2147483647U;
    for (int i = 0; i < count; ++i) {
        const std::uint32_t entry = tableEntry(table, static_cast<std::uint32_t>(i));
        const int er = byteOf(entry, 24);
        const int eg = byteOf(entry, 16);
        const int eb = byteOf(entry, 8);
        const bool greyEntry = er == eg && eg == eb;
        if (greyEntry != greyQuery) continue;
        const std::int64_t dr = r - er;
        const std::int64_t dg = g - eg;
        const std::int64_t db = b - eb;
        const auto distance = static_cast<std::uint32_t>(db * db + dg * dg + dr * dr);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = static_cast<std::uint32_t>(i);
        }
    }
    return best;
}

std::vector<std::uint32_t> colormap(const Bytes* sourceTable, int sourceBits,
                                    const Bytes* destTable, int destBits, int destCount) {
    // Pixels of these depths carry their colour themselves.
    if (sourceBits == 24 || sourceBits == 32) return {};
    const std::uint32_t entries = powerOfTwo(std::min(sourceBits, 16));
    if (sourceBits <= destBits && destTable == nullptr) {
        destTable = sourceTable;
        // A count has 16 bits: 32768 entries are none.
        destCount = static_cast<std::int16_t>(entries);
    }
    std::vector<std::uint32_t> map(entries, 0);
    if (sourceTable == nullptr || destTable == nullptr) return map;
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::uint32_t entry = tableEntry(*sourceTable, i);
        if (destBits == 24) {
            map[i] = entry;
        } else {
            map[i] = nearest(byteOf(entry, 24), byteOf(entry, 16), byteOf(entry, 8), *destTable,
                             destCount);
        }
    }
    return map;
}

Bitmap convertDepth(const Bitmap& source, int destBits, const Bytes* sourceTable,
                    const Bytes* destTable, int destCount) {
    Bitmap dest = newBitmap(source.width, source.height, destBits);
    const auto map = colormap(sourceTable, source.bits, destTable, destBits, destCount);
    for (std::uint32_t y = 0; y < dest.height; ++y) {
        for (std::uint32_t x = 0; x < dest.width; ++x) {
            setPixel(dest, x, y, getPixel(source, x, y), &map, destTable, destCount);
        }
    }
    return dest;
}

Resolved changeColorResolution(const Bitmap& source, int destBits, const Bytes* table) {
    Reduced made;
    bool hasTable = false;
    int tableSize = 0;
    if (destBits < source.bits) {
        tableSize = static_cast<int>(powerOfTwo(destBits) & 0xFFFFU);
        if (source.bits == 24 && destBits >= 8) {
            made = reduceColors(source, tableSize);
            hasTable = true;
        } else if (destBits > 4 && table != nullptr) {
            // The old table is reduced as if it were a picture one row high.
            made = reduceColors(Bitmap{powerOfTwo(source.bits), 1, 24, *table}, tableSize);
            hasTable = true;
        }
        if (hasTable) tableSize = made.count;
    }
    const Bytes* newTable = hasTable ? &made.table : nullptr;
    if (destBits < 8 && source.bits > destBits) {
        const Dithered dithered = ditherBitmap(source, destBits, table, newTable);
        return Resolved{dithered.bitmap, dithered.table, true};
    }
    const Bitmap converted = convertDepth(source, destBits, table, newTable, tableSize);
    return Resolved{converted, made.table, hasTable};
}

Bytes cmykToRgb(const Bytes& pixels4, std::uint32_t count) {
    Bytes packed;
    for (std::int64_t i = 0; i < std::int64_t{count}; ++i) {
        const std::uint8_t black = byteAt(pixels4, 4 * i + 3);
        packed.push_back(lessBlack(byteAt(pixels4, 4 * i), black));
        packed.push_back(lessBlack(byteAt(pixels4, 4 * i + 1), black));
        packed.push_back(lessBlack(byteAt(pixels4, 4 * i + 2), black));
    }
    return packed;
}

Bytes alphaToRgb(const Bytes& pixels4, std::uint32_t count) {
    Bytes packed;
    for (std::int64_t i = 0; i < std::int64_t{count}; ++i) {
        packed.push_back(byteAt(pixels4, 4 * i));
        packed.push_back(byteAt(pixels4, 4 * i + 1));
        packed.push_back(byteAt(pixels4, 4 * i + 2));
    }
    return packed;
}

Bytes rgb4ToCmyk(const Bitmap& picture32) {
    Bytes data = picture32.data;
    const std::int64_t stride = bytesPerLine(picture32.width, 32);
    for (std::uint32_t y = 0; y < picture32.height; ++y) {
        for (std::uint32_t x = 0; x < picture32.width; ++x) {
            const std::int64_t offset = y * stride + std::int64_t{x} * 4;
            for (int channel = 0; channel < 3; ++channel) {
                const int inverse = 255 - byteAt(data, offset + channel);
                putByte(data, offset + channel, static_cast<std::uint8_t>(inverse));
            }
            putByte(data, offset + 3, 0);
        }
    }
    return data;
}

void revRgb(Bytes& triples, int count, int mode) {
    for (std::int64_t i = 0; i < count; ++i) {
        const int r = byteAt(triples, 3 * i);
        const int g = byteAt(triples, 3 * i + 1);
        const int b = byteAt(triples, 3 * i + 2);
        const int grey = (3 * r + 6 * g + b) / 10;
        const bool nearGrey = within(r, g, 10) && within(g, b, 10) && within(r, b, 10);
        int out[3] = {r, g, b};
        for (int& channel : out) {
            if (mode == 1 || (mode == 2 && nearGrey)) channel = 255 - channel;
            if (mode == 3) channel = grey;
            if (mode == 4) channel = 255 - grey;
        }
        for (int c = 0; c < 3; ++c) putByte(triples, 3 * i + c, static_cast<std::uint8_t>(out[c]));
    }
}

}  // namespace model
