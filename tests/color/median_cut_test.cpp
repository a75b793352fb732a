#include "color/median_cut.h"

#include <tivar/color.h>

#include <algorithm>

#include "support/captured_text.h"
#include "support/color_bitmaps.h"
#include "support/failing_call.h"
#include "support/random_numbers.h"

namespace {

using support::Block;
using support::Bytes;
using support::CapturedText;
using support::colors;
using support::DebugLevel;
using support::FailingCall;
using support::padded;
using support::repeated;
using tivar::ColorBox;
using tivar::ColorEntry;
using tivar::kAxisBlue;
using tivar::kAxisGreen;
using tivar::kAxisRed;

constexpr uint16_t cell(int red, int green, int blue) {
    return static_cast<uint16_t>(red << 10 | green << 5 | blue);
}

// --- Reduction from end to end ---

struct Reduction {
    Bytes table;
    uint16_t count;
};

Reduction reduced(const Bytes& bits, uint16_t width, uint16_t height, uint16_t wanted) {
    const Block block(bits);
    Reduction result = {{}, wanted};
    result.table = support::taken(rlReduceColorTable(block.handle, width, height, &result.count));
    EXPECT_EQ(block.contents(), bits);
    return result;
}

TEST(ColorReduction, FewerColorsThanWantedAreTakenAsTheyAreInCellOrder) {
    const Bytes picture = padded({colors({{255, 255, 255}, {8, 0, 0}, {7, 7, 7}}),
                                  colors({{0, 8, 0}, {0, 0, 8}, {255, 255, 255}})});
    const Reduction result = reduced(picture, 3, 2, 6);
    EXPECT_EQ(result.count, 5);
    // As many entries as were wanted; those behind the produced ones stay black.
    EXPECT_EQ(result.table,
              colors({{0, 0, 0}, {0, 0, 15}, {0, 15, 0}, {15, 0, 0}, {255, 255, 255}, {0, 0, 0}}));
}

TEST(ColorReduction, KeepsFiveBitsOfEachChannel) {
    EXPECT_EQ(reduced(colors({{255, 255, 255}}), 1, 1, 2).table,
              colors({{255, 255, 255}, {0, 0, 0}}));
    EXPECT_EQ(reduced(colors({{248, 249, 254}}), 1, 1, 2).count, 1);
    EXPECT_EQ(reduced(colors({{248, 249, 254}}), 1, 1, 2).table,
              colors({{255, 255, 255}, {0, 0, 0}}));
    EXPECT_EQ(reduced(colors({{7, 7, 7}}), 1, 1, 2).table, colors({{0, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(reduced(colors({{8, 100, 247}}), 1, 1, 2).table, colors({{15, 103, 247}, {0, 0, 0}}));
}

TEST(ColorReduction, AsManyColorsAsWantedAreCutAndLeaveOneSpareEntry) {
    // Reds 0, 8, 16, 24 of 31 are cut into 0, 8 | 16, 24. Sorting the first box once more takes the
    // entry behind it along: 8, 16 | 0, 24. That box is cut into 8 | 16 and its slot, the second,
    // stays free with the mean of what it held before; the third keeps the mean it had.
    const Bytes picture = colors({{192, 0, 0}, {64, 0, 0}, {0, 0, 0}, {128, 0, 0}});
    const Reduction result = reduced(picture, 4, 1, 4);
    EXPECT_EQ(result.count, 4);
    EXPECT_EQ(result.table, colors({{71, 0, 0}, {39, 0, 0}, {167, 0, 0}, {135, 0, 0}}));
}

TEST(ColorReduction, OneWantedColorIsTheMeanOfAll) {
    // Red 31 three times, 0 once: 93 / 4 = 23; green 8 once: 2; blue 0.
    const Bytes picture = colors({{255, 64, 0}, {255, 0, 0}, {255, 0, 0}, {0, 0, 0}});
    const Reduction result = reduced(picture, 4, 1, 1);
    EXPECT_EQ(result.count, 1);
    EXPECT_EQ(result.table, colors({{191, 23, 0}}));
}

TEST(ColorReduction, ASlotThatWasNeverUsedIsBlack) {
    const Reduction result =
        reduced(colors({{255, 64, 0}, {255, 0, 0}, {255, 0, 0}, {0, 0, 0}}), 4, 1, 2);
    EXPECT_EQ(result.count, 2);
    EXPECT_EQ(result.table, colors({{191, 23, 0}, {0, 0, 0}}));
}

TEST(ColorReduction, MoreThan65535PixelsOfAColorCountAs65535) {
    // 135600 pixels, 70000 of them bright: 31 x 65535 / 131070 = 15, where true counts give 16.
    Bytes picture = repeated(Bytes{248, 0, 0}, 70000);
    picture.resize(300 * 3 * 452, 0);
    EXPECT_EQ(reduced(picture, 300, 452, 1).table, colors({{127, 0, 0}}));
}

TEST(ColorReduction, RowsArePaddedToFourBytes) {
    const Bytes picture = {255, 0, 0, 99, 0, 255, 0, 99};
    EXPECT_EQ(reduced(picture, 1, 2, 3).table, colors({{0, 255, 0}, {255, 0, 0}, {0, 0, 0}}));
}

TEST(ColorReduction, AnEmptyPictureHasNoColors) {
    EXPECT_EQ(reduced({}, 0, 5, 3).count, 0);
    EXPECT_EQ(reduced({}, 5, 0, 3).count, 0);
    EXPECT_EQ(reduced({}, 0, 0, 3).table, Bytes(9, 0));
}

TEST(ColorReduction, NoColorsWantedGivesAnEmptyTable) {
    const Reduction result = reduced(colors({{255, 0, 0}}), 1, 1, 0);
    EXPECT_EQ(result.count, 0);
    EXPECT_EQ(result.table, Bytes());
}

TEST(ColorReduction, MissingPixelsCountAsBlack) {
    EXPECT_EQ(reduced({}, 2, 2, 2).count, 1);
    const Reduction cutPixel = reduced({255, 255}, 1, 1, 2);
    EXPECT_EQ(cutPixel.count, 1);
    EXPECT_EQ(cutPixel.table, colors({{255, 255, 0}, {0, 0, 0}}));
    const Reduction cutRow = reduced({255, 0, 0, 255, 0, 0}, 2, 2, 3);
    EXPECT_EQ(cutRow.count, 2);
    EXPECT_EQ(cutRow.table, colors({{0, 0, 0}, {255, 0, 0}, {0, 0, 0}}));
}

TEST(ColorReduction, RefusesZeroAndNull) {
    uint16_t count = 7;
    EXPECT_EQ(rlReduceColorTable(0, 4, 4, &count), 0u);
    EXPECT_EQ(rlReduceColorTable(0, 0, 0, &count), 0u);
    EXPECT_EQ(count, 7);
    const Block block(colors({{1, 2, 3}}));
    EXPECT_EQ(rlReduceColorTable(block.handle, 1, 1, nullptr), 0u);
}

TEST(ColorReduction, WithoutMemoryGivesNoTableOrABlackOneWithTheWantedCount) {
    const Block block(colors({{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}));
    // Table, context, histogram, boxes, slots, colour list; nothing else is asked for.
    for (int nth = 1; nth <= 7; ++nth) {
        CapturedText output(stdout);
        const FailingCall failing("calloc", nth);
        uint16_t count = 3;
        const Block table(rlReduceColorTable(block.handle, 4, 1, &count));
        EXPECT_EQ(count, 3) << nth;
        EXPECT_EQ(failing.happened(), nth <= 6) << nth;
        if (nth == 1) {
            EXPECT_EQ(table.handle, 0u);
        } else if (nth <= 6) {
            EXPECT_EQ(table.contents(), Bytes(9, 0)) << nth;
        } else {
            EXPECT_NE(table.contents(), Bytes(9, 0));
        }
    }
}

TEST(ColorReduction, PrintsItsTableWhenTheDebugLevelIsNotZero) {
    const std::string expected =
        "Color Reduction in Process...24bit -> 3 colors\n"
        "  -new color table size: 2\n"
        "   color 0: [0, 15, 0]\n"
        "   color 1: [255, 0, 15]\n";
    for (const int level : {0, 1, 2, 3, 4, -1}) {
        const DebugLevel guard(level);
        CapturedText output(stdout);
        CapturedText errors(stderr);
        reduced(colors({{255, 0, 8}, {0, 8, 0}}), 2, 1, 3);
        EXPECT_EQ(errors.text(), level == 0 ? "" : expected) << level;
        EXPECT_EQ(output.text(), "") << level;
    }
}

// --- Context and accumulation ---

TEST(ColorContext, IsAZeroFilledRecord) {
    const MemHandle context = tivar::InitColorLib();
    EXPECT_EQ(support::blockContents(context), Bytes(sizeof(tivar::ColorContext), 0));
    if (sizeof(void*) == 4) {
        EXPECT_EQ(GlobalSize(context), 24u);
    }
    EXPECT_EQ(tivar::TermColorLib(context), 0);
    EXPECT_EQ(tivar::TermColorLib(0), 0);
    const MemHandle noMemory = GlobalPointerToHandle(nullptr, sizeof(tivar::ColorContext));
    EXPECT_EQ(tivar::TermColorLib(noMemory), -1);
    GlobalFree(noMemory);
}

// Runs one pass over a row of pixels; the count that it leaves.
uint16_t countedRow(const Bytes& row, uint32_t flags, Bytes& table, MemHandle context,
                    uint16_t wanted = 4) {
    uint16_t count = wanted;
    table.assign(12, 0);
    EXPECT_EQ(tivar::direct_indexed(row.data(), static_cast<uint32_t>(row.size()),
                                    static_cast<uint16_t>(row.size() / 3), 1, &count, flags,
                                    table.data(), context),
              0);
    return count;
}

TEST(ColorContext, AccumulatesPicturesUntilATableIsWanted) {
    const MemHandle context = tivar::InitColorLib();
    Bytes table;
    // Without a table the histogram stays, whatever the other flag says.
    EXPECT_EQ(countedRow(colors({{255, 0, 0}}), tivar::kReduceKeepHistogram, table, context), 0);
    EXPECT_EQ(countedRow(colors({{0, 255, 0}}), 0, table, context), 0);
    EXPECT_EQ(table, Bytes(12, 0));
    const uint32_t both = tivar::kReduceWantTable | tivar::kReduceKeepHistogram;
    EXPECT_EQ(countedRow(colors({{0, 0, 255}}), both, table, context), 3);
    EXPECT_EQ(table, colors({{0, 0, 255}, {0, 255, 0}, {255, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(countedRow(colors({{0, 0, 255}}), tivar::kReduceWantTable, table, context), 3);
    EXPECT_EQ(table, colors({{0, 0, 255}, {0, 255, 0}, {255, 0, 0}, {0, 0, 0}}));
    // The pass before did not keep the histogram.
    EXPECT_EQ(countedRow(colors({{255, 255, 0}}), both, table, context), 1);
    EXPECT_EQ(table, colors({{255, 255, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(tivar::TermColorLib(context), 0);
}

TEST(ColorContext, CanCutMoreThanOnce) {
    const MemHandle context = tivar::InitColorLib();
    Bytes table;
    const Bytes row = colors({{192, 0, 0}, {64, 0, 0}, {0, 0, 0}, {128, 0, 0}});
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(countedRow(row, tivar::kReduceWantTable, table, context), 4);
        EXPECT_EQ(table, colors({{71, 0, 0}, {39, 0, 0}, {167, 0, 0}, {135, 0, 0}}));
    }
    EXPECT_EQ(tivar::TermColorLib(context), 0);
}

TEST(ColorContext, KnowsWhatWasCutLast) {
    const MemHandle context = tivar::InitColorLib();
    Bytes table;
    // Four colours for three entries: one cut of them all.
    const Bytes row = colors({{192, 0, 0}, {64, 0, 0}, {0, 0, 0}, {128, 0, 0}});
    EXPECT_EQ(countedRow(row, tivar::kReduceWantTable, table, context, 3), 3);
    const auto* record = static_cast<const tivar::ColorContext*>(GlobalLock(context));
    EXPECT_EQ(record->slot, 0);
    EXPECT_EQ(record->first, 0);
    EXPECT_EQ(record->last, 3);
    EXPECT_EQ(record->cut, 1);
    EXPECT_EQ(tivar::TermColorLib(context), 0);
}

TEST(ColorContext, TakesAllItsBlocksAlong) {
    const long blocks = support::liveBlocks;
    const MemHandle context = tivar::InitColorLib();
    Bytes table;
    const Bytes row = colors({{192, 0, 0}, {64, 0, 0}, {0, 0, 0}, {128, 0, 0}});
    countedRow(row, tivar::kReduceKeepHistogram, table, context);
    EXPECT_GT(support::liveBlocks, blocks + 1);
    EXPECT_EQ(tivar::TermColorLib(context), 0);
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(ColorContext, WithoutItThereIsNoReduction) {
    const Bytes row = colors({{1, 2, 3}});
    uint16_t count = 4;
    Bytes table(12, 0x55);
    EXPECT_EQ(tivar::direct_indexed(row.data(), 3, 1, 1, &count, 3, table.data(), 0), -1);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(table, Bytes(12, 0x55));
}

TEST(ColorContext, WithoutMemoryForItsHistogramThereIsNone) {
    const MemHandle context = tivar::InitColorLib();
    const Bytes row = colors({{1, 2, 3}});
    uint16_t count = 4;
    Bytes table(12, 0x55);
    {
        const CapturedText message(stdout);
        const FailingCall failing("calloc");
        EXPECT_EQ(tivar::direct_indexed(row.data(), 3, 1, 1, &count, 3, table.data(), context), -1);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(table, Bytes(12, 0x55));
    EXPECT_EQ(tivar::TermColorLib(context), 0);
}

// --- Steps ---

ColorBox described(const std::vector<ColorEntry>& list, uint16_t first, uint16_t last) {
    ColorBox box;
    std::fill_n(reinterpret_cast<uint8_t*>(&box), sizeof box, uint8_t{0xEE});
    tivar::getCRectData(&box, list.data(), first, last);
    return box;
}

TEST(BoxDescription, HoldsRangeTotalMinimaMaximaAndWeightedMeans) {
    const std::vector<ColorEntry> list = {{cell(31, 31, 31), 9},
                                          {cell(4, 20, 1), 3},
                                          {cell(10, 2, 1), 1},
                                          {cell(5, 7, 30), 2},
                                          {cell(0, 0, 0), 9}};
    const ColorBox box = described(list, 1, 3);
    EXPECT_EQ(box.first, 1);
    EXPECT_EQ(box.last, 3);
    EXPECT_EQ(box.total, 6u);
    EXPECT_EQ(box.ranges[0].min, 4);
    EXPECT_EQ(box.ranges[0].max, 10);
    EXPECT_EQ(box.ranges[1].min, 2);
    EXPECT_EQ(box.ranges[1].max, 20);
    EXPECT_EQ(box.ranges[2].min, 1);
    EXPECT_EQ(box.ranges[2].max, 30);
    EXPECT_EQ(box.axis, kAxisBlue);
    EXPECT_EQ(box.means[0], 5);   // 32 / 6
    EXPECT_EQ(box.means[1], 12);  // 76 / 6
    EXPECT_EQ(box.means[2], 10);  // 64 / 6
}

TEST(BoxDescription, OfEqualRangesTheEarlierAxisIsTaken) {
    const auto axisOf = [](int red, int green, int blue) {
        return described({{cell(0, 0, 0), 1}, {cell(red, green, blue), 1}}, 0, 1).axis;
    };
    EXPECT_EQ(axisOf(0, 0, 0), kAxisRed);
    EXPECT_EQ(axisOf(5, 5, 5), kAxisRed);
    EXPECT_EQ(axisOf(5, 6, 6), kAxisGreen);
    EXPECT_EQ(axisOf(5, 6, 7), kAxisBlue);
    EXPECT_EQ(axisOf(5, 4, 6), kAxisBlue);
    EXPECT_EQ(axisOf(5, 4, 5), kAxisRed);
}

TEST(BoxDescription, SumsDoNotWrap) {
    std::vector<ColorEntry> list;
    for (int i = 0; i < 2400; ++i) list.push_back({cell(31, 31, 31), 65535});
    const ColorBox box = described(list, 0, 2399);
    EXPECT_EQ(box.total, 2400u * 65535u);
    EXPECT_EQ(box.means[0], 31);  // the sum 4875804000 passes 32 bits
}

TEST(BoxDescription, ABoxWithoutPixelsHasZeroMeans) {
    const ColorBox box = described({{cell(3, 4, 5), 0}}, 0, 0);
    EXPECT_EQ(box.total, 0u);
    for (const uint8_t mean : box.means) EXPECT_EQ(mean, 0);
}

TEST(BoxToSplit, HasTheGreatestTotalOfTheBoxesThatMayBeSplit) {
    std::vector<ColorBox> boxes(5);
    const uint32_t totals[] = {5, 9, 9, 50, 60};
    for (size_t i = 0; i < 5; ++i) boxes[i].total = totals[i];
    const auto chosen = [&](std::vector<uint16_t> slots) {
        return tivar::GetMaxHistSum(boxes.data(), slots.data(),
                                    static_cast<uint16_t>(slots.size()));
    };
    EXPECT_EQ(chosen({0, 1, 2, 65534, 65535}), 1);
    EXPECT_EQ(chosen({0, 65534, 2, 3, 65535}), 3);
    EXPECT_EQ(chosen({7, 32768, 2}), 2);
    EXPECT_EQ(chosen({0, 1, 2}), 1);
    EXPECT_EQ(chosen({65535, 65534, 65535}), 0);
    EXPECT_EQ(chosen({}), 0);
    boxes[1].total = 0;
    EXPECT_EQ(chosen({65535, 1}), 0);
}

using Cells = std::vector<uint16_t>;

// Cells after a sort of `count` of them from the front.
Cells sorted(const Cells& cells, uint8_t axis, int32_t count) {
    std::vector<ColorEntry> list;
    uint16_t number = 100;
    for (const uint16_t c : cells) list.push_back({c, number++});
    tivar::HeapSort(list.data(), axis, count);
    Cells result;
    for (const ColorEntry& entry : list) {
        // Counts travel with their cells.
        EXPECT_EQ(cells[entry.count - 100u], entry.cell);
        result.push_back(entry.cell);
    }
    return result;
}

TEST(HeapSort, OrdersByOneComponent) {
    const uint16_t a = cell(1, 9, 5), b = cell(2, 7, 6), c = cell(3, 8, 4), zero = 0;
    EXPECT_EQ(sorted({c, a, b, zero}, kAxisRed, 3), (Cells{a, b, c, zero}));
    EXPECT_EQ(sorted({c, a, b, zero}, kAxisGreen, 3), (Cells{b, c, a, zero}));
    EXPECT_EQ(sorted({a, b, c, zero}, kAxisBlue, 3), (Cells{c, a, b, zero}));
    EXPECT_EQ(sorted({a, b, c, zero}, 7, 3), (Cells{c, a, b, zero}));
}

TEST(HeapSort, TakesTheEntryBehindTheRangeAlongWhileItBuildsTheHeap) {
    // 8 and 16 trade places with 0: see the spare entry's example above.
    EXPECT_EQ(sorted({0, 8, 16, 24}, kAxisBlue, 2), (Cells{8, 16, 0, 24}));
    EXPECT_EQ(sorted({3, 9}, kAxisBlue, 1), (Cells{9, 3}));
    EXPECT_EQ(sorted({9, 3}, kAxisBlue, 1), (Cells{9, 3}));
}

TEST(HeapSort, OfNothingChangesNothing) {
    // (0 - 2) / 2 is -1: no root at all.
    EXPECT_EQ(sorted({3, 9}, kAxisBlue, 0), (Cells{3, 9}));
}

Cells sifted(const Cells& cells, int32_t root, int32_t last) {
    std::vector<ColorEntry> list;
    for (const uint16_t c : cells) list.push_back({c, 1});
    tivar::AdjustHeap(list.data(), kAxisBlue, root, last);
    Cells result;
    for (const ColorEntry& entry : list) result.push_back(entry.cell);
    return result;
}

TEST(AdjustHeap, ExchangesTheParentWithItsGreaterChild) {
    EXPECT_EQ(sifted({1, 5, 4}, 0, 2), (Cells{5, 1, 4}));
    EXPECT_EQ(sifted({1, 4, 5}, 0, 2), (Cells{5, 4, 1}));
    EXPECT_EQ(sifted({1, 2, 9, 3, 4, 8, 7}, 0, 6), (Cells{9, 2, 8, 3, 4, 1, 7}));
    EXPECT_EQ(sifted({1, 2, 9, 3, 4, 8, 7}, 1, 6), (Cells{1, 4, 9, 3, 2, 8, 7}));
}

TEST(AdjustHeap, OfEqualChildrenTakesTheRightOne) {
    const Cells cells = {cell(0, 0, 1), cell(1, 0, 5), cell(2, 0, 5)};
    EXPECT_EQ(sifted(cells, 0, 2), (Cells{cells[2], cells[1], cells[0]}));
}

TEST(AdjustHeap, StopsAtTheLastIndexAndAtAParentThatIsNotSmaller) {
    EXPECT_EQ(sifted({1, 5, 9}, 0, 1), (Cells{5, 1, 9}));
    EXPECT_EQ(sifted({1, 5, 9}, 0, 0), (Cells{1, 5, 9}));
    EXPECT_EQ(sifted({9, 5, 9}, 0, 2), (Cells{9, 5, 9}));
}

TEST(AdjustHeap, IsARowOfExchangesWithTheGreaterChildTheRightOneOfEquals) {
    support::Random random(6);
    const auto green = [](const ColorEntry& entry) { return entry.cell >> 5 & 31; };
    for (int round = 0; round < 500; ++round) {
        std::vector<ColorEntry> list(1 + random() % 40);
        for (ColorEntry& entry : list)
            entry = {static_cast<uint16_t>(random() & 0x7FFF), static_cast<uint16_t>(random())};
        const auto last = static_cast<int32_t>(list.size() - 1);
        const auto root = static_cast<int32_t>(random() % list.size());
        std::vector<ColorEntry> wanted = list;
        for (size_t parent = static_cast<size_t>(root); 2 * parent + 1 < list.size();) {
            size_t child = 2 * parent + 1;
            if (child + 1 < list.size() && green(wanted[child]) <= green(wanted[child + 1]))
                ++child;
            if (green(wanted[parent]) >= green(wanted[child])) break;
            std::swap(wanted[parent], wanted[child]);
            parent = child;
        }
        tivar::AdjustHeap(list.data(), tivar::kAxisGreen, root, last);
        for (size_t i = 0; i < list.size(); ++i) {
            ASSERT_EQ(list[i].cell, wanted[i].cell);
            ASSERT_EQ(list[i].count, wanted[i].count);
        }
    }
}

TEST(ExchangeOfEntries, MovesCellAndCount) {
    ColorEntry a = {1, 2}, b = {3, 4};
    tivar::clrswap(&a, &b);
    EXPECT_EQ(a.cell, 3);
    EXPECT_EQ(a.count, 4);
    EXPECT_EQ(b.cell, 1);
    EXPECT_EQ(b.count, 2);
}

struct Keyed {
    uint16_t key, count;
};

// The cut of a box over all but the last entry, which lies behind it, and `skipped` in front of it.
uint16_t medianOf(const std::vector<Keyed>& entries, uint16_t skipped = 0) {
    std::vector<ColorEntry> list;
    for (const Keyed& e : entries) list.push_back({e.key, e.count});
    ColorBox box{};
    box.first = skipped;
    box.last = static_cast<uint16_t>(entries.size() - 2);
    box.axis = kAxisBlue;
    return tivar::find_median(list.data(), &box);
}

TEST(MedianCut, OfAtMostTwoEntriesIsTheFirst) {
    EXPECT_EQ(medianOf({{1, 1}, {0, 0}}), 0);
    EXPECT_EQ(medianOf({{1, 1}, {2, 99}, {0, 0}}), 0);
    EXPECT_EQ(medianOf({{9, 9}, {9, 9}, {1, 1}, {2, 99}, {0, 0}}, 2), 2);
}

TEST(MedianCut, IsWhereHalfTheCountIsReached) {
    EXPECT_EQ(medianOf({{1, 1}, {2, 1}, {3, 1}, {4, 1}, {0, 0}}), 1);
    EXPECT_EQ(medianOf({{1, 9}, {2, 1}, {3, 1}, {4, 1}, {0, 0}}), 0);
    EXPECT_EQ(medianOf({{1, 1}, {2, 1}, {3, 1}, {4, 9}, {0, 0}}), 3);
    // Half of 7 is 3.
    EXPECT_EQ(medianOf({{1, 1}, {2, 2}, {3, 4}, {0, 0}}), 1);
    EXPECT_EQ(medianOf({{0, 50}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {0, 0}}, 1), 2);
}

TEST(MedianCut, MovesUpOverEqualComponentsWhenThatIsNearerToHalf) {
    // Half is 9, reached at 1. Up: 10 at 2. Down: 9 - 6 = 3 at 0. 6 > 1: up.
    EXPECT_EQ(medianOf({{2, 6}, {2, 3}, {2, 1}, {9, 8}, {0, 0}}), 2);
}

TEST(MedianCut, MovesDownOverEqualComponentsOtherwise) {
    // Half is 5, reached at 2 with 6. Up: 10 at 3. Down: the counts of 1 and 0 come off: 4 at 0.
    EXPECT_EQ(medianOf({{2, 1}, {2, 1}, {2, 4}, {2, 4}, {0, 0}}), 0);
    // Half is 10, reached at 1 with 10. Up: 11 at 2. Down: 10 - 1 = 9 at 0. Equal distances: down.
    EXPECT_EQ(medianOf({{2, 1}, {2, 9}, {2, 1}, {9, 9}, {0, 0}}), 0);
}

TEST(MedianCut, WalksDownFromTheLastEntryOnlyPastAnEqualEntryBehindTheBox) {
    EXPECT_EQ(medianOf({{1, 1}, {1, 1}, {1, 1}, {2, 5}, {2, 0}}), 2);
    EXPECT_EQ(medianOf({{1, 1}, {1, 1}, {1, 1}, {2, 5}, {3, 0}}), 3);
}

// A box over list positions first to last, split in slot 1 of four.
struct Split {
    Split(uint16_t first, uint16_t last, uint16_t cut, std::vector<uint16_t> marks)
        : slots(std::move(marks)), boxes(slots.size()) {
        std::vector<ColorEntry> list;
        for (int i = 0; i < 10; ++i) list.push_back({cell(i, 0, 0), static_cast<uint16_t>(1 << i)});
        boxes[1].first = first;
        boxes[1].last = last;
        EXPECT_EQ(tivar::split(boxes.data(), 1, cut, &boxCount, slots.data(), list.data(),
                               static_cast<uint16_t>(slots.size())),
                  1);
    }

    void expectBox(size_t slot, int first, int last) const {
        EXPECT_EQ(boxes[slot].first, first);
        EXPECT_EQ(boxes[slot].last, last);
        EXPECT_EQ(boxes[slot].ranges[0].min, first);
        EXPECT_EQ(boxes[slot].ranges[0].max, last);
        EXPECT_EQ(boxes[slot].total, (2u << last) - (1u << first));
    }

    std::vector<uint16_t> slots;
    std::vector<ColorBox> boxes;
    uint16_t boxCount = 5;
};

constexpr uint16_t kFree = 65535, kSingle = 65534;

TEST(BoxSplit, PutsTheTwoPartsIntoTheLowestFreeSlots) {
    const Split split(2, 7, 4, {0, 1, kFree, 3, kFree, kFree});
    split.expectBox(2, 2, 4);
    split.expectBox(4, 5, 7);
    EXPECT_EQ(split.slots, (std::vector<uint16_t>{0, kFree, 2, 3, 4, kFree}));
    EXPECT_EQ(split.boxCount, 6);
}

TEST(BoxSplit, ACutBehindTheFirstEntryMakesTheLowerBoxASingleEntry) {
    const Split split(2, 5, 2, {kFree, 1, kFree});
    split.expectBox(0, 2, 2);
    split.expectBox(2, 3, 5);
    EXPECT_EQ(split.slots, (std::vector<uint16_t>{kSingle, kFree, 2}));
}

TEST(BoxSplit, ACutBeforeTheLastEntryMakesTheUpperBoxASingleEntry) {
    const Split split(2, 5, 4, {kFree, 1, kFree});
    split.expectBox(0, 2, 4);
    split.expectBox(2, 5, 5);
    EXPECT_EQ(split.slots, (std::vector<uint16_t>{0, kFree, kSingle}));
}

TEST(BoxSplit, ACutBehindTheLastEntryLeavesThatToTheUpperBox) {
    const Split split(2, 5, 5, {kFree, 1, kFree});
    split.expectBox(0, 2, 4);
    split.expectBox(2, 5, 5);
    EXPECT_EQ(split.slots, (std::vector<uint16_t>{0, kFree, kSingle}));
}

TEST(BoxSplit, ALowerBoxOfOneEntryMayBeSplitAgainWhenTheCutWasItsLastOne) {
    const Split two(2, 3, 3, {kFree, 1, kFree});
    two.expectBox(0, 2, 2);
    two.expectBox(2, 3, 3);
    EXPECT_EQ(two.slots, (std::vector<uint16_t>{0, kFree, kSingle}));
    // Such a box gives its entry to both parts.
    const Split one(4, 4, 4, {kFree, 1, kFree});
    one.expectBox(0, 4, 4);
    one.expectBox(2, 4, 4);
    EXPECT_EQ(one.slots, (std::vector<uint16_t>{kSingle, kFree, kSingle}));
}

TEST(BoxSplit, TheSlotBeingSplitIsNotFreeForItsParts) {
    const Split split(2, 7, 4, {0, 1, 2, kFree, kFree});
    split.expectBox(3, 2, 4);
    split.expectBox(4, 5, 7);
}

TEST(BoxSplit, WithoutAFreeSlotBothPartsGoIntoTheLastOne) {
    const Split split(2, 7, 4, {0, 1, 2});
    split.expectBox(2, 5, 7);
    EXPECT_EQ(split.slots, (std::vector<uint16_t>{0, kFree, 2}));
}

}  // namespace
