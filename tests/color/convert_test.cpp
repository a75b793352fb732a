#include <tivar/color.h>

#include "support/captured_text.h"
#include "support/color_bitmaps.h"
#include "support/failing_call.h"

namespace {

using support::Block;
using support::Bytes;
using support::CapturedText;
using support::colors;
using support::DebugLevel;
using support::FailingCall;
using support::padded;
using support::taken;

// --- Pixel by pixel ---

struct Conversion {
    uint32_t width, height;
    int16_t sourceBits, destBits;
    MemHandle sourceTable = 0;
    MemHandle destTable = 0;
    int16_t destCount = 0;
};

MemHandle convert(MemHandle bits, const Conversion& c) {
    return rlConvertBitmapDepth(bits, c.width, c.height, c.sourceBits, c.destBits, c.sourceTable,
                                c.destTable, c.destCount);
}

Bytes converted(const Bytes& bits, const Conversion& c) {
    const Block source(bits);
    const Bytes result = taken(convert(source.handle, c));
    EXPECT_EQ(source.contents(), bits);
    return result;
}

const Bytes kTwoColors = colors({{10, 20, 30}, {200, 100, 0}});

TEST(Conversion, UpwardTo24BitsTakesColorsFromTheSourceTable) {
    const Block table(kTwoColors);
    EXPECT_EQ(converted(padded({{0x60}, {0x80}}), {3, 2, 1, 24, table.handle}),
              padded({colors({{10, 20, 30}, {200, 100, 0}, {200, 100, 0}}),
                      colors({{200, 100, 0}, {10, 20, 30}, {10, 20, 30}})}));
    EXPECT_EQ(table.contents(), kTwoColors);
}

TEST(Conversion, ATableShorterThanItsDepthIsBlackFromItsEndOn) {
    const Block table(Bytes{10, 20, 30, 200});
    EXPECT_EQ(converted({0, 1, 2, 255}, {4, 1, 8, 24, table.handle}),
              colors({{10, 20, 30}, {200, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
}

TEST(Conversion, WithoutADestinationTableIndexesGoToTheSourceTable) {
    Bytes entries = colors({{0, 0, 0}, {9, 9, 9}, {200, 0, 0}, {9, 9, 9}, {100, 102, 104}});
    const Block table(entries);
    // Equal entries become the first of them; a nearly grey entry finds the nearest exact grey.
    EXPECT_EQ(converted({0, 1, 2, 3, 4, 9, 0, 0}, {6, 1, 8, 8, table.handle}),
              (Bytes{0, 1, 2, 1, 1, 0, 0, 0}));
    EXPECT_EQ(converted({0x01, 0x23, 0x49, 0}, {6, 1, 4, 8, table.handle}),
              (Bytes{0, 1, 2, 1, 1, 0, 0, 0}));
}

TEST(Conversion, IndexesAreMappedToTheNearestEntriesOfTheDestinationTable) {
    const Block from(colors({{0, 0, 0}, {250, 10, 10}, {240, 240, 240}}));
    const Block to(colors({{255, 0, 0}, {255, 255, 255}, {0, 0, 0}}));
    EXPECT_EQ(converted({0, 1, 2, 0}, {3, 1, 8, 4, from.handle, to.handle, 3}),
              (Bytes{0x20, 0x10, 0, 0}));
    EXPECT_EQ(converted({0, 1, 2, 0}, {3, 1, 8, 1, from.handle, to.handle, 3}),
              (Bytes{0x20, 0, 0, 0}));
    EXPECT_EQ(converted({0, 1, 2, 0}, {3, 1, 8, 32, from.handle, to.handle, 3}),
              (Bytes{0, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0}));
}

TEST(Conversion, IndexesBecomeZeroWhenATableIsMissing) {
    const Block table(kTwoColors);
    const Bytes ones = {1, 1, 1, 1};
    EXPECT_EQ(converted(ones, {4, 1, 8, 4, table.handle}), Bytes(4, 0));
    EXPECT_EQ(converted(ones, {4, 1, 8, 8, 0, table.handle, 2}), Bytes(4, 0));
    EXPECT_EQ(converted(ones, {4, 1, 8, 8}), Bytes(4, 0));
    EXPECT_EQ(converted(ones, {4, 1, 8, 24}), Bytes(12, 0));
}

TEST(Conversion, UpwardTo32BitsWithoutADestinationTableStoresTheIndex) {
    const Block table(kTwoColors);
    EXPECT_EQ(converted({0, 1, 2, 0}, {2, 1, 8, 32, table.handle}),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(Conversion, To24BitsWithADestinationTableReadsThePackedColorAsItsIndex) {
    // Black leads to entry 0, (0, 0, 1) to entry 256, and all else behind the table, also what
    // would come back into it in 32 bits: 3 x 0x55555600 is 0x100000200.
    const Block from(colors({{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0x55, 0x55, 0x56}}));
    Bytes entries = support::repeated({7, 8, 9}, 300);
    entries[3 * 256] = 77;
    const Block to(entries);
    const Bytes expected = colors({{7, 8, 9}, {77, 8, 9}, {0, 0, 0}, {0, 0, 0}});
    // What counts is what the block holds, whatever the count.
    constexpr int16_t counts[] = {300, 257, 256, 10, 0, -1};
    for (const int16_t count : counts)
        EXPECT_EQ(converted({0, 1, 2, 3}, {4, 1, 8, 24, from.handle, to.handle, count}), expected)
            << count;
}

TEST(Conversion, ReadsTableEntriesThatTheBlockHoldsWhateverTheCount) {
    const Block from(colors({{250, 0, 0}}));
    const Block to(colors({{1, 2, 3}, {255, 0, 0}}));
    constexpr int16_t none[] = {0, -1, -32768};
    for (const int16_t count : none)
        EXPECT_EQ(converted({0, 0, 0, 0}, {1, 1, 8, 32, from.handle, to.handle, count}),
                  (Bytes{1, 2, 3, 0}))
            << count;
    const Block partial(Bytes{1});
    EXPECT_EQ(converted({0, 0, 0, 0}, {1, 1, 8, 32, from.handle, partial.handle, 0}),
              (Bytes{1, 0, 0, 0}));
}

TEST(Conversion, TrueColorsAreMatchedAgainstTheDestinationTable) {
    const Block to(colors({{255, 0, 0}, {96, 96, 96}, {0, 0, 0}}));
    const Bytes pixels = colors({{250, 0, 9}, {98, 100, 96}, {3, 2, 1}, {90, 96, 96}});
    EXPECT_EQ(converted(pixels, {4, 1, 24, 8, 0, to.handle, 3}), (Bytes{0, 1, 2, 0}));
    EXPECT_EQ(converted(pixels, {4, 1, 24, 4, 0, to.handle, 3}), (Bytes{0x01, 0x20, 0, 0}));
    EXPECT_EQ(converted(pixels, {4, 1, 24, 1, 0, to.handle, 3}), (Bytes{0x40, 0, 0, 0}));
    // The count limits the search, and a source table plays no part.
    EXPECT_EQ(converted(pixels, {4, 1, 24, 8, to.handle, to.handle, 1}), Bytes(4, 0));
    EXPECT_EQ(converted({96, 96, 96, 255}, {1, 1, 32, 8, 0, to.handle, 3}), (Bytes{1, 0, 0, 0}));
}

TEST(Conversion, TrueColorsWithoutATableKeepTheirOwnBytes) {
    const Bytes pixels32 = {1, 2, 3, 77, 4, 5, 6, 8};
    EXPECT_EQ(converted({1, 2, 3, 9}, {1, 1, 24, 24}), (Bytes{1, 2, 3, 0}));
    EXPECT_EQ(converted({1, 2, 3, 9}, {1, 1, 24, 32}), (Bytes{1, 2, 3, 0}));
    EXPECT_EQ(converted(pixels32, {2, 1, 32, 24}), (Bytes{1, 2, 3, 4, 5, 6, 0, 0}));
    EXPECT_EQ(converted(pixels32, {2, 1, 32, 32}), pixels32);
    // The value's low bits: none at 24, the fourth byte at 32.
    EXPECT_EQ(converted({255, 255, 255, 255}, {1, 1, 24, 8}), Bytes(4, 0));
    EXPECT_EQ(converted(pixels32, {2, 1, 32, 8}), (Bytes{77, 8, 0, 0}));
    EXPECT_EQ(converted(pixels32, {2, 1, 32, 4}), (Bytes{0xD8, 0, 0, 0}));
    EXPECT_EQ(converted(pixels32, {2, 1, 32, 1}), (Bytes{0x80, 0, 0, 0}));
}

TEST(Conversion, TrueColorsDoNotUseATableAtTrueColorDepths) {
    const Block to(colors({{255, 0, 0}}));
    EXPECT_EQ(converted({1, 2, 3, 9}, {1, 1, 32, 32, 0, to.handle, 1}), (Bytes{1, 2, 3, 9}));
    EXPECT_EQ(converted({1, 2, 3, 9}, {1, 1, 24, 24, 0, to.handle, 1}), (Bytes{1, 2, 3, 0}));
}

TEST(Conversion, RowsThatTheBlockLacksReadAsZero) {
    const Block table(kTwoColors);
    const Bytes black = colors({{10, 20, 30}});
    EXPECT_EQ(converted({0xFF}, {1, 3, 1, 24, table.handle}),
              padded({colors({{200, 100, 0}}), black, black}));
    EXPECT_EQ(converted({9, 8}, {1, 2, 24, 32}), (Bytes{9, 8, 0, 0, 0, 0, 0, 0}));
}

TEST(Conversion, OfNoPixelsIsAnEmptyBlock) {
    EXPECT_EQ(converted({1, 2, 3, 4}, {0, 5, 8, 24}), Bytes());
    EXPECT_EQ(converted({1, 2, 3, 4}, {5, 0, 8, 24}), Bytes());
    EXPECT_EQ(converted({1, 2, 3, 4}, {4, 1, 8, 0}), Bytes());
}

TEST(Conversion, OtherDepthsReadAsZeroAndStoreNothing) {
    const Block table(kTwoColors);
    EXPECT_EQ(converted({255, 255, 255, 255}, {4, 1, 8, 16, table.handle}), Bytes(8, 0));
    EXPECT_EQ(converted({255, 255, 255, 255}, {4, 1, 24, 2, 0, table.handle, 2}), Bytes(4, 0));
    EXPECT_EQ(converted({255, 255, 255, 255}, {2, 1, 2, 24, table.handle}),
              (Bytes{10, 20, 30, 10, 20, 30, 0, 0}));
    EXPECT_EQ(converted({255, 255, 255, 255}, {2, 1, 16, 8}), Bytes(4, 0));
}

TEST(Conversion, ATableWithoutAMapIsNotUsedAtDepth24And32) {
    const Block table(kTwoColors);
    const Bytes pixels = {1, 2, 3, 4, 0, 0, 0, 1};
    EXPECT_EQ(converted(pixels, {2, 1, 32, 32, 0, table.handle, 2}), pixels);
    EXPECT_EQ(converted(pixels, {2, 1, 32, 24, 0, table.handle, 2}),
              (Bytes{1, 2, 3, 0, 0, 0, 0, 0}));
    EXPECT_EQ(converted(pixels, {2, 1, 24, 32, 0, table.handle, 2}),
              (Bytes{1, 2, 3, 0, 4, 0, 0, 0}));
}

TEST(Conversion, RefusesZeroHandlesAndImpossibleSizes) {
    const Block bits(Bytes{1, 2, 3, 4});
    EXPECT_EQ(convert(0, {4, 1, 8, 8}), 0u);
    EXPECT_EQ(convert(0, {0, 0, 8, 8}), 0u);
    EXPECT_EQ(convert(bits.handle, {0x08000000, 1, 1, 32}), 0u);
    EXPECT_EQ(convert(bits.handle, {32768, 32768, 1, 32}), 0u);
    EXPECT_EQ(convert(bits.handle, {65536, 65536, 8, 1}), 0u);
    EXPECT_EQ(convert(bits.handle, {4, 1, -8, 8}), 0u);
    EXPECT_EQ(convert(bits.handle, {4, 1, 8, -8}), 0u);
}

TEST(Conversion, WithoutMemoryForTheResultIsZero) {
    const Block bits(Bytes{1, 2, 3, 4});
    const Block table(support::repeated({1, 2, 3}, 256));
    CapturedText output(stdout);
    const FailingCall failing("calloc");
    EXPECT_EQ(convert(bits.handle, {4, 1, 8, 24, table.handle}), 0u);
    EXPECT_TRUE(failing.happened());
}

TEST(Conversion, WithoutMemoryForTheMapStoresValuesAsTheyAre) {
    const Block bits(Bytes{1, 2, 3, 4});
    const Block table(support::repeated({1, 2, 3}, 256));
    CapturedText output(stdout);
    const FailingCall failing("calloc", 2);
    EXPECT_EQ(taken(convert(bits.handle, {4, 1, 8, 8, table.handle})), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(failing.happened());
}

// --- Texts ---

const std::string kAllocated = "Allocated 24 bytes of new memory for the destination bitmap\n";
const std::string kDotsFollow = "Converted bits. Each (.) represents one scan line\n";
const std::string kComplete = "\nColor resolution conversion complete\n";

std::string textOfConversion(int debugLevel, const Conversion& c) {
    const DebugLevel level(debugLevel);
    const Block bits(Bytes(16, 0));
    CapturedText output(stdout);
    CapturedText errors(stderr);
    const Block result(convert(bits.handle, c));
    EXPECT_EQ(output.text(), "");
    return errors.text();
}

TEST(ConversionText, DependsOnTheDebugLevel) {
    const Conversion c = {3, 2, 8, 24};
    EXPECT_EQ(textOfConversion(0, c), "");
    for (const int level : {1, 2, -1, -32768})
        EXPECT_EQ(textOfConversion(level, c), kAllocated + kDotsFollow + ".." + kComplete) << level;
    EXPECT_EQ(textOfConversion(3, c), kAllocated + kComplete);
    for (const int level : {4, 32767})
        EXPECT_EQ(textOfConversion(level, c),
                  kAllocated + "(0,0): (1,0): (2,0): (0,1): (1,1): (2,1): " + kComplete)
            << level;
}

TEST(ConversionText, HasADotForEveryRowOfAnEmptyOneToo) {
    EXPECT_EQ(textOfConversion(1, {0, 3, 8, 24}),
              "Allocated 0 bytes of new memory for the destination bitmap\n" + kDotsFollow + "..." +
                  kComplete);
    EXPECT_EQ(textOfConversion(1, {12, 1, 8, 16}), kAllocated + kDotsFollow + "." + kComplete);
    EXPECT_EQ(
        textOfConversion(4, {2, 1, 8, 2}),
        "Allocated 4 bytes of new memory for the destination bitmap\n(0,0): (1,0): " + kComplete);
}

TEST(ConversionText, IsTheLastLineOnlyAfterAFailedAllocation) {
    for (const int level : {1, 2, 3, 4, -1})
        EXPECT_EQ(textOfConversion(level, {65536, 65536, 8, 8}), kComplete) << level;
    EXPECT_EQ(textOfConversion(0, {65536, 65536, 8, 8}), "");
}

// --- The single entry ---

struct Resolution {
    uint32_t width, height;
    int16_t sourceBits, destBits;
};

struct Resolved {
    Bytes bits, table;
    bool hasTable;
};

Resolved resolved(const Bytes& bits, const Resolution& r, const Bytes& table = {}) {
    const Block source(bits);
    const Block old = table.empty() ? Block() : Block(table);
    MemHandle handle = old.handle;
    Resolved result;
    result.bits = taken(rlChangeColorResolution(source.handle, r.width, r.height, r.sourceBits,
                                                r.destBits, &handle));
    result.hasTable = handle != 0;
    if (handle != 0 && handle != old.handle) result.table = taken(handle);
    EXPECT_EQ(source.contents(), bits);
    EXPECT_EQ(old.contents(), table);
    return result;
}

TEST(ColorResolution, From24To8BitsTakesAllOfTenColors) {
    const Bytes picture =
        padded({colors({{255, 255, 255}, {0, 0, 0}, {255, 0, 0}, {0, 0, 15}, {127, 63, 31}}),
                colors({{0, 0, 255}, {15, 15, 15}, {0, 15, 0}, {15, 0, 0}, {0, 255, 255}})});
    Bytes table = colors({{0, 0, 0},
                          {0, 0, 15},
                          {0, 0, 255},
                          {0, 15, 0},
                          {0, 255, 255},
                          {15, 0, 0},
                          {15, 15, 15},
                          {127, 63, 31},
                          {255, 0, 0},
                          {255, 255, 255}});
    table.resize(768, 0);
    const Resolved result = resolved(picture, {5, 2, 24, 8});
    EXPECT_EQ(result.table, table);
    EXPECT_EQ(result.bits, padded({{9, 0, 8, 1, 7}, {2, 6, 3, 5, 4}}));
}

TEST(ColorResolution, From8To24BitsLeavesNoTable) {
    Bytes table = colors({{1, 2, 3}, {40, 50, 60}});
    table.resize(768, 0);
    const Resolved result = resolved({1, 0, 2, 1}, {4, 1, 8, 24}, table);
    EXPECT_FALSE(result.hasTable);
    EXPECT_EQ(result.bits, colors({{40, 50, 60}, {1, 2, 3}, {0, 0, 0}, {40, 50, 60}}));
}

TEST(ColorResolution, From8To8BitsFindsTheFirstEqualEntryAndLeavesNoTable) {
    Bytes table = support::repeated({200, 10, 10}, 256);
    const auto set = [&](size_t index, uint8_t red, uint8_t green, uint8_t blue) {
        table[index * 3] = red;
        table[index * 3 + 1] = green;
        table[index * 3 + 2] = blue;
    };
    set(5, 1, 99, 1);
    set(9, 1, 99, 1);
    set(7, 100, 102, 104);
    set(20, 90, 90, 90);
    set(30, 110, 110, 110);
    const Resolved result = resolved({9, 5, 7, 255}, {4, 1, 8, 8}, table);
    EXPECT_FALSE(result.hasTable);
    EXPECT_EQ(result.bits, (Bytes{5, 5, 30, 0}));
}

TEST(ColorResolution, SameAndUpwardDepthsConvertDirectly) {
    const Bytes two = colors({{0, 0, 0}, {255, 255, 255}});
    EXPECT_EQ(resolved({0xA0, 0, 0, 0}, {4, 1, 1, 1}, two).bits, (Bytes{0xA0, 0, 0, 0}));
    EXPECT_EQ(resolved({0xA0, 0, 0, 0}, {4, 1, 1, 4}, two).bits, (Bytes{0x10, 0x10, 0, 0}));
    EXPECT_EQ(resolved({0xA0, 0, 0, 0}, {4, 1, 1, 8}, two).bits, (Bytes{1, 0, 1, 0}));
    EXPECT_FALSE(resolved({0xA0, 0, 0, 0}, {4, 1, 1, 8}, two).hasTable);
    EXPECT_EQ(resolved({1, 2, 3, 0}, {1, 1, 24, 32}).bits, (Bytes{1, 2, 3, 0}));
    EXPECT_FALSE(resolved({1, 2, 3, 0}, {1, 1, 24, 32}).hasTable);
}

TEST(ColorResolution, From32To24BitsReducesAnOldTableToNothing) {
    // 2 to the power 24 entries are wanted of 2 to the power 32: both wrap to none.
    const Resolved plain = resolved({1, 2, 3, 4}, {1, 1, 32, 24});
    EXPECT_FALSE(plain.hasTable);
    EXPECT_EQ(plain.bits, (Bytes{1, 2, 3, 0}));
    const Resolved withTable = resolved({1, 2, 3, 4}, {1, 1, 32, 24}, colors({{9, 9, 9}}));
    EXPECT_TRUE(withTable.hasTable);
    EXPECT_EQ(withTable.table, Bytes());
    EXPECT_EQ(withTable.bits, (Bytes{1, 2, 3, 0}));
}

TEST(ColorResolution, From32To8BitsWithoutATableKeepsTheFourthByte) {
    const Resolved result = resolved({1, 2, 3, 4}, {1, 1, 32, 8});
    EXPECT_FALSE(result.hasTable);
    EXPECT_EQ(result.bits, (Bytes{4, 0, 0, 0}));
}

TEST(ColorResolution, From8To6BitsReducesTheOldTableAsAPictureOneRowHigh) {
    // Depth 6 stores no pixels, but its table of 64 entries is made: three cells, in their order.
    Bytes table = colors({{255, 0, 0}, {0, 255, 0}});
    table.resize(768, 0);
    const Resolved result = resolved({1, 0, 2, 1}, {4, 1, 8, 6}, table);
    Bytes expected = colors({{0, 0, 0}, {0, 255, 0}, {255, 0, 0}});
    expected.resize(192, 0);
    EXPECT_EQ(result.table, expected);
    EXPECT_EQ(result.bits, Bytes(4, 0));
}

TEST(ColorResolution, To4BitsIsDitheredToEightOwnAndEightFixedColors) {
    const Resolved result =
        resolved(colors({{0, 255, 0}, {255, 0, 0}, {0, 255, 0}, {1, 2, 3}}), {4, 1, 24, 4});
    Bytes expected = colors({{0, 0, 0},
                             {0, 255, 0},
                             {255, 0, 0},
                             {255, 255, 255},
                             {255, 255, 0},
                             {255, 0, 255},
                             {0, 255, 255},
                             {255, 0, 0},
                             {0, 255, 0},
                             {0, 0, 255},
                             {0, 0, 0}});
    expected.resize(48, 0);
    EXPECT_EQ(result.table, expected);
    // The last pixel repeats the one before it.
    EXPECT_EQ(result.bits, (Bytes{0x12, 0x11, 0, 0}));
}

TEST(ColorResolution, To1BitIsDitheredToEightGreys) {
    const Bytes two = colors({{0, 0, 0}, {255, 255, 255}});
    const Resolved result = resolved({0x10, 0x11, 0, 0}, {4, 1, 4, 1}, two);
    EXPECT_EQ(result.table.size(), 24u);
    EXPECT_EQ(result.bits, (Bytes{0xB0, 0, 0, 0}));
}

TEST(ColorResolution, RefusesZeroAndNull) {
    const Block table(kTwoColors);
    const Block bits(Bytes{1, 2, 3, 4});
    MemHandle handle = table.handle;
    EXPECT_EQ(rlChangeColorResolution(0, 4, 1, 8, 24, &handle), 0u);
    EXPECT_EQ(rlChangeColorResolution(0, 0, 0, 24, 8, &handle), 0u);
    EXPECT_EQ(rlChangeColorResolution(0, 4, 1, 8, 1, &handle), 0u);
    EXPECT_EQ(handle, table.handle);
    EXPECT_EQ(rlChangeColorResolution(bits.handle, 4, 1, 8, 24, nullptr), 0u);
}

TEST(ColorResolution, ReplacesTheTableHandleEvenWhenItFails) {
    const Block table(support::repeated({1, 2, 3}, 256));
    const Block bits(Bytes{1, 2, 3, 4});
    MemHandle handle = table.handle;
    EXPECT_EQ(rlChangeColorResolution(bits.handle, 65536, 65536, 8, 8, &handle), 0u);
    EXPECT_EQ(handle, 0u);
    CapturedText output(stdout);
    for (int nth = 1;; ++nth) {
        const FailingCall failing("calloc", nth);
        handle = table.handle;
        const Block result(rlChangeColorResolution(bits.handle, 1, 1, 24, 8, &handle));
        EXPECT_NE(handle, table.handle) << nth;
        GlobalFree(handle);
        if (!failing.happened()) break;
    }
}

// --- Colour spaces ---

using Transform = void (*)(MemHandle, uint32_t, uint32_t);

Bytes transformed(Transform transform, const Bytes& pixels, uint32_t width, uint32_t height) {
    const Block block(pixels);
    transform(block.handle, width, height);
    return block.contents();
}

TEST(CmykToRgb, TakesTheGreaterOfInkAndBlackFromWhite) {
    EXPECT_EQ(transformed(rlCMYKtoRGB,
                          {0, 0, 0, 0, 255, 0, 0, 0, 10, 20, 30, 100, 10, 200, 100, 100}, 2, 2),
              (Bytes{255, 255, 255, 0, 255, 255, 155, 155, 155, 155, 55, 155,
                     // What lies behind the packed pixels stays.
                     10, 200, 100, 100}));
}

TEST(AlphaToRgb, DropsTheFourthByte) {
    EXPECT_EQ(transformed(rlALPHAtoRGB, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 1, 3),
              (Bytes{1, 2, 3, 5, 6, 7, 9, 10, 11, 10, 11, 12}));
}

TEST(PackedPixels, StopAtWidthTimesHeight) {
    EXPECT_EQ(transformed(rlALPHAtoRGB, {1, 2, 3, 4, 5, 6, 7, 8}, 1, 1),
              (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(transformed(rlCMYKtoRGB, {1, 2, 3, 4, 5, 6, 7, 8}, 0, 9),
              (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(transformed(rlCMYKtoRGB, {1, 2, 3, 4, 5, 6, 7, 8}, 9, 0),
              (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(PackedPixels, BytesMissingFromTheBlockReadAsZeroAndWhatLandsBehindItIsDropped) {
    // Pixel 1 is (5, 6, 0, 0), those behind it are all zeros.
    EXPECT_EQ(transformed(rlALPHAtoRGB, {1, 2, 3, 4, 5, 6}, 2, 1), (Bytes{1, 2, 3, 5, 6, 0}));
    EXPECT_EQ(transformed(rlCMYKtoRGB, {0, 0, 0, 0, 5, 6}, 2, 1),
              (Bytes{255, 255, 255, 250, 249, 255}));
    EXPECT_EQ(transformed(rlALPHAtoRGB, {1, 2, 3, 4, 5, 6, 7, 8}, 3, 1),
              (Bytes{1, 2, 3, 5, 6, 7, 0, 0}));
    EXPECT_EQ(transformed(rlCMYKtoRGB, {1, 2, 3, 4, 5, 6, 7, 8}, 0xFFFFFFFF, 0xFFFFFFFF),
              (Bytes{251, 251, 251, 247, 247, 247, 255, 255}));
    EXPECT_EQ(transformed(rlCMYKtoRGB, {}, 5, 5), Bytes());
    rlCMYKtoRGB(0, 4, 4);
    rlALPHAtoRGB(0, 4, 4);
}

TEST(RgbToCmyk, InvertsEveryPixelOfEveryRowAndClearsTheFourthByte) {
    EXPECT_EQ(transformed(rlRGB4toCMYK,
                          {0, 1, 2, 3, 255, 254, 253, 9, 10, 20, 30, 40, 1, 1, 1, 1, 8, 8}, 2, 2),
              (Bytes{255, 254, 253, 0, 0, 1, 2, 0, 245, 235, 225, 0, 254, 254, 254, 0, 8, 8}));
}

TEST(RgbToCmyk, StopsAtTheEndOfTheBlock) {
    EXPECT_EQ(transformed(rlRGB4toCMYK, {0, 1, 2, 3, 4, 5}, 2, 1),
              (Bytes{255, 254, 253, 0, 251, 250}));
    EXPECT_EQ(transformed(rlRGB4toCMYK, {1, 2, 3, 4, 5}, 0, 7), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(transformed(rlRGB4toCMYK, {1, 2, 3, 4, 5}, 7, 0), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(transformed(rlRGB4toCMYK, {1, 2, 3, 4}, 1, 0xFFFFFFFF), (Bytes{254, 253, 252, 0}));
    rlRGB4toCMYK(0, 4, 4);
}

}  // namespace
