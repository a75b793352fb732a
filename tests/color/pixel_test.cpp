#include "color/pixel.h"

#include "support/captured_text.h"
#include "support/color_bitmaps.h"

namespace {

using support::Bytes;
using support::CapturedText;
using support::colors;
using support::DebugLevel;

constexpr int16_t kDepths[] = {1, 4, 8, 24, 32};
constexpr int16_t kOtherDepths[] = {0, 2, 3, 5, 7, 9, 16, 23, 31, 33, 64, -1, -8, 32767, -32768};

TEST(RowStride, IsTheRowsBytesRoundedUpToFour) {
    const struct {
        uint32_t width;
        int16_t bits;
        int32_t stride;
    } cases[] = {{0, 8, 0},   {1, 1, 4},   {8, 1, 4},
                 {32, 1, 4},  {33, 1, 8},  {1, 4, 4},
                 {8, 4, 4},   {9, 4, 8},   {4, 8, 4},
                 {5, 8, 8},   {1, 24, 4},  {3, 24, 12},
                 {4, 24, 12}, {5, 24, 16}, {1, 32, 4},
                 {7, 32, 28}, {17, 2, 8},  {5, 16, 12},
                 {5, 0, 0},   {11, 3, 8},  {0xFFFFFFFF, 1, 0x20000000}};
    for (const auto& c : cases)
        EXPECT_EQ(rlBytesPerLine(c.width, c.bits), c.stride) << c.width << " at " << c.bits;
}

TEST(RowStride, IsZeroWhen32BitsDoNotHoldTheRowsBits) {
    EXPECT_EQ(rlBytesPerLine(134217727, 32), 536870908);
    EXPECT_EQ(rlBytesPerLine(134217728, 32), 0);
    EXPECT_EQ(rlBytesPerLine(0xFFFFFFFF, 24), 0);
    EXPECT_EQ(rlBytesPerLine(8, -8), 0);
}

TEST(BitmapSize, IsStrideTimesHeight) {
    EXPECT_EQ(rlCalcNewSize(33, 3, 1), 24u);
    EXPECT_EQ(rlCalcNewSize(3, 5, 24), 60u);
    EXPECT_EQ(rlCalcNewSize(3, 0, 24), 0u);
    EXPECT_EQ(rlCalcNewSize(0, 5, 24), 0u);
    EXPECT_EQ(rlCalcNewSize(65536, 65535, 8), 4294901760u);
}

TEST(BitmapSize, IsZeroWhen32BitsDoNotHoldIt) {
    EXPECT_EQ(rlCalcNewSize(65536, 65536, 8), 0u);
    EXPECT_EQ(rlCalcNewSize(0xFFFFFFFF, 0xFFFFFFFF, 32), 0u);
    EXPECT_EQ(rlCalcNewSize(8, 8, -1), 0u);
}

TEST(GetPixel, ReadsEveryDepth) {
    const uint8_t rows[] = {0xA5, 0x3C, 0x7E, 0x81, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
    const struct {
        int16_t bits;
        int32_t stride;
        uint32_t x, y, value;
    } cases[] = {{1, 4, 0, 0, 1},           {1, 4, 1, 0, 0},           {1, 4, 2, 0, 1},
                 {1, 4, 7, 0, 1},           {1, 4, 8, 0, 0},           {1, 4, 10, 0, 1},
                 {1, 4, 3, 1, 1},           {4, 4, 0, 0, 0xA},         {4, 4, 1, 0, 5},
                 {4, 4, 2, 0, 3},           {4, 4, 7, 1, 8},           {8, 4, 0, 0, 0xA5},
                 {8, 4, 3, 0, 0x81},        {8, 4, 1, 2, 0xBC},        {24, 4, 0, 0, 0xA53C7E00},
                 {24, 4, 1, 0, 0x81123400}, {24, 4, 0, 1, 0x12345600}, {32, 4, 0, 0, 0xA53C7E81},
                 {32, 4, 0, 2, 0x9ABCDEF0}, {32, 8, 1, 0, 0x12345678}};
    for (const auto& c : cases)
        EXPECT_EQ(rlGetPixel(rows, c.stride, c.x, c.y, c.bits), c.value)
            << c.bits << " bits at " << c.x << ", " << c.y;
}

TEST(GetPixel, IsZeroAtOtherDepthsAndWithoutRows) {
    const uint8_t rows[] = {0xFF, 0xFF, 0xFF, 0xFF};
    for (const int16_t bits : kOtherDepths) EXPECT_EQ(rlGetPixel(rows, 4, 0, 0, bits), 0u) << bits;
    for (const int16_t bits : kDepths) EXPECT_EQ(rlGetPixel(nullptr, 4, 0, 0, bits), 0u);
}

// Rows of 8 bytes, all of them `fill`, after one pixel was stored without map or table.
Bytes stored(uint8_t fill, int16_t bits, uint32_t x, uint32_t y, uint32_t value) {
    Bytes rows(8, fill);
    EXPECT_EQ(rlSetPixel(rows.data(), 4, x, y, bits, value, nullptr, nullptr, 0), 0);
    return rows;
}

TEST(SetPixel, StoresOnlyItsOwnBits) {
    EXPECT_EQ(stored(0x00, 1, 0, 0, 1), (Bytes{0x80, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(stored(0xFF, 1, 0, 0, 0), (Bytes{0x7F, 255, 255, 255, 255, 255, 255, 255}));
    EXPECT_EQ(stored(0x00, 1, 15, 1, 1), (Bytes{0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(stored(0xFF, 1, 10, 0, 0xFE), (Bytes{255, 0xDF, 255, 255, 255, 255, 255, 255}));
    EXPECT_EQ(stored(0x11, 4, 0, 0, 0xA), (Bytes{0xA1, 17, 17, 17, 17, 17, 17, 17}));
    EXPECT_EQ(stored(0x11, 4, 1, 0, 0xA), (Bytes{0x1A, 17, 17, 17, 17, 17, 17, 17}));
    EXPECT_EQ(stored(0x11, 4, 6, 1, 0xFF2), (Bytes{17, 17, 17, 17, 17, 17, 17, 0x21}));
    EXPECT_EQ(stored(0x11, 8, 2, 0, 0x12345), (Bytes{17, 17, 0x45, 17, 17, 17, 17, 17}));
    EXPECT_EQ(stored(0x11, 24, 1, 0, 0x12345678), (Bytes{17, 17, 17, 0x12, 0x34, 0x56, 17, 17}));
    EXPECT_EQ(stored(0x11, 32, 0, 1, 0x12345678), (Bytes{17, 17, 17, 17, 0x12, 0x34, 0x56, 0x78}));
}

TEST(SetPixel, StoresNothingAtOtherDepthsAndWithoutRows) {
    for (const int16_t bits : kOtherDepths)
        EXPECT_EQ(stored(0x11, bits, 0, 0, 0xFFFFFFFF), Bytes(8, 0x11)) << bits;
    for (const int16_t bits : kDepths)
        EXPECT_EQ(rlSetPixel(nullptr, 4, 0, 0, bits, 1, nullptr, nullptr, 0), 0);
}

struct Translation {
    const std::vector<uint32_t>* map;
    const Bytes* table;
    int16_t count;
};

// One row of 4 bytes, all 0x11, after its first pixel was stored.
Bytes translated(int16_t bits, uint32_t value, const Translation& by) {
    Bytes row(4, 0x11);
    rlSetPixel(row.data(), 4, 0, 0, bits, value, by.map == nullptr ? nullptr : by.map->data(),
               by.table == nullptr ? nullptr : by.table->data(), by.count);
    return row;
}

const std::vector<uint32_t> kMap = {0xAABBCC0D, 0, 1, 2};
const Bytes kTable = colors({{250, 10, 10}, {10, 250, 10}, {10, 10, 250}});

TEST(SetPixel, StoresWhatTheMapHoldsForTheValue) {
    const Translation map = {&kMap, nullptr, 0};
    EXPECT_EQ(translated(1, 2, map), (Bytes{0x91, 17, 17, 17}));
    EXPECT_EQ(translated(1, 3, map), (Bytes{0x11, 17, 17, 17}));
    EXPECT_EQ(translated(4, 0, map), (Bytes{0xD1, 17, 17, 17}));
    EXPECT_EQ(translated(8, 0, map), (Bytes{0x0D, 17, 17, 17}));
    EXPECT_EQ(translated(24, 0, map), (Bytes{0xAA, 0xBB, 0xCC, 17}));
    EXPECT_EQ(translated(32, 0, map), (Bytes{0xAA, 0xBB, 0xCC, 0x0D}));
}

TEST(SetPixel, MatchesTheValueAgainstTheTableBelowDepth24) {
    const Translation table = {nullptr, &kTable, 3};
    EXPECT_EQ(translated(8, 0x0BFF0B00, table), (Bytes{1, 17, 17, 17}));
    EXPECT_EQ(translated(4, 0x0B0BFF00, table), (Bytes{0x21, 17, 17, 17}));
    EXPECT_EQ(translated(1, 0x0BFF0B00, table), (Bytes{0x91, 17, 17, 17}));
    EXPECT_EQ(translated(1, 0x0B0BFF00, table), (Bytes{0x11, 17, 17, 17}));
    EXPECT_EQ(translated(8, 0x0B0BFF00, {nullptr, &kTable, 2}), (Bytes{0, 17, 17, 17}));
}

TEST(SetPixel, PrefersTheMapToTheSearchBelowDepth24) {
    EXPECT_EQ(translated(8, 3, {&kMap, &kTable, 3}), (Bytes{2, 17, 17, 17}));
}

TEST(SetPixel, KeepsTheLowByteOfTheIndexFound) {
    Bytes table = support::repeated({0, 0, 0}, 300);
    table[3 * 260] = 200;
    EXPECT_EQ(translated(8, 0xC8000000, {nullptr, &table, 300}), (Bytes{4, 17, 17, 17}));
}

TEST(SetPixel, StoresTheTableEntryThatTheMapLeadsToAtDepth24And32) {
    EXPECT_EQ(translated(24, 2, {&kMap, &kTable, 3}), (Bytes{10, 250, 10, 17}));
    EXPECT_EQ(translated(32, 3, {&kMap, &kTable, 3}), (Bytes{10, 10, 250, 0}));
}

TEST(SetPixel, FindsBlackBehindTheEndOfTheTable) {
    EXPECT_EQ(translated(24, 0, {&kMap, &kTable, 3}), (Bytes{0, 0, 0, 17}));
    EXPECT_EQ(translated(32, 0, {&kMap, &kTable, 3}), (Bytes{0, 0, 0, 0}));
}

TEST(SetPixel, DoesNotUseATableWithoutAMapAtDepth24And32) {
    EXPECT_EQ(translated(24, 0x01020304, {nullptr, &kTable, 3}), (Bytes{1, 2, 3, 17}));
    EXPECT_EQ(translated(32, 0x01020304, {nullptr, &kTable, 3}), (Bytes{1, 2, 3, 4}));
}

TEST(SetPixel, PrintsItsPlaceAboveDebugLevel3Only) {
    const struct {
        int level;
        const char* text;
    } cases[] = {{0, ""}, {1, ""}, {2, ""}, {3, ""}, {-1, ""}, {4, "(2,1): "}, {32767, "(2,1): "}};
    for (const auto& c : cases) {
        const DebugLevel level(c.level);
        CapturedText errors(stderr);
        CapturedText output(stdout);
        stored(0, 8, 2, 1, 5);
        EXPECT_EQ(output.text(), "") << c.level;
        EXPECT_EQ(errors.text(), c.text) << c.level;
    }
}

TEST(SetPixel, PrintsItsPlaceAtDepthsThatStoreNothingToo) {
    const DebugLevel level(4);
    CapturedText errors(stderr);
    stored(0, 16, 0, 1, 5);
    EXPECT_EQ(errors.text(), "(0,1): ");
}

TEST(SetPixel, PrintsItsPlaceAsSignedNumbers) {
    const DebugLevel level(4);
    CapturedText errors(stderr);
    rlSetPixel(nullptr, 4, 0xFFFFFFFF, 0x80000000, 8, 1, nullptr, nullptr, 0);
    EXPECT_EQ(errors.text(), "(-1,-2147483648): ");
}

}  // namespace
