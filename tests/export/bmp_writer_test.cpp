#include <utility>

#include "model/plain_model.h"
#include "support/byte_list.h"
#include "support/current_settings.h"
#include "support/failing_call.h"
#include "support/memory_block.h"
#include "support/memory_stream.h"
#include "support/recording_document.h"

namespace {

using support::Block;
using support::ByteList;
using support::Bytes;
using support::CurrentSettings;
using support::FailingCall;
using support::MemoryStream;
using support::RecordingDocument;
using support::slice;
using support::u32At;

// Entry i is red i, green i + 1, blue i + 2.
Bytes rampPalette(uint32_t entries) {
    ByteList palette;
    for (uint32_t i = 0; i < entries; ++i) palette.u8(i).u8(i + 1).u8(i + 2);
    return palette.list;
}

// The first entries of the ramp as a file holds them.
Bytes rampInFile(uint32_t entries, bool withZero) {
    ByteList palette;
    for (uint32_t i = 0; i < entries; ++i) {
        palette.u8(i + 2).u8(i + 1).u8(i);
        if (withZero) palette.u8(0);
    }
    return palette.list;
}

Bytes windowsHeaders(uint32_t fileSize, uint32_t offset, uint32_t width, uint32_t height,
                     uint32_t bits, uint32_t compression, uint32_t imageSize) {
    ByteList headers;
    headers.u8('B').u8('M').u32(fileSize).u16(0).u16(0).u32(offset);
    headers.u32(40).u32(width).u32(height).u16(1).u16(bits).u32(compression).u32(imageSize);
    return headers.repeat(16, 0).list;
}

Bytes os2Headers(uint32_t fileSize, uint32_t offset, uint32_t width, uint32_t height,
                 uint32_t bits) {
    ByteList headers;
    headers.u8('B').u8('M').u32(fileSize).u16(0).u16(0).u32(offset);
    return headers.u32(12).u16(width).u16(height).u16(1).u16(bits).list;
}

struct Look {
    int32_t colorFormat;
    bool encoded = false;
    bool os2 = false;
};

// A file under way, with palette entries of the ramp.
struct Writer {
    explicit Writer(const Look& look) {
        settings->colorFormat = look.colorFormat;
        if (look.encoded) settings->compressionMode = COMPRESSION_RLE;
        if (look.os2) settings->fileType = FILE_TYPE_OS2;
    }

    int32_t begin(uint32_t width, uint32_t height, uint32_t bits) {
        const Bytes palette = rampPalette(bits > 8 ? 0 : 1u << bits);
        return BeginCellBitmap(target.stream, width, height, bits, palette.data(), &state);
    }
    int32_t write(const Block& rows, uint32_t width, uint32_t count, uint32_t bits,
                  int16_t swapRedBlue = 0) {
        return WriteCellBits(target.stream, rows.handle, width, count, bits, swapRedBlue, state);
    }
    int32_t end() { return EndCellBitmap(target.stream, state); }
    Bytes finish() {
        end();
        return target.finish();
    }

    CurrentSettings settings;
    MemoryStream target;
    MemHandle state = 0;
};

TEST(BmpFile, EightBitFileHasHeadersPaletteOfFourByteEntriesAndRows) {
    Writer writer({COLOR_FORMAT_8BIT});
    ByteList rows;
    for (uint32_t i = 0; i < 1000; ++i) rows.u8(i * 7);
    ASSERT_EQ(writer.begin(100, 10, 8), 1);
    EXPECT_EQ(writer.write(Block(rows.list), 100, 10, 8), 0);
    ByteList file;
    file.add(windowsHeaders(2078, 1078, 100, 10, 8, 0, 0)).add(rampInFile(256, true));
    EXPECT_EQ(writer.finish(), file.add(rows.list).list);
}

// The record counts, wherever the handle leads.
TEST(BmpFile, AHostsOwnRecordOfSettingsServesWithoutItsHandle) {
    Writer writer({COLOR_FORMAT_24BIT, false, true});
    SetupRecord own = *writer.settings.record;
    writer.settings->fileType = FILE_TYPE_WINDOWS;
    const Bytes row = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    lpRaster = &own;
    ASSERT_EQ(writer.begin(3, 1, 24), 1);
    EXPECT_EQ(writer.write(Block(row), 3, 1, 24), 0);
    ByteList file;
    file.add(os2Headers(26 + 12, 26, 3, 1, 24)).add(row);
    EXPECT_EQ(writer.finish(), file.list);
    EXPECT_EQ(lpRaster, &own);
    EXPECT_EQ(hRaster, writer.settings.handle);
}

TEST(BmpFile, OneBitRowOfOnePixelTakesFourBytes) {
    Writer writer({COLOR_FORMAT_1BIT});
    const Bytes rows = {0x80, 1, 2, 3, 0x00, 4, 5, 6};
    ASSERT_EQ(writer.begin(1, 2, 1), 1);
    EXPECT_EQ(writer.write(Block(rows), 1, 2, 1), 0);
    ByteList file;
    file.add(windowsHeaders(70, 62, 1, 2, 1, 0, 0)).add(rampInFile(2, true));
    EXPECT_EQ(writer.finish(), file.add(rows).list);
}

TEST(BmpFile, TrueColourFileHasNoPaletteAndPadsItsRows) {
    Writer writer({COLOR_FORMAT_24BIT});
    const Bytes row = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ASSERT_EQ(writer.begin(3, 1, 24), 1);
    EXPECT_EQ(writer.write(Block(row), 3, 1, 24), 0);
    ByteList file;
    file.add(windowsHeaders(66, 54, 3, 1, 24, 0, 0)).add(row);
    EXPECT_EQ(writer.finish(), file.list);
}

TEST(BmpFile, TrueColourFileNeedsNoPalette) {
    Writer writer({COLOR_FORMAT_24BIT});
    EXPECT_EQ(BeginCellBitmap(writer.target.stream, 3, 1, 24, nullptr, &writer.state), 1);
    EXPECT_EQ(writer.finish(), windowsHeaders(66, 54, 3, 1, 24, 0, 0));
}

TEST(BmpFile, EncodedFileHasItsImageSizePatchedAndKeepsTheRawFileSize) {
    Writer writer({COLOR_FORMAT_4BIT, true});
    // 16 pixels a row: 8 bytes of two pixels each.
    const Block rows({0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,  //
                      1, 2, 2, 2, 3, 3, 4, 4});
    ASSERT_EQ(writer.begin(16, 2, 4), 1);
    EXPECT_EQ(writer.write(rows, 16, 2, 4), 0);
    const Bytes encoded = {14, 0x11, 2, 0x11, 2, 1, 6, 2, 4, 3, 2, 4, 2, 4};
    ByteList file;
    file.add(windowsHeaders(118 + 16, 118, 16, 2, 4, 2, 14)).add(rampInFile(16, true));
    EXPECT_EQ(writer.finish(), file.add(encoded).list);
}

TEST(BmpFile, EncodedEightBitFileHasCompressionOne) {
    Writer writer({COLOR_FORMAT_8BIT, true});
    ASSERT_EQ(writer.begin(4, 2, 8), 1);
    EXPECT_EQ(writer.write(Block({0, 0, 0, 0, 5, 5, 6, 6}), 4, 2, 8), 0);
    const Bytes encoded = {3, 0, 1, 0, 2, 5, 1, 6, 1, 6};
    ByteList file;
    file.add(windowsHeaders(1078 + 8, 1078, 4, 2, 8, 1, 10)).add(rampInFile(256, true));
    EXPECT_EQ(writer.finish(), file.add(encoded).list);
}

TEST(BmpFile, ImageSizeStaysZeroWithoutCompression) {
    Writer writer({COLOR_FORMAT_8BIT});
    ASSERT_EQ(writer.begin(4, 1, 8), 1);
    EXPECT_EQ(writer.write(Block({1, 2, 3, 4}), 4, 1, 8), 0);
    EXPECT_EQ(u32At(writer.finish(), 34), 0u);
}

TEST(BmpFile, OneBitAndTrueColourFilesAreNeverEncoded) {
    for (const auto& [format, bits] :
         {std::pair{COLOR_FORMAT_1BIT, 1u}, {COLOR_FORMAT_24BIT, 24u}}) {
        Writer writer({format, true});
        const Bytes row = {9, 9, 9, 9};
        ASSERT_EQ(writer.begin(1, 1, bits), 1);
        EXPECT_EQ(writer.settings->hRLEBuffer, 0u);
        EXPECT_EQ(writer.write(Block(row), 1, 1, bits), 0);
        const Bytes file = writer.finish();
        EXPECT_EQ(u32At(file, 30), 0u);
        EXPECT_EQ(u32At(file, 34), 0u);
        EXPECT_EQ(slice(file, file.size() - 4), row);
    }
}

TEST(BmpFile, EveryFileTypeButOs2GivesTheWindowsFlavour) {
    for (const int32_t type : {0, 330, 331, 333, -1}) {
        Writer writer({COLOR_FORMAT_24BIT});
        writer.settings->fileType = type;
        ASSERT_EQ(writer.begin(1, 1, 24), 1);
        EXPECT_EQ(writer.finish(), windowsHeaders(58, 54, 1, 1, 24, 0, 0)) << type;
    }
}

TEST(Os2File, EightBitFileHasA12ByteHeaderAndThreeByteEntries) {
    Writer writer({COLOR_FORMAT_8BIT, false, true});
    const Bytes rows = {1, 2, 3, 0, 4, 5, 6, 0};
    ASSERT_EQ(writer.begin(3, 2, 8), 1);
    EXPECT_EQ(writer.write(Block(rows), 3, 2, 8), 0);
    ByteList file;
    file.add(os2Headers(802, 794, 3, 2, 8)).add(rampInFile(256, false)).add(rows);
    EXPECT_EQ(writer.finish(), file.list);
}

TEST(Os2File, SizesKeepTheirLow16Bits) {
    Writer writer({COLOR_FORMAT_8BIT, false, true});
    ASSERT_EQ(writer.begin(70000, 65537, 8), 1);
    const Bytes file = writer.finish();
    EXPECT_EQ(slice(file, 14, 8), ByteList().u32(12).u16(4464).u16(1).list);
    EXPECT_EQ(u32At(file, 10), 794u);
}

TEST(Os2File, PaletteCountFollowsTheColourFormatAndHeaderSizeTheDepth) {
    struct Case {
        int32_t format;
        uint32_t bits;
        uint32_t offset;
        uint32_t written;
    };
    for (const Case& c : {Case{COLOR_FORMAT_4BIT, 8, 794, 16},
                          {COLOR_FORMAT_1BIT, 4, 74, 2},
                          {COLOR_FORMAT_24BIT, 8, 794, 0}}) {
        Writer writer({c.format, false, true});
        ASSERT_EQ(writer.begin(4, 0, c.bits), 1);
        ByteList file;
        file.add(os2Headers(c.offset, c.offset, 4, 0, c.bits)).add(rampInFile(c.written, false));
        EXPECT_EQ(writer.finish(), file.list) << c.format;
    }
}

TEST(Os2File, PaletteIsBlackWhereTheDepthHasNoEntries) {
    Writer writer({COLOR_FORMAT_8BIT, false, true});
    ASSERT_EQ(writer.begin(4, 0, 4), 1);
    ByteList file;
    file.add(os2Headers(74, 74, 4, 0, 4)).add(rampInFile(16, false)).repeat(240 * 3, 0);
    EXPECT_EQ(writer.finish(), file.list);
}

TEST(Os2File, EncodedSizeOverwritesTheThirdAndFourthPaletteEntry) {
    Writer writer({COLOR_FORMAT_8BIT, true, true});
    ASSERT_EQ(writer.begin(4, 1, 8), 1);
    EXPECT_EQ(writer.write(Block({7, 7, 7, 7}), 4, 1, 8), 0);
    ByteList file;
    file.add(os2Headers(798, 794, 4, 1, 8)).add(rampInFile(256, false));
    for (size_t i = 0; i < 4; ++i) file.list[34 + i] = i == 0 ? 4 : 0;
    EXPECT_EQ(writer.finish(), file.add({3, 7, 1, 7}).list);
}

TEST(BeginCellBitmap, ColourFormatSetsPaletteSizeAndDepthOfTheSettings) {
    struct Case {
        int32_t format;
        int32_t paletteSize;
        int32_t bits;
    };
    for (const Case& c : {Case{215, 2, 1}, {219, 16, 4}, {221, 256, 8}, {222, 0, 24}}) {
        Writer writer({c.format});
        EXPECT_EQ(writer.begin(1, 1, static_cast<uint32_t>(c.bits)), 1);
        EXPECT_EQ(writer.settings->paletteSize, c.paletteSize) << c.format;
        EXPECT_EQ(writer.settings->bitsPerPixel, c.bits) << c.format;
        writer.end();
    }
}

TEST(BeginCellBitmap, UnknownColourFormatWritesNothingAndLeavesTheStateToTheEnd) {
    for (const int32_t format : {216, 217, 218, 220, 214, 223, 0, -1}) {
        Writer writer({format, true});
        EXPECT_EQ(writer.begin(8, 8, 8), 0) << format;
        EXPECT_NE(writer.state, 0u) << format;
        EXPECT_EQ(writer.end(), 0) << format;
        EXPECT_EQ(writer.target.finish(), Bytes()) << format;
    }
}

TEST(BeginCellBitmap, StateStartsWithItsCompressionAndNoBytes) {
    struct Case {
        Look look;
        uint32_t bits;
        uint32_t compression;
    };
    for (const Case& c : {Case{{COLOR_FORMAT_8BIT}, 8, 0},
                          {{COLOR_FORMAT_8BIT, true}, 8, 1},
                          {{COLOR_FORMAT_4BIT, true}, 4, 2},
                          {{COLOR_FORMAT_1BIT, true}, 1, 0}}) {
        Writer writer(c.look);
        ASSERT_EQ(writer.begin(4, 4, c.bits), 1);
        EXPECT_EQ(GlobalSize(writer.state), 8u);
        const auto* state = static_cast<const CellBitmapState*>(GlobalLock(writer.state));
        EXPECT_EQ(state->compression, c.compression);
        EXPECT_EQ(state->compressedSize, 0u);
        writer.end();
    }
}

TEST(BeginCellBitmap, WorkBufferHoldsTwoBytesForEachByteOfARow) {
    Writer writer({COLOR_FORMAT_8BIT, true});
    ASSERT_EQ(writer.begin(101, 1, 8), 1);
    const MemHandle buffer = writer.settings->hRLEBuffer;
    EXPECT_EQ(GlobalSize(buffer), 208u);
    EXPECT_EQ(writer.settings->lpRLEBuffer, GlobalLock(buffer));
    writer.end();
    EXPECT_EQ(writer.settings->hRLEBuffer, buffer) << "the field keeps its old value";
}

TEST(BeginCellBitmap, EncoderFollowsTheColourFormatAndRowsTheDepthArgument) {
    Writer writer({COLOR_FORMAT_8BIT, true});
    ASSERT_EQ(writer.begin(16, 1, 4), 1);
    EXPECT_EQ(GlobalSize(writer.settings->hRLEBuffer), 16u);
    EXPECT_EQ(writer.write(Block(Bytes(8, 0x22)), 16, 1, 4), 0);
    const Bytes file = writer.finish();
    EXPECT_EQ(u32At(file, 30), 1u);
    EXPECT_EQ(slice(file, 118), (Bytes{7, 0x22, 1, 0x22}));
}

TEST(BeginCellBitmap, NullArgumentsFailAndChangeNothing) {
    CurrentSettings settings;
    MemoryStream target;
    const Bytes palette = rampPalette(256);
    MemHandle state = 77;
    EXPECT_EQ(BeginCellBitmap(0, 1, 1, 8, palette.data(), &state), 0);
    EXPECT_EQ(BeginCellBitmap(target.stream, 1, 1, 8, palette.data(), nullptr), 0);
    SetupRecord* current = std::exchange(lpRaster, nullptr);
    EXPECT_EQ(BeginCellBitmap(target.stream, 1, 1, 8, palette.data(), &state), 0);
    lpRaster = current;
    EXPECT_EQ(state, 77u);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(BeginCellBitmap, MissingPaletteFailsAndWritesNothing) {
    for (const bool os2 : {false, true}) {
        Writer writer({COLOR_FORMAT_8BIT, true, os2});
        EXPECT_EQ(BeginCellBitmap(writer.target.stream, 4, 4, 8, nullptr, &writer.state), 0);
        EXPECT_EQ(writer.end(), 0);
        EXPECT_EQ(writer.target.finish(), Bytes());
    }
}

// A document that spoils the caller's palette with the first bytes that it gets.
struct PaletteSpoiler {
    static inline Bytes palette;
    static inline Bytes written;
    static intptr_t serve(intptr_t, int32_t operation, intptr_t bytes, intptr_t count) {
        if (operation == support::kDocOpen) return 5;
        if (operation != support::kDocWrite) return 1;
        std::fill(palette.begin(), palette.end(), uint8_t{0xEE});
        const auto* from = reinterpret_cast<const uint8_t*>(bytes);
        written.insert(written.end(), from, from + count);
        return count;
    }
};

TEST(BeginCellBitmap, WritesThePaletteThatWasGivenWhateverACallBackMakesOfIt) {
    const CurrentSettings settings;
    settings->colorFormat = COLOR_FORMAT_8BIT;
    PaletteSpoiler::palette = rampPalette(256);
    PaletteSpoiler::written.clear();
    OxlStreamDesc descriptor = {};
    descriptor.target = 7;
    descriptor.documentProc = reinterpret_cast<HostWord>(&PaletteSpoiler::serve);
    const OxlStream stream = oxlOpen("document", &descriptor, OXL_CREATE | OXL_WRITE);
    MemHandle state = 0;
    EXPECT_EQ(BeginCellBitmap(stream, 4, 3, 8, PaletteSpoiler::palette.data(), &state), 1);
    EXPECT_EQ(slice(PaletteSpoiler::written, 54), rampInFile(256, true));
    EndCellBitmap(stream, state);
    oxlClose(stream);
}

TEST(BeginCellBitmap, FailsWithoutMemoryForTheStateOrTheWorkBuffer) {
    for (const int nth : {1, 2}) {
        Writer writer({COLOR_FORMAT_8BIT, true});
        {
            const FailingCall failing("calloc", nth);
            EXPECT_EQ(writer.begin(4, 4, 8), 0) << nth;
            EXPECT_TRUE(failing.happened());
        }
        EXPECT_EQ(writer.state == 0, nth == 1);
        EXPECT_EQ(oxlSeek(writer.target.stream, 0, SEEK_END), 0) << "nothing is written";
        EXPECT_EQ(writer.end(), 0);
    }
}

TEST(BeginCellBitmap, SettingsServeOneFileAfterAnother) {
    Writer writer({COLOR_FORMAT_8BIT, true});
    for (int file = 0; file < 3; ++file) {
        ASSERT_EQ(writer.begin(4, 1, 8), 1);
        EXPECT_EQ(writer.write(Block({1, 1, 1, 1}), 4, 1, 8), 0);
        EXPECT_EQ(writer.end(), 0);
        oxlSeek(writer.target.stream, 0, SEEK_END);
    }
}

TEST(BeginCellBitmap, BegunTwiceWithoutAnEndFreesTheFirstWorkBuffer) {
    const long blocks = support::liveBlocks;
    {
        const MemoryStream target;
        const CurrentSettings settings;
        settings->colorFormat = COLOR_FORMAT_8BIT;
        settings->compressionMode = COMPRESSION_RLE;
        MemHandle first = 0;
        MemHandle second = 0;
        const Bytes palette = rampPalette(256);
        EXPECT_EQ(BeginCellBitmap(target.stream, 8, 1, 8, palette.data(), &first), 1);
        EXPECT_EQ(BeginCellBitmap(target.stream, 8, 1, 8, palette.data(), &second), 1);
        EndCellBitmap(target.stream, second);
        EndCellBitmap(target.stream, first);
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(WriteCellBits, BandsFollowEachOther) {
    for (const bool encoded : {false, true}) {
        Writer writer({COLOR_FORMAT_8BIT, encoded});
        ASSERT_EQ(writer.begin(4, 3, 8), 1);
        EXPECT_EQ(writer.write(Block({1, 2, 3, 4, 5, 6, 7, 8}), 4, 2, 8), 0);
        EXPECT_EQ(writer.write(Block({9, 9, 9, 9}), 4, 1, 8), 0);
        const Bytes raw = {1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 9, 9};
        const Bytes pairs = {1, 1, 1, 2, 1, 3, 1, 4, 1, 5, 1, 6, 1, 7, 1, 8, 3, 9, 1, 9};
        const Bytes file = writer.finish();
        EXPECT_EQ(slice(file, 1078), encoded ? pairs : raw);
        EXPECT_EQ(u32At(file, 34), encoded ? 20u : 0u);
    }
}

TEST(WriteCellBits, ADocumentGetsRowAfterRow) {
    const CurrentSettings settings;
    settings->colorFormat = COLOR_FORMAT_8BIT;
    RecordingDocument document;
    OxlStreamDesc descriptor = document.descriptor();
    const OxlStream stream = oxlOpen("document", &descriptor, OXL_CREATE | OXL_WRITE);
    const Bytes palette = rampPalette(256);
    MemHandle state = 0;
    ASSERT_EQ(BeginCellBitmap(stream, 4, 3, 8, palette.data(), &state), 1);
    document.takeLog();
    const Block rows({'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l'});
    EXPECT_EQ(WriteCellBits(stream, rows.handle, 4, 3, 8, 0, state), 0);
    EXPECT_EQ(document.takeLog(), "write 5 abcd 4\nwrite 5 efgh 4\nwrite 5 ijkl 4\n");
    EndCellBitmap(stream, state);
    oxlClose(stream);
}

// Rows of more than 256 KiB, of which no two are written at a time.
TEST(WriteCellBits, LongRowsAreWrittenWhole) {
    constexpr uint32_t kWidth = (1u << 18) + 4;
    Bytes rows(2 * kWidth);
    for (size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<uint8_t>(i % 251);
    Writer writer({COLOR_FORMAT_8BIT});
    ASSERT_EQ(writer.begin(kWidth, 2, 8), 1);
    EXPECT_EQ(writer.write(Block(rows), kWidth, 2, 8), 0);
    EXPECT_TRUE(slice(writer.finish(), 1078) == rows);
}

TEST(WriteCellBits, RedAndBlueAreExchangedInTheCallersRowsWithTheFlagOneAt24Bits) {
    const Bytes given = {1, 2, 3, 4, 5, 6, 90, 91, 7, 8, 9, 10, 11, 12, 92, 93};
    const Bytes exchanged = {3, 2, 1, 6, 5, 4, 90, 91, 9, 8, 7, 12, 11, 10, 92, 93};
    for (const int16_t flag : {int16_t{0}, int16_t{1}, int16_t{2}, int16_t{-1}}) {
        Writer writer({COLOR_FORMAT_24BIT});
        const Block rows(given);
        ASSERT_EQ(writer.begin(2, 2, 24), 1);
        EXPECT_EQ(writer.write(rows, 2, 2, 24, flag), 0);
        EXPECT_EQ(rows.contents(), flag == 1 ? exchanged : given) << flag;
        EXPECT_EQ(slice(writer.finish(), 54), rows.contents()) << flag;
    }
}

TEST(WriteCellBits, OtherDepthsKeepTheirBytesWhateverTheFlag) {
    Writer writer({COLOR_FORMAT_8BIT});
    const Block row({1, 2, 3, 4});
    ASSERT_EQ(writer.begin(4, 1, 8), 1);
    EXPECT_EQ(writer.write(row, 4, 1, 8, 1), 0);
    EXPECT_EQ(slice(writer.finish(), 1078), (Bytes{1, 2, 3, 4}));
}

TEST(WriteCellBits, NoBitsAndNoRowsWriteNothing) {
    for (const bool encoded : {false, true}) {
        Writer writer({COLOR_FORMAT_8BIT, encoded});
        ASSERT_EQ(writer.begin(4, 1, 8), 1);
        EXPECT_EQ(writer.write(Block(), 4, 1, 8), 0);
        EXPECT_EQ(writer.write(Block({1, 2, 3, 4}), 4, 0, 8), 0);
        EXPECT_EQ(writer.finish().size(), 1078u);
    }
}

TEST(WriteCellBits, ShortBlockGivesItsWholeRowsAndFails) {
    for (const bool encoded : {false, true}) {
        Writer writer({COLOR_FORMAT_8BIT, encoded});
        ASSERT_EQ(writer.begin(4, 4, 8), 1);
        EXPECT_EQ(writer.write(Block({1, 1, 2, 2, 3, 3, 4, 4, 5, 5}), 4, 4, 8), -1);
        const Bytes pairs = {2, 1, 1, 2, 1, 2, 2, 3, 1, 4, 1, 4};
        EXPECT_EQ(slice(writer.finish(), 1078), encoded ? pairs : Bytes({1, 1, 2, 2, 3, 3, 4, 4}));
    }
}

TEST(WriteCellBits, ShortTrueColourBlockIsExchangedOnlyWithinItself) {
    Writer writer({COLOR_FORMAT_24BIT});
    const Block rows({1, 2, 3, 0, 4, 5, 6});
    ASSERT_EQ(writer.begin(1, 2, 24), 1);
    EXPECT_EQ(writer.write(rows, 1, 2, 24, 1), -1);
    EXPECT_EQ(slice(writer.finish(), 54), (Bytes{3, 2, 1, 0}));
    EXPECT_EQ(slice(rows.contents(), 0, 4), (Bytes{3, 2, 1, 0}));
}

TEST(WriteCellBits, SizesBeyond32BitsHaveNoWholeRow) {
    struct Case {
        uint32_t width;
        uint32_t bits;
    };
    for (const Case& c :
         {Case{0xFFFFFFFF, 24}, {0x20000000, 8}, {0xFFFFFFFF, 1}, {8, 0xFFFFFFFC}}) {
        Writer writer({COLOR_FORMAT_24BIT});
        ASSERT_EQ(writer.begin(1, 1, 24), 1);
        EXPECT_EQ(writer.write(Block(Bytes(64, 1)), c.width, 1, c.bits, 1), -1) << c.width;
        EXPECT_EQ(writer.finish().size(), 54u) << c.width;
    }
}

TEST(WriteCellBits, NoStateFails) {
    CurrentSettings settings;
    MemoryStream target;
    EXPECT_EQ(WriteCellBits(target.stream, Block({1, 2, 3, 4}).handle, 4, 1, 8, 0, 0), -1);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(WriteCellBits, FullStreamFailsEncodedRowsAndGoesUnnoticedForRawOnes) {
    for (const bool encoded : {false, true}) {
        Writer writer({COLOR_FORMAT_8BIT, encoded});
        ASSERT_EQ(writer.begin(4, 1, 8), 1);
        MemoryStream full(uint32_t{2});
        const Block row({1, 1, 1, 1});
        EXPECT_EQ(WriteCellBits(full.stream, row.handle, 4, 1, 8, 0, writer.state),
                  encoded ? -1 : 0);
        const auto* state = static_cast<const CellBitmapState*>(GlobalLock(writer.state));
        EXPECT_EQ(state->compressedSize, encoded ? 4u : 0u) << "the failing row counts";
        writer.end();
    }
}

TEST(EndCellBitmap, NoStateIsAccepted) {
    CurrentSettings settings;
    MemoryStream target;
    EXPECT_EQ(EndCellBitmap(target.stream, 0), 0);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(EndCellBitmap, MissingStreamStillFreesStateAndWorkBuffer) {
    Writer writer({COLOR_FORMAT_8BIT, true});
    ASSERT_EQ(writer.begin(4, 1, 8), 1);
    EXPECT_EQ(EndCellBitmap(0, writer.state), 0);
}

TEST(EndCellBitmap, MissingSettingsStillFreeTheState) {
    Writer writer({COLOR_FORMAT_8BIT});
    ASSERT_EQ(writer.begin(4, 1, 8), 1);
    SetupRecord* current = std::exchange(lpRaster, nullptr);
    EXPECT_EQ(writer.end(), 0);
    lpRaster = current;
}

// Every colour format, flavour, compression and depth argument against the plain model.
TEST(BmpFile, AgreesWithTheModelForEveryCombination) {
    struct Depth {
        int format;
        int bits;
    };
    uint32_t value = 1;
    for (const Depth& depth : {Depth{215, 1}, {219, 4}, {221, 8}, {222, 24}, {219, 8}, {215, 4}}) {
        for (const int compression : {310, 228}) {
            for (const int type : {331, 332}) {
                for (const uint32_t width : {1u, 2u, 31u, 300u, 900u}) {
                    model::Settings wanted;
                    wanted.colorFormat = depth.format;
                    wanted.compressionMode = compression;
                    wanted.fileType = type;
                    const uint32_t rowBytes = model::bytesPerLine(width, depth.bits);
                    ByteList rows;
                    for (uint32_t i = 0; i < rowBytes * 3; ++i) {
                        value = value * 1664525 + 1013904223;
                        rows.u8(value >> 30 == 0 ? value >> 24 : i / 140);
                    }
                    const auto bits = static_cast<uint32_t>(depth.bits);
                    const Bytes palette = rampPalette(bits > 8 ? 0 : 1u << bits);
                    const CurrentSettings settings(wanted);
                    MemoryStream target;
                    MemHandle state = 0;
                    ASSERT_EQ(
                        BeginCellBitmap(target.stream, width, 3, bits, palette.data(), &state), 1);
                    WriteCellBits(target.stream, Block(rows.list).handle, width, 3, bits, 1, state);
                    EndCellBitmap(target.stream, state);
                    ASSERT_EQ(target.finish(), model::writeBmp(wanted, width, 3, depth.bits,
                                                               palette, rows.list, true))
                        << depth.format << ' ' << compression << ' ' << type << ' ' << width;
                }
            }
        }
    }
}

}  // namespace
