#include "bmp/bmp_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "bmp/little_endian.h"
#include "process/failure.h"

namespace tool {
namespace {

void requireBytes(const BmpFile& file, size_t count) {
    if (file.bytes.size() < count) {
        fail("is cut short in its header, at byte " + std::to_string(file.bytes.size()),
             "get a complete copy of it");
    }
}

void readHeaders(BmpFile& file) {
    requireBytes(file, kBmpFileHeaderBytes + 4);
    const uint32_t headerBytes = little32(file.bytes.data() + kBmpHeaderBytes);
    if (headerNeeds(file.bytes) < kBmpFullHeadersEnd && !isKnownHeader(headerBytes)) {
        fail("has an info header of " + std::to_string(headerBytes) + " bytes at byte 14",
             "name a file with one of 12, 16, 40 or more");
    }
    requireBytes(file, headerNeeds(file.bytes));
    static_cast<BmpHeaders&>(file) = headersIn(file.bytes);
}

void measureRows(BmpFile& file) {
    const bool depth = isKnownDepth(file.bits) || isEmbedded(file);
    if (!depth || file.width <= 0 || file.height == 0) return;
    file.rows = static_cast<uint64_t>(std::llabs(file.height));
    file.rowBytes = rowBytes(static_cast<uint64_t>(file.width), file.bits);
}

uint64_t promisedColors(const BmpFile& file) {
    const bool indexed = file.bits >= 1 && file.bits <= 8;
    const uint64_t ofDepth = indexed ? uint64_t{1} << file.bits : 0;
    return file.colorsUsed != 0 ? file.colorsUsed : ofDepth;
}

// As many entries as are promised, fit the depth and lie before the pixels.
void readPalette(BmpFile& file) {
    file.paletteAt = std::min(
        file.bytes.size(), kBmpFileHeaderBytes + size_t{file.headerBytes} + looseMaskBytes(file));
    file.entryBytes = hasCoreHeader(file) ? 3 : 4;
    file.colorsPromised = promisedColors(file);
    if (file.bits == 0 || file.bits > 8) return;
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

bool beginsLikeJpeg(std::span<const uint8_t> pixels) {
    return pixels.size() >= 2 && pixels[0] == 0xFF && pixels[1] == 0xD8;
}

BmpForm os2Form(const BmpFile& file) {
    const bool rle24 = file.compression == kBmpRle24 && file.bits == 24;
    if (!rle24) return BmpForm::Unknown;
    // The 40 bytes of this header are those of Windows, too, where the number means JPEG.
    return beginsLikeJpeg(pixelBytes(file)) ? BmpForm::Jpeg : BmpForm::Rle24;
}

BmpForm encodedForm(const BmpFile& file) {
    const bool rle8 = file.compression == kBmpRle8 && file.bits == 8;
    const bool rle4 = file.compression == kBmpRle4 && file.bits == 4;
    if (!rle8 && !rle4) return BmpForm::Unknown;
    const bool windows = hasFullHeader(file) && !countsLikeOs2(file);
    if (windows && isWithoutCodes(pixelBytes(file), runShape(file, BmpForm::Native))) {
        return BmpForm::Native;
    }
    return rle8 ? BmpForm::Rle8 : BmpForm::Rle4;
}

BmpForm formOf(const BmpFile& file) {
    if (file.rows == 0) return BmpForm::Unknown;
    if (hasCoreHeader(file)) {
        return looksNative(file, pixelBytes(file)) ? BmpForm::Native : BmpForm::Raw;
    }
    if (isEmbedded(file)) return file.compression == kBmpJpeg ? BmpForm::Jpeg : BmpForm::Png;
    if (hasFields(file) || file.compression == kBmpRaw) return BmpForm::Raw;
    if (file.compression == kBmpRle8 || file.compression == kBmpRle4) return encodedForm(file);
    return countsLikeOs2(file) ? os2Form(file) : BmpForm::Unknown;
}

}  // namespace

bool isKnownDepth(uint16_t bits) {
    constexpr std::array<uint16_t, 8> kDepths{1, 2, 4, 8, 16, 24, 32, 64};
    return std::find(kDepths.begin(), kDepths.end(), bits) != kDepths.end();
}

bool isEmbedded(const BmpHeaders& headers) {
    const bool number = headers.compression == kBmpJpeg || headers.compression == kBmpPng;
    return number && hasFullHeader(headers) && !countsLikeOs2(headers);
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

BmpFile parseBmp(std::vector<uint8_t> bytes) {
    BmpFile file;
    file.bytes = std::move(bytes);
    readHeaders(file);
    measureRows(file);
    readPalette(file);
    file.pixelsAt = std::min(size_t{file.pixelOffset}, file.bytes.size());
    file.form = formOf(file);
    return file;
}

}  // namespace tool
