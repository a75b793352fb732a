#include "bmp/headers.h"

#include <algorithm>
#include <array>

#include "bmp/little_endian.h"

namespace tool {
namespace {

constexpr uint32_t kCoreHeaderBytes = 12;
constexpr uint32_t kFullHeaderBytes = 40;
constexpr uint32_t kSecondOs2Bytes = 64;
constexpr uint32_t kFifthHeaderBytes = 124;
constexpr uint32_t kShortestSecondOs2Bytes = 16;

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

void readCoreHeader(BmpHeaders& headers, const uint8_t* start) {
    const uint8_t* at = start + kBmpWidth;
    headers.width = little16(at);
    headers.height = little16(at + 2);
    headers.planes = little16(at + 4);
    headers.bits = little16(at + 6);
}

// Headers end where their length says, and what would be behind the end is 0.
uint32_t fieldAt(const BmpHeaders& headers, std::span<const uint8_t> start, size_t place) {
    const bool within = place + 4 <= kBmpFileHeaderBytes + size_t{headers.headerBytes};
    return within && place + 4 <= start.size() ? little32(start.data() + place) : 0;
}

// The three masks of the 40-byte header stand behind it, and a fourth one in case of alpha.
void readMasks(BmpHeaders& headers, std::span<const uint8_t> start) {
    const size_t end = kBmpFileHeaderBytes + headers.headerBytes + looseMaskBytes(headers);
    for (size_t i = 0; i < headers.masks.size(); ++i) {
        const size_t place = kBmpMasks + 4 * i;
        const bool within = place + 4 <= std::min(end, start.size());
        if (within) headers.masks[i] = little32(start.data() + place);
    }
}

void readInfoHeader(BmpHeaders& headers, std::span<const uint8_t> start) {
    if (hasCoreHeader(headers)) return readCoreHeader(headers, start.data());
    headers.width = signed32(start.data() + kBmpWidth);
    headers.height = signed32(start.data() + kBmpWidth + 4);
    headers.planes = little16(start.data() + kBmpPlanes);
    headers.bits = little16(start.data() + kBmpBits);
    headers.compression = fieldAt(headers, start, kBmpCompressionField);
    headers.imageSize = fieldAt(headers, start, kBmpImageSize);
    headers.xPerMeter = fieldAt(headers, start, kBmpImageSize + 4);
    headers.yPerMeter = fieldAt(headers, start, kBmpImageSize + 8);
    headers.colorsUsed = fieldAt(headers, start, kBmpColorsUsed);
    if (hasFields(headers)) readMasks(headers, start);
    if (headers.headerBytes < kFifthHeaderBytes) return;
    headers.profileAt = fieldAt(headers, start, kBmpProfileOffset);
    headers.profileBytes = fieldAt(headers, start, kBmpProfileOffset + 4);
}

bool isSecondOs2(uint32_t headerBytes) {
    return (headerBytes > kCoreHeaderBytes && headerBytes < kFullHeaderBytes) ||
           headerBytes == kSecondOs2Bytes;
}

}  // namespace

size_t headerNeeds(std::span<const uint8_t> start) {
    return kBmpFileHeaderBytes +
           std::min(little32(start.data() + kBmpHeaderBytes), kFullHeaderBytes);
}

BmpHeaders headersIn(std::span<const uint8_t> start) {
    BmpHeaders headers;
    headers.fileSize = little32(start.data() + kBmpFileSize);
    headers.reserved = little32(start.data() + kBmpReserved);
    headers.pixelOffset = little32(start.data() + kBmpPixelOffset);
    headers.headerBytes = little32(start.data() + kBmpHeaderBytes);
    readInfoHeader(headers, start);
    return headers;
}

bool hasCoreHeader(const BmpHeaders& headers) {
    return headers.headerBytes == kCoreHeaderBytes;
}

bool hasFullHeader(const BmpHeaders& headers) {
    return headers.headerBytes >= kFullHeaderBytes;
}

size_t looseMaskBytes(const BmpHeaders& headers) {
    if (headers.headerBytes != kFullHeaderBytes || !hasFields(headers)) return 0;
    return headers.compression == kBmpAlphaFields ? 16 : 12;
}

bool countsLikeOs2(const BmpHeaders& headers) {
    if (isSecondOs2(headers.headerBytes)) return true;
    const bool huffman = headers.compression == kBmpHuffman && headers.bits == 1;
    const bool rle24 = headers.compression == kBmpRle24 && headers.bits == 24;
    return headers.headerBytes == kFullHeaderBytes && (huffman || rle24);
}

bool hasFields(const BmpHeaders& headers) {
    return (headers.compression == kBmpFields || headers.compression == kBmpAlphaFields) &&
           !countsLikeOs2(headers) && (headers.bits == 16 || headers.bits == 32);
}

bool isKnownHeader(uint32_t headerBytes) {
    const bool cutOs2 = isSecondOs2(headerBytes) && headerBytes >= kShortestSecondOs2Bytes;
    return cutOs2 || findHeader(headerBytes) != nullptr;
}

std::string headerName(uint32_t headerBytes) {
    const HeaderKind* kind = findHeader(headerBytes);
    const char* other = isKnownHeader(headerBytes) ? "OS/2 2.x, cut short" : "unknown";
    return std::string(kind == nullptr ? other : kind->name) + ", " + std::to_string(headerBytes) +
           " bytes";
}

}  // namespace tool
