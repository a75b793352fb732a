// A BMP file in memory: what its headers say and where its parts are.

#ifndef TIVAR_TOOL_BMP_FILE_H
#define TIVAR_TOOL_BMP_FILE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bmp_runs.h"
#include "picture.h"

namespace tool {

// How the rows are stored. Native is the library's run-length form: pairs of a count and a value,
// every row with its padding, no codes for the ends of lines and of the bitmap.
enum class BmpForm { Raw, Rle8, Rle4, Native, Unknown };

enum BmpCompression : uint32_t { kBmpRaw = 0, kBmpRle8 = 1, kBmpRle4 = 2 };

// Places of the file header and of the fields that the 40-byte header and its successors share.
enum BmpPlace : size_t {
    kBmpFileSize = 2,
    kBmpReserved = 6,
    kBmpPixelOffset = 10,
    kBmpHeaderBytes = 14,
    kBmpWidth = 18,
    kBmpPlanes = 26,
    kBmpBits = 28,
    kBmpCompressionField = 30,
    kBmpImageSize = 34,
    kBmpColorsUsed = 46
};

// Header fields are as stored, 0 where the header has none. Parts never pass the end of the file.
struct BmpFile {
    std::vector<uint8_t> bytes;
    uint32_t fileSize{};
    uint32_t reserved{};
    uint32_t pixelOffset{};
    uint32_t headerBytes{};
    int64_t width{};
    int64_t height{};  // negative = top row first
    uint16_t planes{};
    uint16_t bits{};
    uint32_t compression{};
    uint32_t imageSize{};
    uint32_t xPerMeter{};
    uint32_t yPerMeter{};
    uint32_t colorsUsed{};

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

// Whether the header is that of OS/2 1.x, with 16-bit sides and palette entries of 3 bytes.
bool hasCoreHeader(const BmpFile& file);

// Whether the header has a compression field and the rest of the 40 bytes.
bool hasFullHeader(const BmpFile& file);

// The file's rows as runs of that form.
RunShape runShape(const BmpFile& file, BmpForm form);

// "Windows, 40 bytes"
std::string headerName(uint32_t headerBytes);
bool isKnownHeader(uint32_t headerBytes);

// Row y of the picture as the file counts rows.
inline uint64_t rowInFile(const BmpFile& file, uint64_t y) {
    return file.height < 0 ? y : file.rows - 1 - y;
}

inline std::span<const uint8_t> pixelBytes(const BmpFile& file) {
    return std::span(file.bytes).subspan(file.pixelsAt);
}

}  // namespace tool

#endif
