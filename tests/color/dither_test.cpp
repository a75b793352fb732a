#include "color/dither.h"

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
using support::repeated;
using support::taken;

const Bytes kMono = colors({{0, 0, 0},
                            {255, 255, 255},
                            {64, 64, 64},
                            {128, 128, 128},
                            {160, 160, 160},
                            {192, 192, 192},
                            {208, 208, 208},
                            {224, 224, 224}});
const Bytes kFixed = colors({{255, 255, 255},
                             {255, 255, 0},
                             {255, 0, 255},
                             {0, 255, 255},
                             {255, 0, 0},
                             {0, 255, 0},
                             {0, 0, 255},
                             {0, 0, 0}});

// The entries, followed by black up to n.
Bytes filledUp(Bytes entries, size_t n) {
    entries.resize(n * 3, 0);
    return entries;
}

Bytes joined(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// --- One line ---

struct Lines {
    Bytes row, next;
};

Lines dithered(Lines lines, const Bytes& table, uint32_t width) {
    _rlDitherOneLine(lines.row.data(), lines.next.empty() ? nullptr : lines.next.data(),
                     table.data(), width, static_cast<int16_t>(table.size() / 3));
    return lines;
}

TEST(DitheredLine, SpreadsTheErrorToTheRightAndBelow) {
    // Errors -1, -16, 0 at x = 0: t is 0, -7, 0 and q is 0, -2, 0. Then 0, -7, 0 at x = 1: t is -3,
    // q is 0. The last pixel spreads nothing.
    const Lines lines = dithered({colors({{100, 184, 50}, {101, 200, 50}, {9, 9, 9}}),
                                  colors({{100, 100, 100}, {100, 100, 100}, {100, 100, 100}})},
                                 colors({{101, 200, 50}}), 3);
    EXPECT_EQ(lines.row, repeated({101, 200, 50}, 3));
    EXPECT_EQ(lines.next, colors({{100, 92, 100}, {100, 96, 100}, {100, 97, 100}}));
}

TEST(DitheredLine, DivisionsTruncateTowardZero) {
    // One error e at x = 0 of two pixels; below are t - q and t - 3q.
    const struct {
        int error, below, right;
    } cases[] = {{-1, 0, 0},   {1, 0, 0},     {-16, -5, -1},  {16, 5, 1},   {-8, -2, 0},
                 {8, 2, 0},    {-15, -5, -3}, {15, 5, 3},     {-3, -1, -1}, {3, 1, 1},
                 {-7, -3, -3}, {100, 31, 7},  {-100, -31, -7}};
    for (const auto& c : cases) {
        const Lines lines = dithered({colors({{100 + c.error, 220, 0}, {0, 0, 0}}),
                                      colors({{100, 100, 100}, {100, 100, 100}})},
                                     colors({{100, 220, 0}}), 2);
        EXPECT_EQ(lines.next, colors({{100 + c.below, 100, 100}, {100 + c.right, 100, 100}}))
            << c.error;
    }
}

TEST(DitheredLine, TheErrorDecidesTheNextPixelsColor) {
    // 100 becomes 128: t is -12. 88 becomes 64: t is 10. 110 becomes 128; the last repeats it.
    EXPECT_EQ(dithered({repeated({100, 100, 100}, 4), {}}, kMono, 4).row,
              colors({{128, 128, 128}, {64, 64, 64}, {128, 128, 128}, {128, 128, 128}}));
}

TEST(DitheredLine, GivesTheFirstPixelNoNeighbourToTheLeftBelow) {
    // A byte in front of the next row is not touched.
    Bytes next = repeated({100, 100, 100}, 3);
    Bytes row = colors({{255, 200, 0}, {0, 200, 0}});
    const Bytes table = colors({{0, 200, 0}});
    _rlDitherOneLine(row.data(), next.data() + 3, table.data(), 2, 1);
    // t is 111 and q is 31.
    EXPECT_EQ(next, colors({{100, 100, 100}, {180, 100, 100}, {118, 100, 100}}));
}

TEST(DitheredLine, SumsAreHeldToABytesRange) {
    // Error 255: 111 to the right, 80 and 18 below; then error 255 again, and 49 below left.
    EXPECT_EQ(dithered({colors({{255, 200, 0}, {250, 200, 0}, {0, 0, 0}}),
                        colors({{200, 0, 0}, {250, 0, 0}, {200, 0, 0}})},
                       colors({{0, 200, 0}}), 3)
                  .next,
              colors({{255, 0, 0}, {255, 0, 0}, {218, 0, 0}}));
    EXPECT_EQ(dithered({colors({{0, 200, 0}, {5, 200, 0}, {0, 0, 0}}),
                        colors({{50, 0, 0}, {5, 0, 0}, {50, 0, 0}})},
                       colors({{255, 200, 0}}), 3)
                  .next,
              colors({{0, 0, 0}, {0, 0, 0}, {32, 0, 0}}));
}

TEST(DitheredLine, TheLastPixelRepeatsTheColorBeforeIt) {
    const Bytes table = colors({{255, 0, 0}, {0, 255, 0}});
    EXPECT_EQ(dithered({colors({{255, 0, 0}, {0, 255, 0}}), {}}, table, 2).row,
              repeated({255, 0, 0}, 2));
    EXPECT_EQ(dithered({colors({{0, 255, 0}, {255, 0, 0}}), {}}, table, 2).row,
              repeated({0, 255, 0}, 2));
}

TEST(DitheredLine, AOnePixelRowBecomesTheFirstEntry) {
    const Bytes table = colors({{255, 0, 0}, {0, 255, 0}});
    const Lines lines = dithered({colors({{0, 255, 0}}), colors({{7, 8, 9}})}, table, 1);
    EXPECT_EQ(lines.row, colors({{255, 0, 0}}));
    EXPECT_EQ(lines.next, colors({{7, 8, 9}}));
}

TEST(DitheredLine, KeepsGreyAndColorApart) {
    // Nothing suits a grey pixel here, so it becomes entry 0 with an error of its own.
    EXPECT_EQ(
        dithered({repeated({100, 100, 100}, 2), {}}, colors({{9, 200, 9}, {100, 100, 90}}), 2).row,
        repeated({9, 200, 9}, 2));
}

TEST(DitheredLine, RefusesNullAndEmptyRows) {
    Bytes row = {1, 2, 3}, next = {4, 5, 6};
    _rlDitherOneLine(row.data(), next.data(), kMono.data(), 0, 8);
    _rlDitherOneLine(row.data(), next.data(), nullptr, 1, 8);
    _rlDitherOneLine(nullptr, next.data(), kMono.data(), 1, 8);
    EXPECT_EQ(row, (Bytes{1, 2, 3}));
    EXPECT_EQ(next, (Bytes{4, 5, 6}));
}

// --- Tables ---

TEST(DitherTables, AreTheFixedOnes) {
    EXPECT_EQ(Bytes(std::begin(tivar::MonoTable), std::end(tivar::MonoTable)), kMono);
    EXPECT_EQ(Bytes(std::begin(tivar::must_have_colors), std::end(tivar::must_have_colors)),
              kFixed);
}

struct Picture {
    Bytes bits;
    uint32_t width, height;
    int16_t depth;
};

const Picture kThreeColors = {colors({{0, 255, 0}, {255, 0, 0}, {0, 255, 0}, {1, 2, 3}}), 4, 1, 24};
const Bytes kOwn = colors({{0, 0, 0}, {0, 255, 0}, {255, 0, 0}});

struct Choice {
    Bytes table;
    int count;
};

Choice chosen(const Picture& picture, int16_t destBits, MemHandle sourceTable = 0,
              MemHandle given = 0) {
    const Block bits(picture.bits);
    MemHandle table = given;
    uint16_t count = 999;
    EXPECT_EQ(rlDitherGetCT(bits.handle, picture.width, picture.height, picture.depth, destBits,
                            sourceTable, &table, &count),
              0);
    EXPECT_EQ(bits.contents(), picture.bits);
    return {table == given ? support::blockContents(table) : taken(table), count};
}

TEST(DitherTable, For1BitIsEightGreys) {
    const Choice choice = chosen(kThreeColors, 1);
    EXPECT_EQ(choice.count, 8);
    EXPECT_EQ(choice.table, kMono);
    EXPECT_EQ(chosen(kThreeColors, 0).count, 8);
    // 2 to the power 16 passes 16 bits and is 0.
    EXPECT_EQ(chosen(kThreeColors, 16).table, kMono);
}

TEST(DitherTable, For1BitIsTheCallersWhereThereIsOne) {
    const Block given(colors({{1, 2, 3}, {4, 5, 6}}));
    const Choice choice = chosen(kThreeColors, 1, 0, given.handle);
    EXPECT_EQ(choice.count, 2);
    EXPECT_EQ(choice.table, given.contents());
}

TEST(DitherTable, For4BitsIsThePicturesColorsThenTheFixedOnes) {
    const Choice choice = chosen(kThreeColors, 4);
    EXPECT_EQ(choice.count, 16);
    EXPECT_EQ(choice.table, filledUp(joined(kOwn, kFixed), 16));
}

TEST(DitherTable, For8BitsHas248OwnAnd8FixedColors) {
    const Choice choice = chosen(kThreeColors, 8);
    EXPECT_EQ(choice.count, 256);
    EXPECT_EQ(choice.table, filledUp(joined(kOwn, kFixed), 256));
    // Exactly 248 distinct colours are cut, and the fixed ones end the table.
    Bytes many;
    for (int i = 0; i < 248; ++i) many = joined(many, colors({{i / 8 * 8, i % 8 * 8, 128}}));
    const Choice full = chosen({many, 248, 1, 24}, 8);
    EXPECT_EQ(Bytes(full.table.end() - 24, full.table.end()), kFixed);
}

TEST(DitherTable, TakesTheColorsOfIndexedPicturesFromTheirTable) {
    const Block table(colors({{0, 0, 0}, {0, 255, 0}, {255, 0, 0}}));
    EXPECT_EQ(chosen({{1, 2, 0, 1}, 4, 1, 8}, 4, table.handle).table,
              filledUp(joined(kOwn, kFixed), 16));
}

TEST(DitherTable, OfEightEntriesHoldsTheFixedColorsOnly) {
    EXPECT_EQ(chosen(kThreeColors, 3).table, kFixed);
}

TEST(DitherTable, OfFourEntriesHoldsWhatFits) {
    // 4 - 8 wraps in 16 bits: every colour of the picture is wanted.
    const Choice choice = chosen(kThreeColors, 2);
    EXPECT_EQ(choice.count, 4);
    EXPECT_EQ(choice.table, joined(kOwn, colors({{255, 255, 255}})));
}

TEST(DitherTable, BeyondOneBitIgnoresAndReplacesTheCallersTable) {
    const Block given(colors({{1, 2, 3}}));
    EXPECT_EQ(chosen(kThreeColors, 4, 0, given.handle).table, filledUp(joined(kOwn, kFixed), 16));
}

// The reduction takes widths of 16 bits: it sees rows of 32769 pixels, the third of which crosses
// the byte that pads the first row. What the source holds there is no colour of the picture.
TEST(DitherTable, OfAVeryWidePictureKnowsNothingOfItsPadding) {
    constexpr uint32_t kWidth = 98305;
    Picture black = {Bytes(size_t{kWidth * 3 + 1} * 3, 0), kWidth, 3, 24};
    black.bits[kWidth * 3] = 0xFF;
    for (const int level : {0, 3}) {
        const DebugLevel debug(level);
        CapturedText errors(stderr);
        CapturedText output(stdout);
        EXPECT_EQ(chosen(black, 4).table, filledUp(joined({0, 0, 0}, kFixed), 16)) << level;
    }
}

TEST(DitherTable, RefusesZeroAndNull) {
    const Block bits(kThreeColors.bits);
    MemHandle table = 0;
    uint16_t count = 5;
    EXPECT_EQ(rlDitherGetCT(0, 4, 1, 24, 4, 0, &table, &count), -1);
    EXPECT_EQ(rlDitherGetCT(bits.handle, 4, 1, 24, 4, 0, nullptr, &count), -1);
    EXPECT_EQ(rlDitherGetCT(bits.handle, 4, 1, 24, 4, 0, &table, nullptr), -1);
    // No pixel would be read.
    EXPECT_EQ(rlDitherGetCT(0, 4, 1, 24, 1, 0, &table, &count), -1);
    EXPECT_EQ(rlDitherGetCT(0, 0, 0, 24, 4, 0, &table, &count), -1);
    EXPECT_EQ(table, 0u);
    EXPECT_EQ(count, 5);
}

// --- Whole bitmaps ---

struct Dithered {
    Bytes bits, table;
};

Dithered bitmap(const Picture& picture, int16_t destBits, MemHandle sourceTable = 0,
                MemHandle given = 0) {
    const Block bits(picture.bits);
    MemHandle table = given;
    Dithered result;
    result.bits = taken(rlDitherBitmap(bits.handle, picture.width, picture.height, picture.depth,
                                       destBits, sourceTable, &table));
    EXPECT_EQ(bits.contents(), picture.bits);
    result.table = table == given ? support::blockContents(table) : taken(table);
    return result;
}

TEST(DitheredBitmap, AGreyOf100BecomesAMixOf64And128) {
    // Row 0: 100, 88, 110 become 128, 64, 128. Row 1 starts as 95, 101, 96, 99; 95, 114, 90 become
    // 64, 128, 64. The last column repeats the one before it.
    const Dithered result = bitmap({repeated({100, 100, 100}, 8), 4, 2, 24}, 1);
    EXPECT_EQ(result.bits, (Bytes{0xB0, 0, 0, 0, 0x40, 0, 0, 0}));
    EXPECT_EQ(result.table, kMono);
}

TEST(DitheredBitmap, For1BitEachGreyStoresBit0OfItsIndex) {
    const struct {
        uint8_t grey, bits;
    } cases[] = {{0, 0},      {64, 0},     {160, 0},    {208, 0},
                 {255, 0xE0}, {128, 0xE0}, {192, 0xE0}, {224, 0xE0}};
    for (const auto& c : cases)
        EXPECT_EQ(bitmap({padded({Bytes(9, c.grey)}), 3, 1, 24}, 1).bits, (Bytes{c.bits, 0, 0, 0}))
            << int{c.grey};
}

TEST(DitheredBitmap, For1BitColorsAreTurnedToGreyFirst) {
    // (3 x 255 + 6 x 200) / 10 = 196 becomes 192, then t is 1 and 197 becomes 192 too;
    // (6 x 100 + 40) / 10 = 64.
    const Bytes picture = padded({colors({{255, 200, 0}, {255, 200, 0}, {0, 0, 0}}),
                                  colors({{0, 100, 40}, {0, 100, 40}, {0, 0, 0}})});
    EXPECT_EQ(bitmap({picture, 3, 2, 24}, 1).bits, (Bytes{0xE0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(DitheredBitmap, GivenTablesAreUsedAsTheyAre) {
    const Block blackWhite(colors({{0, 0, 0}, {255, 255, 255}}));
    const Dithered mono = bitmap({repeated({200, 200, 200}, 4), 4, 1, 24}, 1, 0, blackWhite.handle);
    // 200 becomes 255, -24 to the right: 176 becomes 255, -34: 166 becomes 255.
    EXPECT_EQ(mono.bits, (Bytes{0xF0, 0, 0, 0}));
    EXPECT_EQ(mono.table, blackWhite.contents());
    const Block redGreen(colors({{255, 0, 0}, {0, 255, 0}}));
    // Its sixteen entries end in black, which no coloured pixel takes.
    EXPECT_EQ(bitmap(kThreeColors, 4, 0, redGreen.handle).bits, (Bytes{0x10, 0x11, 0, 0}));
}

TEST(DitheredBitmap, OnTheLastRowNoErrorGoesDown) {
    const Block table(colors({{0, 0, 0}, {255, 255, 255}}));
    Bytes bits = padded({Bytes(9, 200)});
    bits.resize(24, 0x55);
    const Block source(bits);
    MemHandle handle = table.handle;
    const Bytes result = taken(rlDitherBitmap(source.handle, 3, 1, 24, 1, 0, &handle));
    EXPECT_EQ(result, (Bytes{0xE0, 0, 0, 0}));
    EXPECT_EQ(source.contents(), bits);
}

TEST(DitheredBitmap, To4BitsMatchesTheWorkingCopyExactly) {
    const Dithered result = bitmap(kThreeColors, 4);
    EXPECT_EQ(result.bits, (Bytes{0x12, 0x11, 0, 0}));
    EXPECT_EQ(result.table, filledUp(joined(kOwn, kFixed), 16));
}

TEST(DitheredBitmap, ANearlyGreyEntryIsNotFoundAgain) {
    // The colour (100, 100, 106) is diffused to entry 1, which is a grey query and no grey entry.
    const Block table(colors({{255, 0, 0}, {100, 102, 104}, {99, 99, 99}}));
    const Block bits(colors({{100, 100, 106}, {100, 100, 106}}));
    EXPECT_EQ(taken(rlDitherGivenCT(bits.handle, 2, 1, 24, 8, 0, table.handle, 3)),
              (Bytes{2, 2, 0, 0}));
}

TEST(DitheredBitmap, OfAVeryWidePictureKnowsNothingOfItsPadding) {
    constexpr uint32_t kWidth = 98305;
    Picture black = {Bytes(size_t{kWidth * 3 + 1} * 3, 0), kWidth, 3, 24};
    black.bits[kWidth * 3] = 0xFF;
    const Dithered result = bitmap(black, 4);
    EXPECT_EQ(result.table, filledUp(joined({0, 0, 0}, kFixed), 16));
    EXPECT_TRUE(support::sameBytes(result.bits, Bytes(size_t{49156} * 3, 0)));
}

TEST(DitheredBitmap, OfNoPixelsIsEmpty) {
    EXPECT_EQ(bitmap({{}, 0, 3, 24}, 4).bits, Bytes());
    EXPECT_EQ(bitmap({{}, 3, 0, 24}, 1).bits, Bytes());
    EXPECT_EQ(bitmap({{}, 3, 0, 24}, 4).table, filledUp(kFixed, 16));
}

TEST(DitheredBitmap, RefusesZeroAndNullAndImpossibleSizes) {
    const Block bits(kThreeColors.bits);
    const Block table(kFixed);
    MemHandle handle = table.handle;
    EXPECT_EQ(rlDitherBitmap(0, 4, 1, 24, 4, 0, &handle), 0u);
    EXPECT_EQ(rlDitherBitmap(0, 4, 1, 24, 1, 0, &handle), 0u);
    EXPECT_EQ(rlDitherBitmap(0, 0, 0, 24, 4, 0, &handle), 0u);
    EXPECT_EQ(handle, table.handle);
    EXPECT_EQ(rlDitherBitmap(bits.handle, 4, 1, 24, 4, 0, nullptr), 0u);
    EXPECT_EQ(rlDitherBitmap(bits.handle, 65536, 65536, 24, 4, 0, &handle), 0u);
    EXPECT_EQ(handle, table.handle);
    handle = 0;
    EXPECT_EQ(rlDitherBitmap(bits.handle, 65536, 65536, 24, 4, 0, &handle), 0u);
    EXPECT_EQ(handle, 0u);
}

TEST(DitheredBitmap, SurvivesEveryFailedAllocation) {
    for (const int16_t destBits : {int16_t{1}, int16_t{4}}) {
        for (int nth = 1;; ++nth) {
            const Block bits(kThreeColors.bits);
            CapturedText output(stdout);
            const FailingCall failing("calloc", nth);
            MemHandle table = 0;
            const Block result(rlDitherBitmap(bits.handle, 4, 1, 24, destBits, 0, &table));
            GlobalFree(table);
            if (failing.happened()) continue;
            EXPECT_NE(result.handle, 0u);
            break;
        }
    }
}

// --- A given table ---

Bytes given(const Picture& picture, int16_t destBits, const Bytes& entries, int16_t count) {
    const Block bits(picture.bits);
    const Block table(entries);
    const Bytes result = taken(rlDitherGivenCT(bits.handle, picture.width, picture.height,
                                               picture.depth, destBits, 0, table.handle, count));
    EXPECT_EQ(table.contents(), entries);
    return result;
}

TEST(GivenTable, IsSearchedForCountEntries) {
    const Bytes table = colors({{255, 0, 0}, {0, 255, 0}});
    EXPECT_EQ(given(kThreeColors, 8, table, 2), (Bytes{1, 0, 1, 1}));
    EXPECT_EQ(given(kThreeColors, 8, table, 1), (Bytes{0, 0, 0, 0}));
}

TEST(GivenTable, OfNoEntriesGivesIndexZero) {
    constexpr int16_t counts[] = {0, -1};
    for (const int16_t count : counts) {
        EXPECT_EQ(given(kThreeColors, 8, colors({{255, 0, 0}}), count), Bytes(4, 0));
        EXPECT_EQ(given(kThreeColors, 8, {}, count), Bytes(4, 0));
        // A wrapped block has nothing behind it that could be read.
        Bytes memory(1, 9);
        const Block bits(kThreeColors.bits);
        const Block wrapped(GlobalPointerToHandle(memory.data(), 1));
        EXPECT_EQ(taken(rlDitherGivenCT(bits.handle, 4, 1, 24, 8, 0, wrapped.handle, count)),
                  Bytes(4, 0));
    }
}

TEST(GivenTable, IsBlackFromItsEndOn) {
    const Picture greys = {repeated({20, 20, 20}, 4), 4, 1, 24};
    EXPECT_EQ(given(greys, 8, colors({{255, 255, 255}}), 2), (Bytes{1, 1, 1, 1}));
    EXPECT_EQ(given(greys, 8, colors({{255, 255, 255}}), 1), (Bytes{0, 0, 0, 0}));
}

TEST(GivenTable, TurnsRowsToGreyForA1BitTargetOnly) {
    // (3 x 200) / 10 = 60: a grey, but a colour at any other depth.
    const Picture red = {repeated({200, 0, 0}, 4), 4, 1, 24};
    const Bytes table = colors({{200, 0, 0}, {60, 60, 60}});
    EXPECT_EQ(given(red, 1, table, 2), (Bytes{0xF0, 0, 0, 0}));
    EXPECT_EQ(given(red, 8, table, 2), (Bytes{0, 0, 0, 0}));
}

TEST(GivenTable, ZeroHandlesAreRefused) {
    const Block bits(kThreeColors.bits);
    const Block table(kFixed);
    EXPECT_EQ(rlDitherGivenCT(0, 4, 1, 24, 4, 0, table.handle, 8), 0u);
    EXPECT_EQ(rlDitherGivenCT(bits.handle, 4, 1, 24, 4, 0, 0, 8), 0u);
    EXPECT_EQ(rlDitherGivenCT(bits.handle, 4, 1, 24, 1, 0, 0, 8), 0u);
    EXPECT_EQ(rlDitherGivenCT(bits.handle, 0, 0, 24, 4, 0, 0, 8), 0u);
    EXPECT_EQ(rlDitherGivenCT(0, 0, 0, 24, 4, 0, table.handle, 8), 0u);
    EXPECT_EQ(rlDitherGivenCT(bits.handle, 65536, 65536, 24, 4, 0, table.handle, 8), 0u);
}

// --- Texts ---

const std::string kDotsFollow = "Dithering...each(.) represents one scan line\n";
const std::string kTwoEntries =
    "Dithering to the following colortable:\ncolor 0: [255, 0, 0]\ncolor 1: [0, 255, 0]\n";

template <class Action>
std::string printed(int debugLevel, Action action) {
    const DebugLevel level(debugLevel);
    CapturedText errors(stderr);
    CapturedText output(stdout);
    action();
    const std::string text = output.text();
    EXPECT_EQ(errors.text().find("Dithering"), std::string::npos);
    return text;
}

const std::vector<std::pair<int, bool>> kLevels = {
    {1, true}, {2, true}, {-1, true}, {3, false}, {4, false}};

TEST(DitherText, ShowsTheTableAndADotForEachRow) {
    const Picture picture = {padded({Bytes(6, 9), Bytes(6, 9), Bytes(6, 9)}), 2, 3, 24};
    const Bytes table = colors({{255, 0, 0}, {0, 255, 0}});
    const auto dither = [&] { given(picture, 8, table, 2); };
    EXPECT_EQ(printed(0, dither), "");
    for (const auto& [level, dots] : kLevels)
        EXPECT_EQ(printed(level, dither), kTwoEntries + (dots ? kDotsFollow + "...\n" : ""))
            << level;
}

TEST(DitherText, OfAWholeDitherShowsTheTableUsed) {
    const Block table(colors({{255, 0, 0}, {0, 255, 0}}));
    const auto dither = [&] { bitmap(kThreeColors, 1, 0, table.handle); };
    EXPECT_EQ(printed(0, dither), "");
    for (const auto& [level, dots] : kLevels)
        EXPECT_EQ(printed(level, dither), kTwoEntries + (dots ? kDotsFollow + ".\n" : "")) << level;
    const std::string greys = printed(3, [] { bitmap(kThreeColors, 1); });
    EXPECT_NE(greys.find("color 2: [64, 64, 64]\n"), std::string::npos);
    EXPECT_NE(greys.find("color 7: [224, 224, 224]\n"), std::string::npos);
    EXPECT_EQ(greys.find("color 8"), std::string::npos);
}

TEST(DitherText, OfAChoiceIsTheTableOnly) {
    const Block table(colors({{255, 0, 0}, {0, 255, 0}}));
    const auto choose = [&] { chosen(kThreeColors, 1, 0, table.handle); };
    EXPECT_EQ(printed(0, choose), "");
    for (const auto& [level, dots] : kLevels) EXPECT_EQ(printed(level, choose), kTwoEntries);
    const std::string sixteen = printed(1, [] { chosen(kThreeColors, 4); });
    EXPECT_NE(sixteen.find("color 3: [255, 255, 255]\n"), std::string::npos);
    EXPECT_NE(sixteen.find("color 15: [0, 0, 0]\n"), std::string::npos);
    EXPECT_EQ(sixteen.find("color 16"), std::string::npos);
}

TEST(DitherText, HasADotForEveryRowOfAnEmptyPictureToo) {
    const auto dither = [] { given({{}, 0, 2, 24}, 8, colors({{255, 0, 0}, {0, 255, 0}}), 2); };
    EXPECT_EQ(printed(1, dither), kTwoEntries + kDotsFollow + "..\n");
}

}  // namespace
