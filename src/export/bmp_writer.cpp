// The BMP file: headers and palette, then bands of rows, then, for encoded files, the size patch.
#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>
#include <cstring>

#include "base/memory.h"
#include "base/turn.h"
#include "color/bitmap.h"
#include "color/depth.h"
#include "color/red_blue.h"
#include "export/bmp_writer.h"
#include "export/rle.h"
#include "io/stream_record.h"

namespace tivar {
namespace {

constexpr uint16_t kBmpType = 0x4D42;  // the bytes "BM"
constexpr uint32_t kFileHeaderBytes = 14;
constexpr uint32_t kWindowsHeaderBytes = 40;
constexpr uint32_t kOs2HeaderBytes = 12;
constexpr int32_t kImageSizePosition = 34;

struct FileHeader {
    uint16_t type;
    uint32_t fileSize;
    uint16_t reserved1;
    uint16_t reserved2;
    uint32_t pixelOffset;
};
constexpr char kFileHeaderFormat[] = "SLSSL";

struct WindowsHeader {
    uint32_t headerSize;
    uint32_t width;
    uint32_t height;
    uint16_t planes;
    uint16_t bitCount;
    uint32_t compression;
    uint32_t imageSize;
    uint32_t xPixelsPerMeter;
    uint32_t yPixelsPerMeter;
    uint32_t colorsUsed;
    uint32_t colorsImportant;
};
constexpr char kWindowsHeaderFormat[] = "LLLSSLLLLLL";
constexpr char kPaletteEntryFormat[] = "CCCC";  // blue, green, red, 0

// The shape of the file being written.
struct FileShape {
    uint32_t width;
    uint32_t height;
    uint32_t bitCount;
    uint32_t paletteEntries;  // 2^bitCount, 0 at 24 bits
    uint32_t rowBytes;
};

// False when the palette's bytes pass 32 bits or there is no palette to take it from.
bool describeFile(FileShape& shape, const uint8_t* palette) {
    shape.rowBytes = rowBytesOf(shape.width, shape.bitCount);
    shape.paletteEntries = 0;
    if (shape.bitCount == kTrueColorBits) return true;
    if (shape.bitCount >= 30 || palette == nullptr) return false;
    shape.paletteEntries = 1u << shape.bitCount;
    return true;
}

uint32_t chooseCompression(const SetupRecord& setup) {
    if (setup.compressionMode != COMPRESSION_RLE) return kRleNone;
    switch (setup.bitsPerPixel) {
        case 4:
            return kRle4;
        case 8:
            return kRle8;
        default:
            return kRleNone;
    }
}

// Room for the encoder's worst case of two bytes for one.
bool allocateWorkBuffer(SetupRecord& setup, uint32_t rowBytes) {
    if (rowBytes > UINT32_MAX / 2) return false;
    setup.hRLEBuffer = allocateZeroed(rowBytes * 2);
    setup.lpRLEBuffer = static_cast<uint8_t*>(GlobalLock(setup.hRLEBuffer));
    return setup.lpRLEBuffer != nullptr;
}

void writeFileHeader(OxlStream stream, const FileShape& shape, uint32_t headerBytes) {
    const FileHeader header = {kBmpType, headerBytes + shape.rowBytes * shape.height, 0, 0,
                               headerBytes};
    oxlWriteStruct(stream, kFileHeaderFormat, &header, 1);
}

void writeWindowsFlavour(OxlStream stream, const FileShape& shape, const uint8_t* palette,
                         uint32_t compression) {
    writeFileHeader(stream, shape,
                    kFileHeaderBytes + kWindowsHeaderBytes + 4 * shape.paletteEntries);
    const auto depth = static_cast<uint16_t>(shape.bitCount);
    const WindowsHeader header = {
        kWindowsHeaderBytes, shape.width, shape.height, 1, depth, compression, 0, 0, 0, 0, 0};
    oxlWriteStruct(stream, kWindowsHeaderFormat, &header, 1);
    for (uint32_t i = 0; i < shape.paletteEntries; ++i, palette += 3) {
        const uint8_t entry[4] = {palette[2], palette[1], palette[0], 0};
        oxlWriteStruct(stream, kPaletteEntryFormat, entry, 1);
    }
}

void writeShort(OxlStream stream, uint32_t value) {
    const auto low = static_cast<uint16_t>(value);
    oxlWriteShort(stream, &low, 1);
}

void writeOs2Flavour(OxlStream stream, const FileShape& shape, const uint8_t* palette,
                     uint32_t paletteSize) {
    writeFileHeader(stream, shape, kFileHeaderBytes + kOs2HeaderBytes + 3 * shape.paletteEntries);
    oxlWriteLong(stream, &kOs2HeaderBytes, 1);
    for (const uint32_t value : {shape.width, shape.height, 1u, shape.bitCount})
        writeShort(stream, value);
    // The colour format's entry count may pass the depth's: black from there on.
    constexpr uint8_t kBlack[3] = {};
    for (uint32_t i = 0; i < paletteSize; ++i) {
        const uint8_t* entry = i < shape.paletteEntries ? palette + size_t{i} * 3 : kBlack;
        for (const uint8_t channel : {entry[2], entry[1], entry[0]})
            oxlWriteChar(stream, &channel, 1);
    }
}

void exchangeRedBlue(uint8_t* rows, uint32_t rowCount, uint32_t rowBytes, uint32_t width) {
    for (uint32_t y = 0; y < rowCount; ++y, rows += rowBytes) exchangeRowRedBlue(rows, width);
}

// Rows that lie wholly inside the block.
uint32_t wholeRows(MemHandle bits, uint32_t rows, uint32_t rowBytes, bool empty) {
    if (rowBytes == 0) return empty ? rows : 0;
    return std::min(rows, GlobalSize(bits) / rowBytes);
}

// What stays in the cache between the exchange of its red and blue and its way into the stream.
constexpr uint32_t kBlockBytes = 1u << 18;

// Rows as they lie in the host's block.
struct Rows {
    uint8_t* data;
    uint32_t count;
    uint32_t rowBytes;
    uint32_t width;
    bool exchange;  // red and blue, in place
};

// What a band is written with. Call-backs of the host may end any of it.
struct BandWriter {
    const SettingsUse& settings;
    Pinned<uint8_t> stream;
    Pinned<CellBitmapState> state;
    Pinned<uint8_t> bits;

    bool ended() const { return settings.gone() || stream.gone() || state.gone() || bits.gone(); }
};

// False when the encoder's output did not fit the stream.
bool writeBlock(const BandWriter& writer, const Rows& rows) {
    const OxlStream stream = writer.stream.handle;
    CellBitmapState& state = *writer.state;
    if (rows.exchange) exchangeRedBlue(rows.data, rows.count, rows.rowBytes, rows.width);
    if (state.compression != kRleNone)
        return writeEncoded(writer.settings, stream,
                            {rows.data, rows.count, rows.rowBytes, rows.rowBytes},
                            &state.compressedSize, state.compression) == TIVAR_OK;
    // Kept: whether raw rows could be written is not checked.
    oxlWrite(stream, rows.data, static_cast<int32_t>(rows.count * rows.rowBytes));
    return true;
}

// A document gets row after row; other streams do not see where one ends.
bool writeRows(const BandWriter& writer, Rows rows) {
    if (rows.rowBytes == 0) return true;
    const bool rowByRow = isDocument(writer.stream.handle);
    const uint32_t step = rowByRow ? 1 : std::max(kBlockBytes / rows.rowBytes, 1u);
    for (uint32_t left = rows.count; left > 0;) {
        rows.count = std::min(left, step);
        if (!writeBlock(writer, rows) || writer.ended()) return false;
        rows.data += size_t{rows.count} * rows.rowBytes;
        left -= rows.count;
    }
    return true;
}

// Kept: the handle stays in the settings after its buffer is gone; the cleared address tells.
void freeWorkBuffer(SetupRecord& setup) {
    if (setup.lpRLEBuffer == nullptr) return;
    GlobalUnlock(setup.hRLEBuffer);
    GlobalFree(setup.hRLEBuffer);
    setup.lpRLEBuffer = nullptr;
}

// The entries that the file gets, as they are when it begins: call-backs may change the caller's.
struct PaletteCopy {
    static constexpr uint32_t kMostEntries = 256;

    PaletteCopy(const uint8_t* palette, uint32_t count) : given(palette), used(palette) {
        if (count > kMostEntries) return;
        if (count != 0) std::memcpy(copy, given, size_t{count} * 3);
        used = copy;
    }

    const uint8_t* given;
    const uint8_t* used;
    uint8_t copy[kMostEntries * 3];
};

void writeHeaders(const SetupRecord& setup, OxlStream stream, const FileShape& shape,
                  const uint8_t* palette, uint32_t compression) {
    const auto paletteSize = static_cast<uint32_t>(setup.paletteSize);
    if (setup.fileType == FILE_TYPE_OS2) {
        const PaletteCopy entries(palette, std::min(shape.paletteEntries, paletteSize));
        writeOs2Flavour(stream, shape, entries.used, paletteSize);
    } else {
        const PaletteCopy entries(palette, shape.paletteEntries);
        writeWindowsFlavour(stream, shape, entries.used, compression);
    }
}

}  // namespace

bool chooseFileFormat(SetupRecord& setup) {
    const Depth* depth = depthOfFormat(setup.colorFormat);
    if (depth == nullptr) return false;
    setup.paletteSize = depth->paletteEntries;
    setup.bitsPerPixel = depth->bits;
    return true;
}

int32_t beginCellBitmap(const SettingsUse& settings, OxlStream stream, const FileSize& size,
                        const uint8_t* palette, MemHandle* stateOut) {
    if (stream == 0 || stateOut == nullptr || !settings) return 0;
    *stateOut = allocateZeroed(sizeof(CellBitmapState));
    const Pinned<CellBitmapState> state(*stateOut);
    const Pinned<uint8_t> streamUse(stream);
    if (!state || !chooseFileFormat(*settings)) return 0;
    freeWorkBuffer(*settings);
    FileShape shape = {size.width, size.height, size.bitCount, 0, 0};
    if (!describeFile(shape, palette)) return 0;
    const uint32_t compression = chooseCompression(*settings);
    // Set before the buffer is had: without one the first band fails instead of going out raw.
    state->compression = compression;
    if (compression != kRleNone && !allocateWorkBuffer(*settings, shape.rowBytes)) return 0;
    writeHeaders(*settings, stream, shape, palette, compression);
    if (state.gone()) *stateOut = 0;
    return state.gone() || streamUse.gone() || settings.gone() ? 0 : 1;
}

int32_t writeCellBits(const SettingsUse& settings, OxlStream stream, const Band& band,
                      MemHandle state) {
    const BandWriter writer = {settings, Pinned<uint8_t>(stream), Pinned<CellBitmapState>(state),
                               Pinned<uint8_t>(band.bits)};
    if (!writer.state) return TIVAR_ERR_BAND;
    if (band.bits == 0) return TIVAR_OK;
    const uint32_t rowBytes = rowBytesOf(band.width, band.bitCount);
    const bool empty = band.width == 0 || band.bitCount == 0;
    const uint32_t present = wholeRows(band.bits, band.rows, rowBytes, empty);
    const bool exchange = band.bitCount == kTrueColorBits && band.swapRedBlue == 1;
    const bool taken =
        writeRows(writer, {writer.bits.data, present, rowBytes, band.width, exchange});
    return taken && present == band.rows ? TIVAR_OK : TIVAR_ERR_BAND;
}

void endCellBitmap(const SettingsUse& settings, OxlStream stream, MemHandle state) {
    const Pinned<CellBitmapState> record(state);
    const Pinned<uint8_t> streamUse(stream);
    if (record && record->compression != kRleNone) {
        oxlSeek(stream, kImageSizePosition, SEEK_SET);
        oxlWriteLong(stream, &record->compressedSize, 1);
    }
    // A call-back that ended the file ended its buffer with it.
    if (!record.gone()) abandonCellBitmap(settings, state);
}

void abandonCellBitmap(const SettingsUse& settings, MemHandle state) {
    const Locked<CellBitmapState> record(state);
    if (record && record->compression != kRleNone && settings) freeWorkBuffer(*settings);
    GlobalFree(state);
}

}  // namespace tivar

using namespace tivar;

int32_t BeginCellBitmap(OxlStream stream, uint32_t width, uint32_t height, uint32_t bitCount,
                        const uint8_t* palette, MemHandle* stateOut) {
    const Turn turn;
    return beginCellBitmap(currentSettings(), stream, {width, height, bitCount}, palette, stateOut);
}

int32_t WriteCellBits(OxlStream stream, MemHandle bits, uint32_t width, uint32_t rows,
                      uint32_t bitCount, int16_t swapRedBlue, MemHandle state) {
    const Turn turn;
    return writeCellBits(currentSettings(), stream, {bits, width, rows, bitCount, swapRedBlue},
                         state);
}

int32_t EndCellBitmap(OxlStream stream, MemHandle state) {
    const Turn turn;
    endCellBitmap(currentSettings(), stream, state);
    return 0;
}
