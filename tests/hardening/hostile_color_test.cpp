#include "hardening/hostile.h"

namespace {

using namespace hardening;

// Sizes of which the bytes of all rows, or the bits of one, pass 32 bits.
constexpr uint32_t kHugeSizes[][2] = {{kHuge, kHuge}, {kHuge, 1}, {65536, 65536}, {1, kHuge}};

TEST(HostileArguments, _debug_color_res) {
    const Block pixels(someRows(4, 2));
    for (const int16_t level : kShorts) {
        const support::DebugLevel debug(level);
        support::CapturedText output(stdout);
        support::CapturedText errors(stderr);
        MemHandle table = 0;
        const Block made(rlChangeColorResolution(pixels.handle, 1, 2, 24, 4, &table));
        GlobalFree(table);
        EXPECT_EQ(output.text().empty(), level == 0);
        EXPECT_EQ(errors.text().empty(), level == 0);
    }
}

TEST(HostileArguments, _rlDitherOneLine) {
    uint8_t row[6] = {1, 2, 3, 4, 5, 6};
    uint8_t next[6] = {};
    const uint8_t table[3] = {9, 9, 9};
    _rlDitherOneLine(nullptr, next, table, 2, 1);
    _rlDitherOneLine(row, next, nullptr, 2, 1);
    _rlDitherOneLine(row, next, table, 0, 1);
    EXPECT_EQ(Bytes(row, row + 6), (Bytes{1, 2, 3, 4, 5, 6}));
    // No colours to search: the first entry serves.
    for (const int16_t count : {int16_t{0}, int16_t{-1}, int16_t{INT16_MIN}}) {
        uint8_t pixel[3] = {1, 2, 3};
        _rlDitherOneLine(pixel, nullptr, table, 1, count);
        EXPECT_EQ(Bytes(pixel, pixel + 3), Bytes(3, 9));
    }
    EXPECT_EQ(Bytes(next, next + 6), Bytes(6, 0));
}

TEST(HostileArguments, rlBytesPerLine) {
    EXPECT_EQ(rlBytesPerLine(kHuge, 8), 0);
    EXPECT_EQ(rlBytesPerLine(kHuge, INT16_MAX), 0);
    EXPECT_EQ(rlBytesPerLine(0, 8), 0);
    EXPECT_EQ(rlBytesPerLine(9, 0), 0);
    EXPECT_EQ(rlBytesPerLine(9, -8), 0);
}

TEST(HostileArguments, rlCalcNewSize) {
    for (const auto& [width, height] : kHugeSizes) EXPECT_EQ(rlCalcNewSize(width, height, 32), 0u);
    EXPECT_EQ(rlCalcNewSize(5, 0, 8), 0u);
    EXPECT_EQ(rlCalcNewSize(5, 5, -8), 0u);
}

TEST(HostileArguments, rlGetPixel) {
    const uint8_t rows[8] = {255, 255, 255, 255, 255, 255, 255, 255};
    EXPECT_EQ(rlGetPixel(nullptr, 4, 1, 1, 8), 0u);
    for (const int16_t depth : kStrangeDepths) EXPECT_EQ(rlGetPixel(rows, 4, 1, 1, depth), 0u);
    EXPECT_EQ(rlGetPixel(rows + 4, -4, 0, 1, 8), 255u) << "rows may run backwards";
}

TEST(HostileArguments, rlSetPixel) {
    uint8_t rows[8] = {};
    const uint8_t table[3] = {1, 2, 3};
    EXPECT_EQ(rlSetPixel(nullptr, 4, 1, 1, 8, 5, nullptr, nullptr, 0), 0);
    for (const int16_t depth : kStrangeDepths)
        EXPECT_EQ(rlSetPixel(rows, 4, 1, 1, depth, kHuge, nullptr, table, 1), 0);
    for (const int16_t count : {int16_t{0}, int16_t{-1}, int16_t{INT16_MIN}})
        EXPECT_EQ(rlSetPixel(rows, 4, 1, 1, 8, kHuge, nullptr, table, count), 0);
    EXPECT_EQ(Bytes(rows, rows + 8), Bytes(8, 0));
}

TEST(HostileArguments, rlNearestRGBIndex) {
    const uint8_t table[3] = {1, 2, 3};
    EXPECT_EQ(rlNearestRGBIndex(1, 2, 3, nullptr, 5), 0u);
    for (const int16_t count : {int16_t{0}, int16_t{-1}, int16_t{INT16_MIN}})
        EXPECT_EQ(rlNearestRGBIndex(1, 2, 3, table, count), 0u);
    for (const int16_t channel : kShorts)
        EXPECT_EQ(rlNearestRGBIndex(channel, INT16_MIN, INT16_MAX, table, 1), 0u);
}

TEST(HostileArguments, rlBuildColormap) {
    const Bytes table(768, 7);
    for (const int depth : {-1, 16, 24, 32, 64, int{INT16_MAX}, int{INT16_MIN}})
        EXPECT_EQ(rlBuildColormap(table.data(), static_cast<int16_t>(depth), table.data(), 8, 256),
                  0u)
            << depth;
    for (const int16_t depth : kStrangeDepths) {
        const Block map(rlBuildColormap(table.data(), 4, table.data(), depth, 256));
        EXPECT_EQ(map.contents().size(), 64u);
    }
    // Without a table to search the map is all zeros.
    const Block none(rlBuildColormap(nullptr, 4, nullptr, 8, -1));
    EXPECT_EQ(none.contents(), Bytes(64, 0));
}

TEST(HostileArguments, rlFreeColormap) {
    EXPECT_EQ(rlFreeColormap(0), 0);
}

TEST(HostileArguments, rlGetMemory) {
    EXPECT_EQ(rlGetMemory(INT16_MAX, kHuge), 0u);
    EXPECT_EQ(rlGetMemory(1, kHuge), 0u);
    EXPECT_EQ(rlGetMemory(-1, 4), 0u);
    EXPECT_EQ(rlGetMemory(INT16_MIN, 0), 0u);
    const Block empty(rlGetMemory(0, kHuge));
    EXPECT_NE(empty.handle, 0u);
}

TEST(HostileArguments, rlLockMemory) {
    EXPECT_EQ(rlLockMemory(0), nullptr);
}

TEST(HostileArguments, rlUnlockMemory) {
    EXPECT_EQ(rlUnlockMemory(0), 0);
}

TEST(HostileArguments, rlFreeNewData) {
    EXPECT_EQ(rlFreeNewData(0), 0);
}

TEST(HostileArguments, rlPointertoHandle) {
    EXPECT_EQ(rlPointertoHandle(nullptr), 0u);
}

TEST(HostileArguments, rlReduceColorTable) {
    const Block pixels(someRows(8, 2));
    uint16_t count = 16;
    EXPECT_EQ(rlReduceColorTable(0, 2, 2, &count), 0u);
    EXPECT_EQ(rlReduceColorTable(pixels.handle, 2, 2, nullptr), 0u);
    EXPECT_EQ(count, 16);
    for (const uint16_t wanted : {uint16_t{0}, uint16_t{1}, uint16_t{256}, uint16_t{65535}}) {
        for (const auto& [width, height] :
             {std::pair<uint16_t, uint16_t>{0, 0}, {2, 2}, {65535, 65535}}) {
            uint16_t produced = wanted;
            const Block table(rlReduceColorTable(pixels.handle, width, height, &produced));
            EXPECT_EQ(table.contents().size(), size_t{wanted} * 3);
            EXPECT_LE(produced, wanted);
        }
    }
}

TEST(HostileArguments, rlChangeColorResolution) {
    const Block pixels(someRows(8, 2));
    MemHandle table = 0;
    EXPECT_EQ(rlChangeColorResolution(pixels.handle, 2, 2, 24, 8, nullptr), 0u);
    EXPECT_EQ(rlChangeColorResolution(0, 2, 2, 24, 8, &table), 0u);
    for (const auto& [width, height] : kHugeSizes) {
        table = 0;
        EXPECT_EQ(rlChangeColorResolution(pixels.handle, width, height, 24, 32, &table), 0u);
        GlobalFree(table);
    }
    for (const int16_t depth : kStrangeDepths) {
        for (const bool asSource : {false, true}) {
            table = 0;
            const Block made(rlChangeColorResolution(pixels.handle, 2, 2, asSource ? depth : 24,
                                                     asSource ? 8 : depth, &table));
            GlobalFree(table);
        }
    }
    EXPECT_TRUE(sameBytes(pixels.contents(), someRows(8, 2)));
}

TEST(HostileArguments, rlConvertBitmapDepth) {
    const Block pixels(someRows(8, 2));
    const Block shortTable(Bytes{1, 2});
    EXPECT_EQ(rlConvertBitmapDepth(0, 2, 2, 24, 8, 0, shortTable.handle, 4), 0u);
    for (const auto& [width, height] : kHugeSizes)
        EXPECT_EQ(rlConvertBitmapDepth(pixels.handle, width, height, 24, 32, 0, 0, 0), 0u);
    for (const int16_t count : kShorts) {
        const Block made(
            rlConvertBitmapDepth(pixels.handle, 2, 2, 24, 8, 0, shortTable.handle, count));
        EXPECT_EQ(made.contents().size(), 8u) << count;
    }
    for (const int16_t depth : kStrangeDepths) {
        for (const bool asSource : {false, true})
            const Block made(rlConvertBitmapDepth(pixels.handle, 2, 2, asSource ? depth : 8,
                                                  asSource ? 8 : depth, shortTable.handle,
                                                  shortTable.handle, 256));
    }
    // The block ends within the second of a hundred rows.
    const Block cut(rlConvertBitmapDepth(pixels.handle, 3, 100, 24, 24, 0, 0, 0));
    EXPECT_EQ(cut.contents().size(), 1200u);
    EXPECT_EQ(support::blockContents(cut.handle)[1199], 0);
}

TEST(HostileArguments, rlDitherBitmap) {
    const Block pixels(someRows(8, 2));
    MemHandle table = 0;
    EXPECT_EQ(rlDitherBitmap(0, 2, 2, 24, 4, 0, &table), 0u);
    EXPECT_EQ(rlDitherBitmap(pixels.handle, 2, 2, 24, 4, 0, nullptr), 0u);
    for (const auto& [width, height] : kHugeSizes) {
        table = 0;
        EXPECT_EQ(rlDitherBitmap(pixels.handle, width, height, 24, 4, 0, &table), 0u);
        GlobalFree(table);
    }
    for (const int16_t depth : kStrangeDepths) {
        for (const bool asSource : {false, true}) {
            table = 0;
            const Block made(rlDitherBitmap(pixels.handle, 2, 2, asSource ? depth : 24,
                                            asSource ? 4 : depth, 0, &table));
            GlobalFree(table);
        }
    }
}

TEST(HostileArguments, rlDitherGetCT) {
    const Block pixels(someRows(8, 2));
    MemHandle table = 0;
    uint16_t count = 4;
    EXPECT_EQ(rlDitherGetCT(0, 2, 2, 24, 4, 0, &table, &count), -1);
    EXPECT_EQ(rlDitherGetCT(pixels.handle, 2, 2, 24, 4, 0, nullptr, &count), -1);
    EXPECT_EQ(rlDitherGetCT(pixels.handle, 2, 2, 24, 4, 0, &table, nullptr), -1);
    EXPECT_EQ(table, 0u);
    for (const int16_t depth : kStrangeDepths) {
        for (const bool asSource : {false, true}) {
            table = 0;
            EXPECT_EQ(rlDitherGetCT(pixels.handle, 2, 2, asSource ? depth : 24,
                                    asSource ? 4 : depth, 0, &table, &count),
                      0);
            GlobalFree(table);
        }
    }
}

TEST(HostileArguments, rlDitherGivenCT) {
    const Block pixels(someRows(8, 2));
    const Block shortTable(Bytes{1, 2});
    EXPECT_EQ(rlDitherGivenCT(0, 2, 2, 24, 4, 0, shortTable.handle, 16), 0u);
    EXPECT_EQ(rlDitherGivenCT(pixels.handle, 2, 2, 24, 4, 0, 0, 16), 0u);
    for (const auto& [width, height] : kHugeSizes)
        EXPECT_EQ(rlDitherGivenCT(pixels.handle, width, height, 24, 4, 0, shortTable.handle, 16),
                  0u);
    for (const int16_t count : kShorts) {
        const Block made(rlDitherGivenCT(pixels.handle, 2, 2, 24, 4, 0, shortTable.handle, count));
        EXPECT_EQ(made.contents().size(), 8u) << count;
    }
    for (const int16_t depth : kStrangeDepths)
        const Block made(rlDitherGivenCT(pixels.handle, 2, 2, 24, depth, 0, shortTable.handle, 2));
}

using ScaleRoutine = MemHandle (*)(MemHandle, int16_t, uint32_t, uint32_t, uint32_t, uint32_t);

void expectScalingSurvives(ScaleRoutine scale) {
    const Block pixels(someRows(4, 2));
    EXPECT_EQ(scale(0, 8, 4, 2, 2, 2), 0u);
    for (const auto& [width, height] : kHugeSizes) {
        EXPECT_EQ(scale(pixels.handle, 32, 1, 2, width, height), 0u);
        EXPECT_EQ(scale(pixels.handle, 32, width, height, 1, 2), 0u);
    }
    for (const uint32_t side : {0u, 1u, 5u}) {
        const Block fromNothing(scale(pixels.handle, 8, 0, side, 3, 3));
        EXPECT_EQ(fromNothing.contents(), Bytes(12, 0));
        const Block toNothing(scale(pixels.handle, 8, 4, 2, side, 0));
        EXPECT_EQ(toNothing.contents(), Bytes());
    }
    for (const int16_t depth : kStrangeDepths)
        const Block made(scale(pixels.handle, depth, 1, 2, 3, 3));
    // A hundred rows of a block with two.
    const Block cut(scale(pixels.handle, 8, 4, 100, 4, 50));
    EXPECT_EQ(cut.contents().size(), 200u);
}

TEST(HostileArguments, rlShrinkBitmap) {
    expectScalingSurvives(rlShrinkBitmap);
}

TEST(HostileArguments, rlStretchBitmap) {
    expectScalingSurvives(rlStretchBitmap);
}

TEST(HostileArguments, rlFlipBitmap) {
    const Block pixels(someRows(4, 2));
    EXPECT_EQ(rlFlipBitmap(0, 8, 4, 2, 1, 1), 0u);
    for (const auto& [width, height] : kHugeSizes)
        EXPECT_EQ(rlFlipBitmap(pixels.handle, 32, width, height, 1, 1), pixels.handle);
    for (const int16_t depth : {int16_t{0}, int16_t{-1}, int16_t{INT16_MIN}})
        EXPECT_EQ(rlFlipBitmap(pixels.handle, depth, 4, 2, 1, 1), pixels.handle);
    EXPECT_EQ(rlFlipBitmap(pixels.handle, 8, 0, 0, 1, 1), pixels.handle);
    EXPECT_EQ(rlFlipBitmap(pixels.handle, 8, 4, 2, 0, 0), pixels.handle);
    EXPECT_TRUE(sameBytes(pixels.contents(), someRows(4, 2)));
    // More rows than the block has: those that it lacks read as zero and are not written.
    EXPECT_EQ(rlFlipBitmap(pixels.handle, 8, 4, 4, 0, 1), pixels.handle);
    EXPECT_EQ(pixels.contents(), Bytes(8, 0));
}

using InPlace = void (*)(MemHandle, uint32_t, uint32_t);

void expectInPlaceSurvives(InPlace convert) {
    convert(0, 2, 2);
    const Block empty(Bytes{});
    for (const auto& [width, height] : kHugeSizes) {
        convert(empty.handle, width, height);
        const Block pixels(someRows(4, 2));
        convert(pixels.handle, width, height);
        EXPECT_EQ(GlobalSize(pixels.handle), 8u);
    }
    const Block untouched(someRows(4, 2));
    convert(untouched.handle, 0, kHuge);
    convert(untouched.handle, kHuge, 0);
    EXPECT_TRUE(sameBytes(untouched.contents(), someRows(4, 2)));
    // The block ends within a pixel.
    const Block cut(someRows(1, 7));
    convert(cut.handle, 2, 1);
    EXPECT_EQ(GlobalSize(cut.handle), 7u);
}

TEST(HostileArguments, rlRGB4toCMYK) {
    expectInPlaceSurvives(rlRGB4toCMYK);
}

TEST(HostileArguments, rlCMYKtoRGB) {
    expectInPlaceSurvives(rlCMYKtoRGB);
}

TEST(HostileArguments, rlALPHAtoRGB) {
    expectInPlaceSurvives(rlALPHAtoRGB);
}

}  // namespace
