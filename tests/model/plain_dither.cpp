// Error diffusion.

#include <algorithm>

#include "plain_model.h"

namespace model {

namespace {

const Bytes& monoTable() {
    static const Bytes table = {0,   0,   0,   255, 255, 255, 64,  64,  64,  128, 128, 128,
                                160, 160, 160, 192, 192, 192, 208, 208, 208, 224, 224, 224};
    return table;
}

const Bytes& fixedColors() {
    static const Bytes table = {255, 255, 255, 255, 255, 0, 255, 0, 255, 0, 255, 255,
                                255, 0,   0,   0,   255, 0, 0,   0, 255, 0, 0,   0};
    return table;
}

int entryCount(int bits) {
    return static_cast<int>(powerOfTwo(bits) & 0xFFFFU);
}

Bitmap workingCopy(const Bitmap& source, const Bytes* sourceTable) {
    return convertDepth(source, 24, sourceTable, nullptr, 0);
}

// The picture's own colours first, the fixed colours directly behind them, black to the end.
Reduced pictureTable(const Bitmap& copy, int n) {
    const Reduced own = reduceColors(copy, n - 8);
    Bytes table(static_cast<std::size_t>(n) * 3, 0);
    const std::int64_t ownBytes = std::int64_t{own.count} * 3;
    for (std::int64_t i = 0; i < ownBytes; ++i) putByte(table, i, byteAt(own.table, i));
    for (std::int64_t i = 0; i < 24; ++i) putByte(table, ownBytes + i, byteAt(fixedColors(), i));
    return Reduced{table, n};
}

Bytes rowOf(const Bitmap& bitmap, std::uint32_t y) {
    const std::int64_t stride = bytesPerLine(bitmap.width, bitmap.bits);
    Bytes row;
    for (std::int64_t i = 0; i < stride; ++i) row.push_back(byteAt(bitmap.data, y * stride + i));
    return row;
}

void putRow(Bitmap& bitmap, std::uint32_t y, const Bytes& row) {
    const std::int64_t stride = bytesPerLine(bitmap.width, bitmap.bits);
    for (std::int64_t i = 0; i < stride; ++i) putByte(bitmap.data, y * stride + i, byteAt(row, i));
}

// Two-colour output is diffused in grey; a row turns grey before it takes any error.
Bytes rowToDiffuse(const Bitmap& copy, std::uint32_t y, bool grey) {
    Bytes row = rowOf(copy, y);
    if (grey) revRgb(row, static_cast<int>(copy.width), 3);
    return row;
}

Bitmap diffuse(Bitmap copy, int destBits, const Bytes& table, int count) {
    const bool grey = destBits == 1;
    if (grey && copy.height > 0) putRow(copy, 0, rowToDiffuse(copy, 0, true));
    for (std::uint32_t y = 0; y < copy.height; ++y) {
        Bytes row = rowOf(copy, y);
        if (y + 1 < copy.height) {
            Bytes next = rowToDiffuse(copy, y + 1, grey);
            ditherOneLine(row, &next, table, copy.width, count);
            putRow(copy, y + 1, next);
        } else {
            ditherOneLine(row, nullptr, table, copy.width, count);
        }
        putRow(copy, y, row);
    }
    return convertDepth(copy, destBits, nullptr, &table, count);
}

void addClamped(Bytes& row, std::int64_t offset, int amount) {
    const int sum = byteAt(row, offset) + amount;
    putByte(row, offset, static_cast<std::uint8_t>(std::clamp(sum, 0, 255)));
}

// Gives one channel of pixel x its table value and spreads the error.
void spread(Bytes& row, Bytes* next, std::int64_t x, int channel, std::uint8_t chosen) {
    const std::int64_t here = 3 * x + channel;
    const int error = byteAt(row, here) - chosen;
    const int eighth = error / 8;
    const int most = (7 * error) / 16;
    putByte(row, here, chosen);
    addClamped(row, here + 3, most);
    if (next == nullptr) return;
    addClamped(*next, here, most - eighth);
    if (x > 0) addClamped(*next, here - 3, most - 2 * eighth);
    addClamped(*next, here + 3, most - 3 * eighth);
}

}  // namespace

void ditherOneLine(Bytes& row, Bytes* next, const Bytes& table, std::uint32_t width, int count) {
    if (width == 0) return;
    const std::int64_t last = std::int64_t{width} - 1;
    std::int64_t k = 0;
    for (std::int64_t x = 0; x < last; ++x) {
        k = nearest(byteAt(row, 3 * x), byteAt(row, 3 * x + 1), byteAt(row, 3 * x + 2), table,
                    count);
        for (int channel = 0; channel < 3; ++channel) {
            spread(row, next, x, channel, byteAt(table, 3 * k + channel));
        }
    }
    // The last pixel repeats the last choice and spreads nothing.
    for (int channel = 0; channel < 3; ++channel) {
        putByte(row, 3 * last + channel, byteAt(table, 3 * k + channel));
    }
}

Reduced ditherTable(const Bitmap& source, int destBits, const Bytes* sourceTable) {
    const int n = entryCount(destBits);
    if (n < 3) return Reduced{monoTable(), 8};
    return pictureTable(workingCopy(source, sourceTable), n);
}

Bitmap ditherTo(const Bitmap& source, int destBits, const Bytes* sourceTable, const Bytes& table,
                int count) {
    return diffuse(workingCopy(source, sourceTable), destBits, table, count);
}

Dithered ditherBitmap(const Bitmap& source, int destBits, const Bytes* sourceTable,
                      const Bytes* givenTable) {
    Reduced chosen;
    if (givenTable != nullptr) {
        chosen = Reduced{*givenTable, entryCount(destBits)};
    } else {
        chosen = ditherTable(source, destBits, sourceTable);
    }
    const Bitmap dithered = ditherTo(source, destBits, sourceTable, chosen.table, chosen.count);
    return Dithered{dithered, chosen.table};
}

}  // namespace model
