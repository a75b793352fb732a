#include "bmp_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "failure.h"
#include "little_endian.h"

namespace tool {
namespace {

constexpr size_t kFileHeaderBytes = 14;
constexpr uint32_t kCoreHeaderBytes = 12;
constexpr uint32_t kFullHeaderBytes = 40;

struct HeaderKind {
    uint32_t bytes;
    const char* name;
};
constexpr std::array<HeaderKind, 8> kHeaders{{{12, "OS/2 1.x"},
                                              {16, "OS/2 2.x, cut to its fixed part"},
                                              {40, "Windows"},
                                              {52, "Windows with colour masks"},
                                              {56, "Windows with colour and alpha masks"},
                                              {64, "OS/2 2.x"},
                                              {108, "Windows, version 4"},
                                              {124, "Windows, version 5"}}};

const HeaderKind* findHeader(uint32_t bytes) {
    const auto* found = std::find_if(kHeaders.begin(), kHeaders.end(),
                                     [&](HeaderKind kind) { return kind.bytes == bytes; });
    return found == kHeaders.end() ? nullptr : found;
}

int64_t signed32(const uint8_t* at) {
    return static_cast<int32_t>(little32(at));
}

void requireBytes(const BmpFile& file, size_t count) {
    if (file.bytes.size() < count) {
        fail("is cut short in its header, at byte " + std::to_string(file.bytes.size()),
             "get a complete copy of it");
    }
}

void readFileHeader(BmpFile& file) {
    requireBytes(file, kFileHeaderBytes + 4);
    const uint8_t* at = file.bytes.data();
    file.fileSize = little32(at + kBmpFileSize);
    file.reserved = little32(at + kBmpReserved);
    file.pixelOffset = little32(at + kBmpPixelOffset);
    file.headerBytes = little32(at + kBmpHeaderBytes);
    if (file.headerBytes < kFullHeaderBytes && findHeader(file.headerBytes) == nullptr) {
        fail("has an info header of " + std::to_string(file.headerBytes) + " bytes at byte 14",
             "name a file with one of 12, 16, 40 or more");
    }
    requireBytes(file, kFileHeaderBytes + std::min(file.headerBytes, kFullHeaderBytes));
}

void readCoreHeader(BmpFile& file) {
    const uint8_t* at = file.bytes.data() + kBmpWidth;
    file.width = little16(at);
    file.height = little16(at + 2);
    file.planes = little16(at + 4);
    file.bits = little16(at + 6);
}

void readInfoHeader(BmpFile& file) {
    if (hasCoreHeader(file)) return readCoreHeader(file);
    const uint8_t* at = file.bytes.data();
    file.width = signed32(at + kBmpWidth);
    file.height = signed32(at + kBmpWidth + 4);
    file.planes = little16(at + kBmpPlanes);
    file.bits = little16(at + kBmpBits);
    if (!hasFullHeader(file)) return;
    file.compression = little32(at + kBmpCompressionField);
    file.imageSize = little32(at + kBmpImageSize);
    file.xPerMeter = little32(at + kBmpImageSize + 4);
    file.yPerMeter = little32(at + kBmpImageSize + 8);
    file.colorsUsed = little32(at + kBmpColorsUsed);
}

void measureRows(BmpFile& file) {
    const bool usable = isKnownDepth(file.bits) && file.width > 0 && file.height != 0;
    if (!usable) return;
    file.rows = static_cast<uint64_t>(std::llabs(file.height));
    file.rowBytes = rowBytes(static_cast<uint64_t>(file.width), file.bits);
}

uint64_t promisedColors(const BmpFile& file) {
    const uint64_t ofDepth = file.bits <= 8 ? uint64_t{1} << file.bits : 0;
    return file.colorsUsed != 0 ? file.colorsUsed : ofDepth;
}

// As many entries as are promised, fit the depth and lie before the pixels.
void readPalette(BmpFile& file) {
    file.paletteAt = std::min(file.bytes.size(), kFileHeaderBytes + size_t{file.headerBytes});
    file.entryBytes = hasCoreHeader(file) ? 3 : 4;
    file.colorsPromised = promisedColors(file);
    if (file.bits > 8) return;
    const size_t end = std::clamp(size_t{file.pixelOffset}, file.paletteAt, file.bytes.size());
    const uint64_t room = (end - file.paletteAt) / file.entryBytes;
    const uint64_t count = std::min({file.colorsPromised, uint64_t{1} << file.bits, room});
    const uint8_t* entry = file.bytes.data() + file.paletteAt;
    for (uint64_t i = 0; i < count; ++i, entry += file.entryBytes) {
        file.palette.push_back({entry[2], entry[1], entry[0]});
    }
}

// The OS/2 header does not tell that rows are encoded. What tells is a length that is not that of
// raw rows, or the encoded length, which the library puts where the Windows header has its field.
bool looksNative(const BmpFile& file, std::span<const uint8_t> pixels) {
    if (file.bits != 4 && file.bits != 8) return false;
    const bool stamped = file.bytes.size() >= kBmpImageSize + 4 &&
                         little32(file.bytes.data() + kBmpImageSize) == pixels.size();
    const bool raw = pixels.size() == file.rowBytes * file.rows;
    return (stamped || !raw) && isExactNative(pixels, runShape(file, BmpForm::Native));
}

BmpForm formOf(const BmpFile& file) {
    if (file.rows == 0) return BmpForm::Unknown;
    const auto pixels = pixelBytes(file);
    if (!hasFullHeader(file)) return looksNative(file, pixels) ? BmpForm::Native : BmpForm::Raw;
    if (file.compression == kBmpRaw) return BmpForm::Raw;
    const bool rle8 = file.compression == kBmpRle8 && file.bits == 8;
    const bool rle4 = file.compression == kBmpRle4 && file.bits == 4;
    if (!rle8 && !rle4) return BmpForm::Unknown;
    if (isWithoutCodes(pixels, runShape(file, BmpForm::Native))) return BmpForm::Native;
    return rle8 ? BmpForm::Rle8 : BmpForm::Rle4;
}

}  // namespace

bool isKnownDepth(uint16_t bits) {
    constexpr std::array<uint16_t, 7> kDepths{1, 2, 4, 8, 16, 24, 32};
    return std::find(kDepths.begin(), kDepths.end(), bits) != kDepths.end();
}

bool hasCoreHeader(const BmpFile& file) {
    return file.headerBytes == kCoreHeaderBytes;
}

bool hasFullHeader(const BmpFile& file) {
    return file.headerBytes >= kFullHeaderBytes;
}

RunShape runShape(const BmpFile& file, BmpForm form) {
    RunShape shape;
    shape.native = form == BmpForm::Native;
    shape.rows = file.rows;
    shape.bits = file.bits;
    shape.paddedPixels = file.rowBytes * 8 / file.bits;
    shape.rowPixels = shape.native ? shape.paddedPixels : static_cast<uint64_t>(file.width);
    return shape;
}

bool isKnownHeader(uint32_t headerBytes) {
    return findHeader(headerBytes) != nullptr;
}

std::string headerName(uint32_t headerBytes) {
    const HeaderKind* kind = findHeader(headerBytes);
    return std::string(kind == nullptr ? "unknown" : kind->name) + ", " +
           std::to_string(headerBytes) + " bytes";
}

BmpFile parseBmp(std::vector<uint8_t> bytes) {
    BmpFile file;
    file.bytes = std::move(bytes);
    readFileHeader(file);
    readInfoHeader(file);
    measureRows(file);
    readPalette(file);
    file.pixelsAt = std::min(size_t{file.pixelOffset}, file.bytes.size());
    file.form = formOf(file);
    return file;
}

}  // namespace tool
