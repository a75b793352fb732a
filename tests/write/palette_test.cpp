#include "write/palette.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <tivar/color.h>

#include <array>
#include <atomic>
#include <string>

#include "support/failing_call.h"
#include "support/memory_block.h"
#include "write/plain_picture.h"

namespace {

using support::PlainPicture;
using tivar::ColorTable;
using tivar::PaletteResult;
using tivar::Watch;
using Entries = std::vector<std::array<int, 3>>;

Entries entriesOf(const ColorTable& table) {
    Entries entries;
    for (uint32_t i = 0; i < table.count; ++i)
        entries.push_back({table.entries[i][0], table.entries[i][1], table.entries[i][2]});
    return entries;
}

struct Choice {
    PaletteResult result;
    ColorTable table;
    bool exact;
};

Choice choose(const PlainPicture& picture, uint32_t most, int threads = 1, bool dithered = false) {
    Choice choice{};
    Watch watch = support::unwatched();
    choice.result = tivar::choosePalette(picture.rows(), most, dithered, threads, watch,
                                         choice.table, choice.exact);
    EXPECT_EQ(watch.done, picture.height);
    return choice;
}

// count colours that differ, each on some pixels.
PlainPicture ofColors(uint32_t count, uint32_t width, uint32_t height) {
    PlainPicture picture(width, height);
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const int color = static_cast<int>(i % count);
        picture.set(i, color * 7 % 256, color / 16 % 256, color * 3 % 256);
    }
    return picture;
}

TEST(ChoosePalette, FewColoursAreThePaletteTheDarkestFirst) {
    PlainPicture picture(4, 1);
    picture.set(0, 255, 255, 255);
    picture.set(1, 0, 0, 255);  // luma 29070
    picture.set(2, 255, 0, 0);  // 76245
    picture.set(3, 0, 0, 0);
    const Choice choice = choose(picture, 256);
    EXPECT_EQ(choice.result, PaletteResult::kDone);
    EXPECT_TRUE(choice.exact);
    const Entries wanted = {{0, 0, 0}, {0, 0, 255}, {255, 0, 0}, {255, 255, 255}};
    EXPECT_EQ(entriesOf(choice.table), wanted);
}

TEST(ChoosePalette, EquallyDarkColoursAreOrderedByRed) {
    PlainPicture picture(2, 1);
    picture.set(0, 11, 1, 0);  // 11 * 299 + 587
    picture.set(1, 0, 0, 34);  // 34 * 114, which is as much
    const Entries wanted = {{0, 0, 34}, {11, 1, 0}};
    EXPECT_EQ(entriesOf(choose(picture, 16).table), wanted);
}

TEST(ChoosePalette, AsManyColoursAsAllowedAreExactAndOneMoreIsNot) {
    for (const uint32_t most : {1u, 2u, 16u, 255u, 256u}) {
        const Choice exact = choose(ofColors(most, 40, 30), most);
        EXPECT_TRUE(exact.exact) << most;
        EXPECT_EQ(exact.table.count, most);
        EXPECT_EQ(support::squaredError(ofColors(most, 40, 30), exact.table), 0) << most;
        const Choice reduced = choose(ofColors(most + 1, 40, 30), most);
        EXPECT_EQ(reduced.result, PaletteResult::kDone);
        EXPECT_FALSE(reduced.exact) << most;
        EXPECT_LE(reduced.table.count, most);
    }
}

TEST(ChoosePalette, AColourOnOnePixelOfManyIsSeen) {
    PlainPicture picture(1000, 500);
    picture.set(picture.count() - 1, 1, 0, 0);
    const Choice choice = choose(picture, 2, 2);
    EXPECT_TRUE(choice.exact);
    const Entries wanted = {{0, 0, 0}, {1, 0, 0}};
    EXPECT_EQ(entriesOf(choice.table), wanted);
    EXPECT_FALSE(choose(picture, 1).exact);
}

TEST(ChoosePalette, OneColourIsTheMean) {
    PlainPicture picture(10, 1);
    for (uint32_t i = 0; i < 10; ++i) picture.set(i, i < 3 ? 100 : 200, 7, i == 0 ? 200 : 0);
    const Entries wanted = {{170, 7, 20}};
    EXPECT_EQ(entriesOf(choose(picture, 1).table), wanted);
}

TEST(ChoosePalette, NeighboursShareAnEntryAtTheirWeightedMean) {
    PlainPicture picture(80, 1);
    for (uint32_t i = 0; i < 80; ++i) {
        if (i < 30) picture.set(i, 0, 0, 0);
        if (i >= 30 && i < 40) picture.set(i, 16, 0, 0);
        if (i >= 40) picture.set(i, 255, 255, 255);
    }
    const Entries wanted = {{4, 0, 0}, {255, 255, 255}};
    EXPECT_EQ(entriesOf(choose(picture, 2).table), wanted);
}

TEST(ChoosePalette, TheMeanOfAPictureWithManyColoursIsTrue) {
    // Noise above, below it one colour that fills cells of the histogram many times over.
    PlainPicture picture = support::noise(512, 512, 1);
    for (uint32_t i = picture.count() / 2; i < picture.count(); ++i) picture.set(i, 3, 250, 129);
    double sums[3] = {};
    for (uint32_t i = 0; i < picture.count(); ++i) {
        for (int c = 0; c < 3; ++c) sums[c] += picture.pixel(i)[c];
    }
    const Choice choice = choose(picture, 1);
    ASSERT_EQ(choice.table.count, 1u);
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(choice.table.entries[0][c], sums[c] / picture.count(), 0.6);
}

TEST(ChoosePalette, IsTheSameForAnyNumberOfThreads) {
    PlainPicture pictures[] = {support::noise(1024, 520, 2), support::smooth(1024, 520, 3),
                               ofColors(3000, 1024, 520)};
    // Some threads meet few colours, others many.
    for (uint32_t i = 0; i < pictures[0].count() / 2; ++i)
        pictures[0].set(i, static_cast<int>(i % 7), 9, 9);
    for (const PlainPicture& picture : pictures) {
        for (const uint32_t most : {16u, 256u}) {
            const Entries alone = entriesOf(choose(picture, most, 1).table);
            for (int threads = 2; threads <= 8; ++threads)
                ASSERT_EQ(entriesOf(choose(picture, most, threads).table), alone) << threads;
        }
    }
}

TEST(ChoosePalette, HasLessErrorThanTheMedianCut) {
    for (uint32_t seed = 0; seed < 4; ++seed) {
        const PlainPicture picture =
            seed % 2 == 0 ? support::noise(200, 150, seed) : support::smooth(200, 150, seed);
        for (const uint32_t most : {16u, 256u}) {
            Watch watch = support::unwatched();
            ColorTable cut{};
            ASSERT_EQ(tivar::filterPalette(picture.rows(), most, watch, cut), PaletteResult::kDone);
            EXPECT_LT(support::squaredError(picture, choose(picture, most).table, 7) * 1.05,
                      support::squaredError(picture, cut, 7))
                << seed << ' ' << most;
        }
    }
}

TEST(ChoosePalette, ForDitheringReachesFurther) {
    const PlainPicture picture = support::smooth(200, 200, 7);
    const auto extent = [](const ColorTable& table) {
        int lowest = 255;
        int highest = 0;
        for (uint32_t i = 0; i < table.count; ++i) {
            lowest = std::min<int>(lowest, table.entries[i][0]);
            highest = std::max<int>(highest, table.entries[i][0]);
        }
        return highest - lowest;
    };
    EXPECT_GT(extent(choose(picture, 16, 1, true).table), extent(choose(picture, 16).table));
    EXPECT_GT(support::squaredError(picture, choose(picture, 16, 1, true).table),
              support::squaredError(picture, choose(picture, 16).table));
}

TEST(ChoosePalette, EveryEntryIsAnotherColour) {
    PlainPicture picture(300, 300);
    support::Random random(9);
    // More colours than may be, all within a few levels.
    for (uint32_t i = 0; i < picture.count(); ++i)
        picture.set(i, 100 + random.byte() % 8, 100 + random.byte() % 8, 100 + random.byte() % 8);
    Entries entries = entriesOf(choose(picture, 256).table);
    EXPECT_GT(entries.size(), 128u);
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(std::unique(entries.begin(), entries.end()), entries.end());
}

TEST(ChoosePalette, TakesExtremePictures) {
    EXPECT_TRUE(choose(PlainPicture(1, 1), 1).exact);
    EXPECT_TRUE(choose(PlainPicture(1, 1), 256).exact);
    const PlainPicture wide = support::smooth(1 << 20, 1, 4);
    const PlainPicture high = support::smooth(1, 1 << 20, 4);
    for (const PlainPicture* picture : {&wide, &high}) {
        for (const uint32_t most : {2u, 256u}) {
            const Choice choice = choose(*picture, most, 4);
            EXPECT_EQ(choice.result, PaletteResult::kDone);
            EXPECT_EQ(choice.table.count, most);
        }
    }
}

TEST(ChoosePalette, EndsWhenItIsCancelled) {
    const PlainPicture picture = support::noise(1024, 300, 5);
    for (const int threads : {1, 4}) {
        const long before = support::liveBlocks;
        Watch watch = support::unwatched();
        watch.cancel = [](void* context) { return ++*static_cast<int*>(context) > 10 ? 1 : 0; };
        int asked = 0;
        watch.context = &asked;
        Choice choice{};
        EXPECT_EQ(tivar::choosePalette(picture.rows(), 256, false, threads, watch, choice.table,
                                       choice.exact),
                  PaletteResult::kCancelled);
        EXPECT_EQ(asked, 11);
        EXPECT_EQ(support::liveBlocks, before);
    }
}

// How many of the calls, made to fail one after the other, the choice of a palette makes.
int failEveryCall(const std::string& function, const PlainPicture& picture) {
    for (int nth = 1;; ++nth) {
        const long before = support::liveBlocks;
        PaletteResult result{};
        bool happened = false;
        {
            const support::FailingCall failing(function.c_str(), nth);
            Watch watch = support::unwatched();
            ColorTable table{};
            bool exact = false;
            result = tivar::choosePalette(picture.rows(), 200, true, 1, watch, table, exact);
            happened = failing.happened();
        }
        EXPECT_EQ(support::liveBlocks, before) << function << ' ' << nth;
        EXPECT_EQ(result, happened ? PaletteResult::kNoMemory : PaletteResult::kDone) << nth;
        if (!happened) return nth - 1;
    }
}

TEST(ChoosePalette, SaysThatThereIsNoMemoryAndLeaksNone) {
    const PlainPicture many = support::noise(150, 150, 6);
    const PlainPicture few = ofColors(1000, 50, 50);
    for (const PlainPicture* picture : {&many, &few}) {
        EXPECT_GT(failEveryCall("calloc", *picture), 1);
        EXPECT_GT(failEveryCall("malloc", *picture), 3);
    }
}

TEST(GreyPalette, HasEqualStepsFromBlackToWhite) {
    const Entries two = {{0, 0, 0}, {255, 255, 255}};
    const Entries four = {{0, 0, 0}, {85, 85, 85}, {170, 170, 170}, {255, 255, 255}};
    const Entries three = {{0, 0, 0}, {128, 128, 128}, {255, 255, 255}};
    EXPECT_EQ(entriesOf(tivar::greyPalette(2)), two);
    EXPECT_EQ(entriesOf(tivar::greyPalette(3)), three);
    EXPECT_EQ(entriesOf(tivar::greyPalette(4)), four);
    const ColorTable all = tivar::greyPalette(256);
    ASSERT_EQ(all.count, 256u);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(all.entries[i][1], i);
}

// The filter interface's own routine on the same pixels.
Entries reducedTable(const PlainPicture& picture, uint16_t most) {
    const auto stride = static_cast<size_t>(rlBytesPerLine(picture.width, 24));
    support::Bytes rows(stride * picture.height);
    for (uint32_t y = 0; y < picture.height; ++y)
        std::copy_n(picture.pixel(y * picture.width), picture.width * 3, rows.data() + y * stride);
    const support::Block bitmap(rows);
    uint16_t count = most;
    const support::Block table(rlReduceColorTable(bitmap.handle,
                                                  static_cast<uint16_t>(picture.width),
                                                  static_cast<uint16_t>(picture.height), &count));
    const support::Bytes bytes = support::blockContents(table.handle);
    Entries entries;
    for (size_t i = 0; i < count; ++i)
        entries.push_back({bytes[i * 3], bytes[i * 3 + 1], bytes[i * 3 + 2]});
    return entries;
}

TEST(FilterPalette, IsWhatTheFilterInterfaceChooses) {
    const PlainPicture pictures[] = {support::noise(61, 40, 1), support::smooth(90, 50, 2),
                                     ofColors(9, 10, 3), PlainPicture(1, 1)};
    for (const PlainPicture& picture : pictures) {
        for (const uint16_t most : std::initializer_list<uint16_t>{2, 16, 255, 256}) {
            Watch watch = support::unwatched();
            ColorTable table{};
            ASSERT_EQ(tivar::filterPalette(picture.rows(), most, watch, table),
                      PaletteResult::kDone);
            EXPECT_EQ(entriesOf(table), reducedTable(picture, most)) << most;
            EXPECT_EQ(watch.done, picture.height);
        }
    }
}

// Its counters are one thread's.
TEST(FilterPalette, ReadsEveryRowOnTheCallersThread) {
    static const pthread_t caller = pthread_self();
    static std::atomic<int> elsewhere{0};
    const auto read = [](const void*, uint32_t, uint8_t* scratch) -> const uint8_t* {
        if (pthread_equal(pthread_self(), caller) == 0) ++elsewhere;
        std::fill_n(scratch, 3 * 2000, uint8_t{7});
        return scratch;
    };
    const tivar::ColorRows rows = {2000, 2000, read, nullptr};
    Watch watch = support::unwatched();
    ColorTable table{};
    ASSERT_EQ(tivar::filterPalette(rows, 16, watch, table), PaletteResult::kDone);
    EXPECT_EQ(elsewhere, 0);
}

TEST(FilterPalette, SaysThatThereIsNoMemoryAndLeaksNone) {
    const PlainPicture picture = support::noise(50, 50, 1);
    for (const char* function : {"calloc", "malloc"}) {
        for (int nth = 1;; ++nth) {
            const long before = support::liveBlocks;
            const support::FailingCall failing(function, nth);
            Watch watch = support::unwatched();
            ColorTable table{};
            const PaletteResult result = tivar::filterPalette(picture.rows(), 16, watch, table);
            EXPECT_EQ(support::liveBlocks, before);
            if (!failing.happened()) {
                EXPECT_EQ(result, PaletteResult::kDone);
                break;
            }
            EXPECT_EQ(result, PaletteResult::kNoMemory) << function << nth;
        }
    }
}

}  // namespace
