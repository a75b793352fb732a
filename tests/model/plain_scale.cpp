// Scaling by replication and dropping, and mirroring.

#include "plain_model.h"

namespace model {

namespace {

double ratioOf(std::uint32_t numerator, std::uint32_t denominator) {
    return static_cast<double>(numerator) / static_cast<double>(denominator);
}

// Position of step `count`, truncated.
std::int64_t positionOf(std::uint32_t count, double ratio) {
    return toUnsigned(static_cast<double>(count) * ratio);
}

// A row number can lie in front of the picture once its 16 bits have wrapped.
std::uint32_t sourcePixel(const Bitmap& source, std::int64_t x, std::int64_t row) {
    if (x < 0 || row < 0) return 0;
    return getPixel(source, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(row));
}

void putPixel(Bitmap& dest, std::int64_t x, std::int64_t row, std::uint32_t value) {
    if (x < 0 || row < 0) return;
    setPixel(dest, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(row), value, nullptr,
             nullptr, 0);
}

void shrinkRow(const Bitmap& source, std::int64_t sourceRow, Bitmap& dest, std::int64_t destRow) {
    const double ratio = ratioOf(source.width, dest.width);
    std::int64_t read = 0;
    std::int64_t previous = 0;
    for (std::uint32_t i = 1; i <= dest.width; ++i) {
        const std::int64_t position = positionOf(i, ratio);
        const std::int64_t step = position - previous;
        previous = position;
        const bool last = i == dest.width;
        const std::int64_t from = last ? std::int64_t{source.width} - 1 : read;
        putPixel(dest, std::int64_t{i} - 1, destRow, sourcePixel(source, from, sourceRow));
        read += step;
    }
}

void stretchRow(const Bitmap& source, std::int64_t sourceRow, Bitmap& dest, std::int64_t destRow) {
    const double ratio = ratioOf(dest.width, source.width);
    std::int64_t write = std::int64_t{dest.width} - 1;
    std::int64_t done = 0;
    for (std::int64_t x = std::int64_t{source.width} - 1; x >= 0; --x) {
        const auto count = static_cast<std::uint32_t>(source.width - x);
        const std::int64_t position = static_cast<std::uint16_t>(positionOf(count, ratio));
        const std::uint32_t value = sourcePixel(source, x, sourceRow);
        for (std::int64_t n = position - done; n > 0; --n) {
            putPixel(dest, write, destRow, value);
            write -= 1;
        }
        done = position;
    }
}

void resampleRow(const Bitmap& source, std::int64_t sourceRow, Bitmap& dest, std::int64_t destRow) {
    if (dest.width > source.width) {
        stretchRow(source, sourceRow, dest, destRow);
    } else {
        shrinkRow(source, sourceRow, dest, destRow);
    }
}

void shrinkRows(const Bitmap& source, Bitmap& dest) {
    const double ratio = ratioOf(source.height, dest.height);
    std::int64_t row = 0;
    std::int64_t previous = 0;
    for (std::uint32_t j = 1; j <= dest.height; ++j) {
        const std::int64_t position = static_cast<std::int16_t>(positionOf(j, ratio));
        resampleRow(source, row, dest, std::int64_t{j} - 1);
        row += position - previous;
        previous = position;
    }
}

void copyRow(Bitmap& bitmap, std::int64_t from, std::int64_t to) {
    const std::int64_t stride = bytesPerLine(bitmap.width, bitmap.bits);
    for (std::int64_t i = 0; i < stride; ++i) {
        putByte(bitmap.data, to * stride + i, byteAt(bitmap.data, from * stride + i));
    }
}

void stretchRows(const Bitmap& source, Bitmap& dest) {
    const double ratio = ratioOf(dest.height, source.height);
    std::int64_t destRow = std::int64_t{dest.height} - 1;
    std::int64_t done = 0;
    for (std::int64_t y = std::int64_t{source.height} - 1; y >= 0; --y) {
        const auto rows = static_cast<std::uint32_t>(source.height - y);
        const std::int64_t position = positionOf(rows, ratio);
        const std::int64_t count = position - done;
        done = position;
        if (count == 0) continue;
        resampleRow(source, y, dest, destRow);
        for (std::int64_t n = 1; n < count; ++n) copyRow(dest, destRow, destRow - n);
        destRow -= count;
    }
}

// The rows go through a buffer whose size was kept to 16 bits: what it cannot hold is lost.
void exchangeRows(Bitmap& bitmap, std::int64_t top, std::int64_t bottom, std::size_t bufferSize) {
    const std::int64_t stride = bytesPerLine(bitmap.width, bitmap.bits);
    Bytes buffer(bufferSize, 0);
    for (std::int64_t i = 0; i < stride; ++i) {
        putByte(buffer, i, byteAt(bitmap.data, top * stride + i));
    }
    copyRow(bitmap, bottom, top);
    for (std::int64_t i = 0; i < stride; ++i) {
        putByte(bitmap.data, bottom * stride + i, byteAt(buffer, i));
    }
}

// Pixel x is paired with pixel width - x, so pixel 0 trades with the place just past the row.
void mirrorRows(Bitmap& bitmap, std::int64_t top, std::int64_t bottom) {
    const std::int64_t width = bitmap.width;
    for (std::int64_t x = 0; x < width / 2; ++x) {
        const std::uint32_t a = sourcePixel(bitmap, x, top);
        const std::uint32_t b = sourcePixel(bitmap, width - x, top);
        const std::uint32_t c = sourcePixel(bitmap, x, bottom);
        const std::uint32_t d = sourcePixel(bitmap, width - x, bottom);
        putPixel(bitmap, x, top, b);
        putPixel(bitmap, width - x, top, a);
        putPixel(bitmap, x, bottom, d);
        putPixel(bitmap, width - x, bottom, c);
    }
}

}  // namespace

Bitmap scale(const Bitmap& source, std::uint32_t destWidth, std::uint32_t destHeight) {
    Bitmap dest = newBitmap(destWidth, destHeight, source.bits);
    if (static_cast<std::int32_t>(destHeight) > static_cast<std::int32_t>(source.height)) {
        stretchRows(source, dest);
    } else {
        shrinkRows(source, dest);
    }
    return dest;
}

void flip(Bitmap& bitmap, bool horizontally, bool vertically) {
    const auto bufferSize = static_cast<std::int16_t>(bytesPerLine(bitmap.width, bitmap.bits));
    if (bufferSize < 0) return;
    std::int64_t top = 0;
    std::int64_t bottom = std::int64_t{bitmap.height} - 1;
    const std::int64_t rounds = (std::int64_t{bitmap.height} + 1) / 2;
    for (std::int64_t i = 0; i < rounds; ++i) {
        if (vertically) exchangeRows(bitmap, top, bottom, static_cast<std::size_t>(bufferSize));
        if (horizontally) mirrorRows(bitmap, top, bottom);
        top += 1;
        bottom -= 1;
    }
}

}  // namespace model
