#include "bmp/headers_like.h"

#include <algorithm>

#include "bmp/little_endian.h"

namespace tool {
namespace {

// Fields of the headers of 108 and 124 bytes.
constexpr size_t kColorSpaceAt = 70;
constexpr size_t kEndPointsAt = 74;  // with the gammas
constexpr size_t kEndPointsEnd = 122;
constexpr size_t kProfileEnd = 134;
constexpr uint32_t kFourthHeaderBytes = 108;
constexpr uint32_t kCalibrated = 0;              // by the end points
constexpr uint32_t kSrgb = 0x73524742;           // "sRGB", the first letter highest
constexpr uint32_t kSystemDefault = 0x57696E20;  // "Win "

void putLittle16(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 2; ++i, value >>= 8) at[i] = static_cast<uint8_t>(value);
}

void putSides(std::vector<uint8_t>& head, const BmpHeaders& shown, const BmpHeaders& own) {
    const auto width = static_cast<uint32_t>(own.width);
    const auto height = static_cast<uint32_t>(own.height);
    if (hasCoreHeader(shown)) {
        putLittle16(&head[kBmpWidth], width);
        putLittle16(&head[kBmpWidth + 2], height);
    } else {
        putLittle32(&head[kBmpWidth], width);
        putLittle32(&head[kBmpWidth + 4], height);
    }
}

// Raw files may leave the field 0.
void putImageSize(std::vector<uint8_t>& head, const BmpHeaders& shown, uint32_t pixelBytes) {
    const bool there =
        !hasCoreHeader(shown) && kBmpImageSize + 4 <= kBmpFileHeaderBytes + shown.headerBytes;
    const bool encoded = shown.compression == kBmpRle8 || shown.compression == kBmpRle4;
    if (there && (encoded || shown.imageSize != 0)) putLittle32(&head[kBmpImageSize], pixelBytes);
}

void putSrgb(std::vector<uint8_t>& head, uint32_t headerBytes) {
    putLittle32(&head[kColorSpaceAt], kSrgb);
    std::fill(&head[kEndPointsAt], &head[kEndPointsEnd], uint8_t{0});
    if (head.size() < kProfileEnd || headerBytes == kFourthHeaderBytes) return;
    std::fill(&head[kBmpProfileOffset], &head[kProfileEnd], uint8_t{0});
}

// Where what the headers and the palette describe ends. Deep files may have a palette, too, for
// displays with few colours.
size_t describedEnd(const BmpFile& file) {
    const uint64_t end = file.paletteAt + file.colorsPromised * file.entryBytes;
    return static_cast<size_t>(std::min<uint64_t>(end, file.pixelsAt));
}

}  // namespace

bool hasOwnColorSpace(const BmpFile& file) {
    if (file.headerBytes < kFourthHeaderBytes || file.pixelsAt < kEndPointsEnd) return false;
    const uint8_t* bytes = file.bytes.data();
    const uint32_t space = little32(bytes + kColorSpaceAt);
    const bool plain = std::all_of(bytes + kEndPointsAt, bytes + kEndPointsEnd,
                                   [](uint8_t byte) { return byte == 0; });
    const bool usual = space == kSrgb || space == kSystemDefault;
    return file.profileAt != 0 || !(usual || (space == kCalibrated && plain));
}

std::vector<uint8_t> headOf(const BmpFile& file) {
    std::vector<uint8_t> head(file.bytes.begin(),
                              file.bytes.begin() + static_cast<ptrdiff_t>(file.pixelsAt));
    std::fill(head.begin() + static_cast<ptrdiff_t>(describedEnd(file)), head.end(), uint8_t{0});
    putLittle32(&head[kBmpReserved], 0);
    if (hasOwnColorSpace(file)) putSrgb(head, file.headerBytes);
    return head;
}

void putMasks(std::vector<uint8_t>& head, const std::array<uint32_t, 4>& masks) {
    const BmpHeaders shown = headersIn(head);
    const size_t end = kBmpFileHeaderBytes + shown.headerBytes + looseMaskBytes(shown);
    for (size_t i = 0; i < masks.size(); ++i) {
        const size_t place = kBmpMasks + 4 * i;
        if (place + 4 <= std::min(end, head.size())) putLittle32(&head[place], masks[i]);
    }
}

std::vector<uint8_t> headersLike(std::span<const uint8_t> head, std::span<const uint8_t> own) {
    const BmpHeaders shown = headersIn(head);
    const BmpHeaders made = headersIn(own);
    const uint32_t pixelBytes = made.fileSize - made.pixelOffset;
    std::vector<uint8_t> bytes(head.begin(), head.end());
    putLittle32(&bytes[kBmpFileSize], static_cast<uint32_t>(bytes.size()) + pixelBytes);
    putSides(bytes, shown, made);
    putImageSize(bytes, shown, pixelBytes);
    return bytes;
}

}  // namespace tool
