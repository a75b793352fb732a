// The layout of BMP files: where the fields of the headers are and what they hold.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace tool {

// Numbers 3 and 4 mean something else with the headers of OS/2 2.x.
enum BmpCompression : uint32_t {
    kBmpRaw = 0,
    kBmpRle8 = 1,
    kBmpRle4 = 2,
    kBmpFields = 3,
    kBmpHuffman = 3,
    kBmpJpeg = 4,
    kBmpRle24 = 4,
    kBmpPng = 5,
    kBmpAlphaFields = 6
};

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
    kBmpColorsUsed = 46,
    kBmpFullHeadersEnd = 54,
    kBmpMasks = 54,  // behind the 40-byte header or within its successors
    kBmpProfileOffset = 126
};

constexpr size_t kBmpFileHeaderBytes = 14;

// Fields are as stored, 0 where the header has none.
struct BmpHeaders {
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
    std::array<uint32_t, 4> masks{};  // of red, green, blue and alpha
    uint32_t profileAt{};             // counted from the info header
    uint32_t profileBytes{};
};

// start has the file header and the info header, or its first 40 bytes.
BmpHeaders headersIn(std::span<const uint8_t> start);

// Bytes that headersIn needs of a file that begins like that; start has the file header and the
// length of the info header.
size_t headerNeeds(std::span<const uint8_t> start);

// Bytes of the masks that stand between the 40-byte header and the palette.
size_t looseMaskBytes(const BmpHeaders& headers);

// Whether the header is that of OS/2 1.x, with 16-bit sides and palette entries of 3 bytes.
bool hasCoreHeader(const BmpHeaders& headers);

// Whether the header has a compression field and the rest of the 40 bytes.
bool hasFullHeader(const BmpHeaders& headers);

// Whether numbers of compression are those of OS/2 2.x.
bool countsLikeOs2(const BmpHeaders& headers);

// Whether pixels of 16 or 32 bits are cut into colours by the masks.
bool hasFields(const BmpHeaders& headers);

// "Windows, 40 bytes"
std::string headerName(uint32_t headerBytes);
bool isKnownHeader(uint32_t headerBytes);

}  // namespace tool
