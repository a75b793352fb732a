#include "bmp/bmp_rows.h"

#include <algorithm>
#include <memory>

#include "bmp/bmp_check.h"
#include "process/failure.h"

namespace tool {
namespace {

// What readers of PNG accept as a side by default, and a bound for files that claim far more pixels
// than they have bytes.
constexpr uint64_t kLongestSide = 1'000'000;
constexpr uint64_t kMostPixels = uint64_t{1} << 32;

void requireDecodable(const BmpFile& file, const BmpFlaws& flaws) {
    const bool depth = file.bits == 1 || file.bits == 4 || file.bits == 8 || file.bits == 24;
    if (!depth) {
        fail("has " + std::to_string(file.bits) + " bits per pixel",
             "only 1, 4, 8 and 24 are decoded");
    }
    for (const BmpFlaw& flaw : flaws.list) {
        if (flaw.losesPixels) {
            fail(flaw.what + ", at byte " + std::to_string(flaw.at),
                 "see tivar inspect, or get a complete copy of it");
        }
    }
    const auto width = static_cast<uint64_t>(file.width);
    if (width > kLongestSide || file.rows > kLongestSide || width * file.rows > kMostPixels) {
        fail("claims " + std::to_string(width) + " x " + std::to_string(file.rows) + " pixels",
             "only sides up to 1000000 and 4294967296 pixels are decoded");
    }
}

void readRaw(const BmpFile& file, uint32_t y, uint8_t* packed, size_t count) {
    const uint8_t* row = pixelBytes(file).data() + rowInFile(file, y) * file.rowBytes;
    if (file.bits != 24) {
        std::copy_n(row, count, packed);
        return;
    }
    for (size_t i = 0; i < count; i += 3) {
        packed[i] = row[i + 2];
        packed[i + 1] = row[i + 1];
        packed[i + 2] = row[i];
    }
}

struct RunRows {
    const BmpFile& file;
    RunShape shape;
    RunMap map;
    std::vector<uint8_t> indices;
};

void readEncoded(RunRows& rows, uint32_t y, uint8_t* packed, size_t count) {
    uint8_t* indices = rows.indices.data();
    expandRow(pixelBytes(rows.file), rows.shape, rows.map, rowInFile(rows.file, y), indices);
    if (rows.shape.bits == 8) {
        std::copy_n(indices, count, packed);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        packed[i] = static_cast<uint8_t>(indices[2 * i] << 4 | indices[2 * i + 1]);
    }
}

}  // namespace

PixelRows rowsOf(const BmpFile& file) {
    RunMap map = mapPixels(file);
    requireDecodable(file, map.flaws);
    PixelRows rows;
    rows.width = static_cast<uint32_t>(file.width);
    rows.height = static_cast<uint32_t>(file.rows);
    rows.bits = file.bits;
    rows.palette = file.palette;
    if (file.bits <= 8) rows.palette.resize(size_t{1} << file.bits, Color{0, 0, 0});
    const size_t count = packedBytes(rows);
    if (file.form == BmpForm::Raw) {
        rows.read = [&file, count](uint32_t y, uint8_t* packed) {
            readRaw(file, y, packed, count);
        };
        return rows;
    }
    const RunShape shape = runShape(file, file.form);
    // One index more than the row has, which fills its last byte.
    auto encoded = std::make_shared<RunRows>(
        RunRows{file, shape, std::move(map), std::vector<uint8_t>(shape.rowPixels + 1)});
    rows.read = [encoded, count](uint32_t y, uint8_t* packed) {
        readEncoded(*encoded, y, packed, count);
    };
    return rows;
}

}  // namespace tool
