// The BMP file: headers and palette, then bands of rows, then, for encoded files, the size patch.
#include <tivar/export.h>
#include <tivar/stream.h>

#include <algorithm>

#include "base/memory.h"
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

// Bytes of a row, padded to a multiple of 4; 0 for rows whose bits pass 32 bits.
uint32_t rowBytesOf(uint32_t width, uint32_t bitCount) {
    BitmapSize size;
    measureBitmap(width, 1, static_cast<int32_t>(bitCount), size);
    return size.stride;
}

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

// False when the encoder's output did not fit the stream.
bool writeBlock(OxlStream stream, const Rows& rows, CellBitmapState& state) {
    if (rows.exchange) exchangeRedBlue(rows.data, rows.count, rows.rowBytes, rows.width);
    if (state.compression != kRleNone)
        return RLEWrite(stream, rows.data, rows.count, rows.rowBytes, rows.rowBytes,
                        &state.compressedSize, state.compression) == TIVAR_OK;
    // Kept: whether raw rows could be written is not checked.
    oxlWrite(stream, rows.data, static_cast<int32_t>(rows.count * rows.rowBytes));
    return true;
}

// A document gets row after row; other streams do not see where one ends.
bool writeRows(OxlStream stream, Rows rows, CellBitmapState& state) {
    if (rows.rowBytes == 0) return true;
    const bool rowByRow = isDocument(stream);
    const uint32_t step = rowByRow ? 1 : std::max(kBlockBytes / rows.rowBytes, 1u);
    for (uint32_t left = rows.count; left > 0;) {
        rows.count = std::min(left, step);
        if (!writeBlock(stream, rows, state)) return false;
        rows.data += size_t{rows.count} * rows.rowBytes;
        left -= rows.count;
    }
    return true;
}

// Kept: the handle stays in the settings after its buffer is gone; the cleared address tells.
void freeWorkBuffer() {
    if (lpRaster == nullptr || lpRaster->lpRLEBuffer == nullptr) return;
    GlobalUnlock(lpRaster->hRLEBuffer);
    GlobalFree(lpRaster->hRLEBuffer);
    lpRaster->lpRLEBuffer = nullptr;
}

}  // namespace

bool chooseFileFormat(SetupRecord& setup) {
    const Depth* depth = depthOfFormat(setup.colorFormat);
    if (depth == nullptr) return false;
    setup.paletteSize = depth->paletteEntries;
    setup.bitsPerPixel = depth->bits;
    return true;
}

void abandonCellBitmap(MemHandle state) {
    const Locked<CellBitmapState> record(state);
    if (record && record->compression != kRleNone) freeWorkBuffer();
    GlobalFree(state);
}

}  // namespace tivar

using namespace tivar;

int32_t BeginCellBitmap(OxlStream stream, uint32_t width, uint32_t height, uint32_t bitCount,
                        const uint8_t* palette, MemHandle* stateOut) {
    if (stream == 0 || stateOut == nullptr || lpRaster == nullptr) return 0;
    *stateOut = allocateZeroed(sizeof(CellBitmapState));
    const Locked<CellBitmapState> state(*stateOut);
    if (!state || !chooseFileFormat(*lpRaster)) return 0;
    freeWorkBuffer();
    FileShape shape = {width, height, bitCount, 0, 0};
    if (!describeFile(shape, palette)) return 0;
    const uint32_t compression = chooseCompression(*lpRaster);
    // Set before the buffer is had: without one the first band fails instead of going out raw.
    state->compression = compression;
    if (compression != kRleNone && !allocateWorkBuffer(*lpRaster, shape.rowBytes)) return 0;
    if (lpRaster->fileType == FILE_TYPE_OS2)
        writeOs2Flavour(stream, shape, palette, static_cast<uint32_t>(lpRaster->paletteSize));
    else
        writeWindowsFlavour(stream, shape, palette, compression);
    return 1;
}

int32_t WriteCellBits(OxlStream stream, MemHandle bits, uint32_t width, uint32_t rows,
                      uint32_t bitCount, int16_t swapRedBlue, MemHandle state) {
    const Locked<CellBitmapState> record(state);
    if (!record) return TIVAR_ERR_BAND;
    if (bits == 0) return TIVAR_OK;
    const Locked<uint8_t> data(bits);
    const uint32_t rowBytes = rowBytesOf(width, bitCount);
    const uint32_t present = wholeRows(bits, rows, rowBytes, width == 0 || bitCount == 0);
    const bool exchange = bitCount == kTrueColorBits && swapRedBlue == 1;
    const bool taken = writeRows(stream, {data.data, present, rowBytes, width, exchange}, *record);
    return taken && present == rows ? TIVAR_OK : TIVAR_ERR_BAND;
}

int32_t EndCellBitmap(OxlStream stream, MemHandle state) {
    const Locked<CellBitmapState> record(state);
    if (record && record->compression != kRleNone) {
        oxlSeek(stream, kImageSizePosition, SEEK_SET);
        oxlWriteLong(stream, &record->compressedSize, 1);
    }
    abandonCellBitmap(state);
    return 0;
}
