// Exports and single calls of the writer, read back by a strict reader of the format: what the
// files say about themselves agrees, and where nothing is lost on the way, the picture comes back.
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include <algorithm>

#include "harness/bmp_reader.h"
#include "harness/check.h"
#include "harness/heap.h"
#include "harness/pictures.h"
#include "harness/target.h"

namespace {

using fuzz::BmpFile;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::Picture;
using fuzz::require;
using fuzz::requireEqual;
using fuzz::requireSame;

Bytes exported(const model::Settings& settings, const Picture& picture,
               const model::Description& description) {
    const fuzz::SettingsBlock setup(settings);
    fuzz::PictureBlocks blocks(picture, description);
    HostWord status[13] = {};
    HostWord parameters[7] = {};
    parameters[EXPORT_SETUP] = setup.handle;
    parameters[EXPORT_STATUS] = reinterpret_cast<HostWord>(status);
    requireEqual<int>(ExportCellData("", &blocks.picture, &blocks.description, parameters),
                      TIVAR_OK, "the export");
    const support::Block memory(MemHandle{status[STATUS_MEMORY]});
    return fuzz::fileInBlock(memory.handle);
}

int depthOf(int colorFormat) {
    return colorFormat == 215 ? 1 : colorFormat == 219 ? 4 : colorFormat == 221 ? 8 : 24;
}

// The colour of a source pixel as 0xRRGGBB, or its index.
std::uint32_t sourceIndex(const Picture& picture, std::uint32_t x, std::uint32_t y) {
    const model::Bitmap bitmap = {picture.width, picture.height, picture.bits, {}};
    const std::size_t stride = model::bytesPerLine(bitmap.width, bitmap.bits);
    const std::size_t bit = std::size_t{x} * picture.bits;
    const std::uint32_t byte = picture.pixels[y * stride + bit / 8];
    return byte >> (8 - picture.bits - bit % 8) & ((1u << picture.bits) - 1);
}

std::uint32_t sourceColor(const Picture& picture, std::uint32_t x, std::uint32_t y) {
    const std::size_t stride = model::bytesPerLine(picture.width, picture.bits);
    const std::uint8_t* color = picture.bits == 24
                                    ? &picture.pixels[y * stride + std::size_t{x} * 3]
                                    : &picture.table[std::size_t{sourceIndex(picture, x, y)} * 3];
    return std::uint32_t{color[0]} << 16 | std::uint32_t{color[1]} << 8 | color[2];
}

// A nearly grey colour of a table is looked for among the greys only.
bool isNearlyGrey(std::uint32_t color) {
    const int red = static_cast<int>(color >> 16);
    const int green = static_cast<int>(color >> 8 & 0xFF);
    const int blue = static_cast<int>(color & 0xFF);
    const bool exact = red == green && green == blue;
    return !exact && std::abs(red - green) <= 4 && std::abs(green - blue) <= 4 &&
           std::abs(red - blue) <= 4;
}

// Entries 2 and 3 of an encoded OS/2 file's palette hold the size of its rows.
bool isPaletteEntryKept(const BmpFile& bmp, std::uint32_t x, std::uint32_t y) {
    if (!bmp.isOs2 || !bmp.isEncoded) return true;
    const std::uint32_t index = fuzz::indexAt(bmp, x, y);
    return index != 2 && index != 3;
}

// A picture that keeps its size and does not lose depth keeps every colour.
void requireSamePicture(const Picture& picture, const BmpFile& bmp) {
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const std::uint32_t color = sourceColor(picture, x, y);
            const bool isMatched = bmp.bits != 24 && bmp.bits != picture.bits;
            if ((isMatched && isNearlyGrey(color)) || !isPaletteEntryKept(bmp, x, y)) continue;
            requireEqual(fuzz::colorAt(bmp, x, y), color, "the pixel's colour");
        }
    }
}

void testExport(Input& input) {
    model::Settings settings = fuzz::makeSettings(input, true);
    const Picture picture = fuzz::makeSoundPicture(input);
    const model::Description description = fuzz::makeDescription(input, picture, true);
    const bool wantsEncoded = settings.compressionMode == 228;
    const BmpFile bmp = fuzz::readBmp(exported(settings, picture, description), wantsEncoded);
    const auto width = static_cast<std::uint32_t>(description.width);
    const auto height = static_cast<std::uint32_t>(description.height);
    // A size in inches and back to pixels may lose the last pixel, and heights are rounded up.
    require(bmp.width == width || bmp.width + 1 == width, "the width asked for");
    require(bmp.height + 1 >= height && bmp.height <= height + 1, "the height asked for");
    requireEqual<std::uint32_t>(bmp.bits, static_cast<std::uint32_t>(depthOf(settings.colorFormat)),
                                "the depth asked for");
    require(bmp.isOs2 == (settings.fileType == 332), "the flavour asked for");
    const bool keepsSize = bmp.width == picture.width && bmp.height == picture.height;
    if (keepsSize && bmp.bits >= picture.bits) requireSamePicture(picture, bmp);
    if (!bmp.isEncoded) return;
    // Encoding changes the file and not the picture.
    settings.compressionMode = 310;
    const BmpFile raw = fuzz::readBmp(exported(settings, picture, description), false);
    requireSame(bmp.rows, raw.rows, "the decoded rows");
}

struct Writer {
    Writer(std::uint32_t room, std::uint32_t growStep) {
        block = GlobalLock(fuzz::newBlock(Bytes(room)));
        OxlStreamDesc descriptor = {};
        descriptor.target = reinterpret_cast<HostWord>(&block);
        descriptor.size = room;
        descriptor.growStep = growStep;
        stream = oxlOpen(nullptr, &descriptor, OXL_CREATE | OXL_WRITE);
    }
    ~Writer() {
        oxlClose(stream);
        GlobalFree(GlobalHandle(block));
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    Bytes written() const {
        const std::int32_t end = oxlSeek(stream, 0, SEEK_END);
        const auto* bytes = static_cast<const std::uint8_t*>(block);
        return Bytes(bytes, bytes + end);
    }

    OxlStream stream;
    void* block;
};

// Bands of any height make the file that one band makes.
void testBands(Input& input) {
    const model::Settings settings = fuzz::makeSettings(input, true);
    Picture picture = fuzz::makeSoundPicture(input);
    picture.height = static_cast<std::uint16_t>(picture.height + picture.height % 2);
    const auto bits = static_cast<std::uint32_t>(depthOf(settings.colorFormat));
    const std::uint32_t rowBytes = model::bytesPerLine(picture.width, static_cast<int>(bits));
    const Bytes palette = fuzz::drawBytes(input, bits == 24 ? 0 : std::size_t{3} << bits);
    const Bytes rows = fuzz::drawBytes(input, std::size_t{rowBytes} * picture.height);
    const auto swaps = static_cast<std::int16_t>(input.below(2));
    const bool isTight = input.oneIn(4);
    const fuzz::SettingsBlock setup(settings);
    lpRaster = setup.record;
    const Writer writer(isTight ? input.u16() % 4096u : 1, isTight ? 0 : 512);
    MemHandle state = 0;
    std::int32_t result =
        BeginCellBitmap(writer.stream, picture.width, picture.height, bits, palette.data(), &state);
    require(result == 1 || bits == 24 || !palette.empty(), "the file begins");
    result = 0;
    for (std::uint32_t y = 0; y < picture.height && result == 0;) {
        const std::uint32_t band = std::min(1 + input.below(16), picture.height - y);
        const auto first = rows.begin() + static_cast<std::ptrdiff_t>(std::size_t{y} * rowBytes);
        const support::Block block(fuzz::newBlock(
            Bytes(first, first + static_cast<std::ptrdiff_t>(std::size_t{band} * rowBytes))));
        result =
            WriteCellBits(writer.stream, block.handle, picture.width, band, bits, swaps, state);
        y += band;
    }
    requireEqual(EndCellBitmap(writer.stream, state), 0, "the file ends");
    lpRaster = nullptr;
    require(setup.record->lpRLEBuffer == nullptr, "the work buffer is gone");
    require(result == 0 || isTight, "bands fit a stream that grows");
    if (isTight) return;
    const Bytes file = writer.written();
    requireSame(file,
                model::writeBmp(settings, picture.width, picture.height, static_cast<int>(bits),
                                palette, rows, swaps == 1),
                "the file is the model's");
    fuzz::readBmp(file, settings.compressionMode == 228);
}

// One row through the encoders.
void testRows(Input& input) {
    const Bytes row = fuzz::drawBytes(input, 1 + input.u16() % 1200u);
    const bool isNibbles = input.oneIn(2);
    Bytes encoded(row.size() * 2);
    std::uint32_t length = 0;
    const auto encode = isNibbles ? EncodeRLE4Row : EncodeRLE8Row;
    encode(static_cast<std::uint32_t>(row.size()), &length, row.data(), encoded.data());
    require(length <= encoded.size() && length % 2 == 0, "at most a pair a byte");
    encoded.resize(length);
    requireSame(encoded, model::encodeRle(row, isNibbles ? 2 : 1), "the encoded row");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const fuzz::HeapWatch watch;
    switch (input.below(8)) {
        case 0:
            testRows(input);
            break;
        case 1:
        case 2:
            testBands(input);
            break;
        default:
            testExport(input);
            break;
    }
    return 0;
}
