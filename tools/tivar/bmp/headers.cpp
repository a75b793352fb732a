#include "bmp/headers.h"

#include <algorithm>
#include <array>

#include "bmp/little_endian.h"

namespace tool {
namespace {

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

void readCoreHeader(BmpHeaders& headers, const uint8_t* start) {
    const uint8_t* at = start + kBmpWidth;
    headers.width = little16(at);
    headers.height = little16(at + 2);
    headers.planes = little16(at + 4);
    headers.bits = little16(at + 6);
}

void readInfoHeader(BmpHeaders& headers, const uint8_t* start) {
    if (hasCoreHeader(headers)) return readCoreHeader(headers, start);
    headers.width = signed32(start + kBmpWidth);
    headers.height = signed32(start + kBmpWidth + 4);
    headers.planes = little16(start + kBmpPlanes);
    headers.bits = little16(start + kBmpBits);
    if (!hasFullHeader(headers)) return;
    headers.compression = little32(start + kBmpCompressionField);
    headers.imageSize = little32(start + kBmpImageSize);
    headers.xPerMeter = little32(start + kBmpImageSize + 4);
    headers.yPerMeter = little32(start + kBmpImageSize + 8);
    headers.colorsUsed = little32(start + kBmpColorsUsed);
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
    readInfoHeader(headers, start.data());
    return headers;
}

bool hasCoreHeader(const BmpHeaders& headers) {
    return headers.headerBytes == kCoreHeaderBytes;
}

bool hasFullHeader(const BmpHeaders& headers) {
    return headers.headerBytes >= kFullHeaderBytes;
}

bool isKnownHeader(uint32_t headerBytes) {
    return findHeader(headerBytes) != nullptr;
}

std::string headerName(uint32_t headerBytes) {
    const HeaderKind* kind = findHeader(headerBytes);
    return std::string(kind == nullptr ? "unknown" : kind->name) + ", " +
           std::to_string(headerBytes) + " bytes";
}

}  // namespace tool
