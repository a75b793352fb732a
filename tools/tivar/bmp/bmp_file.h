// A BMP file in memory: what its headers say and where its parts are.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "bmp/bmp_runs.h"
#include "bmp/headers.h"
#include "picture/image.h"

namespace tool {

// How the rows are stored. Native is the library's run-length form: pairs of a count and a value,
// every row with its padding, no codes for the ends of lines and of the bitmap.
enum class BmpForm { Raw, Rle8, Rle4, Rle24, Native, Jpeg, Png, Unknown };

// Parts never pass the end of the file.
struct BmpFile : BmpHeaders {
    std::vector<uint8_t> bytes;
    uint64_t rows{};      // 0 when width, height or depth are unusable
    uint64_t rowBytes{};  // of a raw row with its padding
    size_t paletteAt{};
    size_t entryBytes{};        // of one palette entry
    uint64_t colorsPromised{};  // by the headers
    std::vector<Color> palette;
    size_t pixelsAt{};
    BmpForm form = BmpForm::Unknown;
};

// What does not begin like a BMP file with a known header is a Failure.
BmpFile parseBmp(std::vector<uint8_t> bytes);

bool isKnownDepth(uint16_t bits);

// Whether the pixels are a whole picture of another kind, which needs no depth.
bool isEmbedded(const BmpHeaders& headers);

// The file's rows as runs of that form.
RunShape runShape(const BmpFile& file, BmpForm form);

// Row y of the picture as the file counts rows.
inline uint64_t rowInFile(const BmpFile& file, uint64_t y) {
    return file.height < 0 ? y : file.rows - 1 - y;
}

inline std::span<const uint8_t> pixelBytes(const BmpFile& file) {
    return std::span(file.bytes).subspan(file.pixelsAt);
}

}  // namespace tool
