#include "write/header.h"

#include <cstring>
#include <initializer_list>

namespace tivar {
namespace {

constexpr uint32_t kFileHeaderBytes = 14;
constexpr uint32_t kOs2HeaderBytes = 12;
constexpr uint32_t kWindowsHeaderBytes = 40;
constexpr uint32_t kV4HeaderBytes = 108;
constexpr uint32_t kMaskBytes = 12;

uint32_t infoHeaderBytes(int32_t header) {
    if (header == TIVAR_HEADER_OS2) return kOs2HeaderBytes;
    return header == TIVAR_HEADER_V4 ? kV4HeaderBytes : kWindowsHeaderBytes;
}

struct Masks {
    uint32_t red;
    uint32_t green;
    uint32_t blue;
    uint32_t alpha;
};

Masks masksOf(const Job& job) {
    if (job.options.bits == 32)
        return {0x00FF0000, 0x0000FF00, 0x000000FF, job.keepsAlpha ? 0xFF000000 : 0};
    if (job.options.masks == TIVAR_MASKS_555) return {0x7C00, 0x03E0, 0x001F, 0};
    return {0xF800, 0x07E0, 0x001F, 0};
}

// Without masks 16 bits are 5, 5, 5 and 32 bits 8, 8, 8.
bool needsMasks(const Job& job) {
    if (job.options.bits != 16 && job.options.bits != 32) return false;
    const bool customary = job.options.bits == 32 || job.options.masks == TIVAR_MASKS_555;
    return job.options.header == TIVAR_HEADER_V4 || !customary;
}

// Appends numbers, least significant byte first.
struct Bytes {
    uint8_t* at;

    void put8(uint32_t value) { *at++ = static_cast<uint8_t>(value); }
    void put16(uint32_t value) {
        put8(value);
        put8(value >> 8);
    }
    void put32(uint32_t value) {
        put16(value);
        put16(value >> 16);
    }
};

void putFileHeader(Bytes& bytes, const FileForm& form) {
    bytes.put8('B');
    bytes.put8('M');
    bytes.put32(static_cast<uint32_t>(fileBytes(form)));
    bytes.put32(0);
    bytes.put32(form.headerBytes);
}

void putOs2Header(Bytes& bytes, const Job& job) {
    bytes.put32(kOs2HeaderBytes);
    bytes.put16(job.picture.width);
    bytes.put16(job.picture.height);
    bytes.put16(1);
    bytes.put16(static_cast<uint32_t>(job.options.bits));
}

void putWindowsHeader(Bytes& bytes, const Job& job, const FileForm& form) {
    const uint32_t height = job.picture.height;
    bytes.put32(infoHeaderBytes(job.options.header));
    bytes.put32(job.picture.width);
    bytes.put32(job.options.row_order == TIVAR_TOP_DOWN ? 0 - height : height);
    bytes.put16(1);
    bytes.put16(static_cast<uint32_t>(job.options.bits));
    bytes.put32(form.compression);
    bytes.put32(static_cast<uint32_t>(form.pixelBytes));
    bytes.put32(static_cast<uint32_t>(job.options.x_per_meter));
    bytes.put32(static_cast<uint32_t>(job.options.y_per_meter));
    const bool full = job.options.bits > 8 || form.entries == 1u << job.options.bits;
    bytes.put32(full ? 0 : form.entries);
    bytes.put32(0);
}

// Behind the 40 bytes that it shares with the Windows header: masks, then a colour space by name,
// whose end points and gammas are not used.
void putV4Rest(Bytes& bytes, const Job& job, const FileForm& form) {
    const Masks masks = form.compression == kBmpMasks ? masksOf(job) : Masks{};
    for (const uint32_t mask : {masks.red, masks.green, masks.blue, masks.alpha}) bytes.put32(mask);
    constexpr uint32_t kSrgb = 0x73524742;  // "sRGB", the first letter highest
    bytes.put32(kSrgb);
    constexpr uint32_t kUnusedBytes = 36 + 12;
    std::memset(bytes.at, 0, kUnusedBytes);
    bytes.at += kUnusedBytes;
}

void putPalette(Bytes& bytes, const Job& job, const FileForm& form, const ColorTable& table) {
    constexpr uint8_t kBlack[3] = {};
    for (uint32_t i = 0; i < form.entries; ++i) {
        const uint8_t* entry = i < table.count ? table.entries[i] : kBlack;
        bytes.put8(entry[2]);
        bytes.put8(entry[1]);
        bytes.put8(entry[0]);
        if (job.options.header != TIVAR_HEADER_OS2) bytes.put8(0);
    }
}

// The OS/2 header has no count: its palettes are always full. A reader takes 4 and 8 bits with two
// entries for 1 bit: there are never fewer than three.
uint32_t entriesOf(const Job& job, uint32_t colors) {
    if (job.options.bits > 8) return 0;
    if (job.options.bits == 1) return 2;
    constexpr uint32_t kFewest = 3;
    colors = colors < kFewest ? kFewest : colors;
    const bool full =
        job.options.header == TIVAR_HEADER_OS2 || job.options.palette_length == TIVAR_PALETTE_FULL;
    return full ? 1u << job.options.bits : colors;
}

}  // namespace

FileForm describeForm(const Job& job, uint32_t colors, bool encoded) {
    FileForm form = {};
    const auto bits = static_cast<uint32_t>(job.options.bits);
    form.entries = entriesOf(job, colors);
    if (encoded) form.compression = bits == 8 ? kBmpRle8 : kBmpRle4;
    if (needsMasks(job)) form.compression = kBmpMasks;
    form.rowBytes = (uint64_t{job.picture.width} * bits + 31) / 32 * 4;
    form.headerBytes = kFileHeaderBytes + infoHeaderBytes(job.options.header);
    const bool masksBehind =
        form.compression == kBmpMasks && job.options.header == TIVAR_HEADER_WINDOWS;
    if (masksBehind) form.headerBytes += kMaskBytes;
    form.headerBytes += form.entries * (job.options.header == TIVAR_HEADER_OS2 ? 3 : 4);
    form.pixelBytes = encoded ? 0 : form.rowBytes * job.picture.height;
    return form;
}

void putHeader(const Job& job, const FileForm& form, const ColorTable& table, uint8_t* to) {
    Bytes bytes = {to};
    putFileHeader(bytes, form);
    if (job.options.header == TIVAR_HEADER_OS2) {
        putOs2Header(bytes, job);
    } else {
        putWindowsHeader(bytes, job, form);
    }
    if (job.options.header == TIVAR_HEADER_V4) {
        putV4Rest(bytes, job, form);
    } else if (form.compression == kBmpMasks) {
        const Masks masks = masksOf(job);
        for (const uint32_t mask : {masks.red, masks.green, masks.blue}) bytes.put32(mask);
    }
    putPalette(bytes, job, form, table);
}

}  // namespace tivar
