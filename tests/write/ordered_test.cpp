#include "write/ordered.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "write/dither_kit.h"

namespace {

using support::evenGreys;
using support::flatColor;
using support::flatGrey;
using support::Indices;
using support::meanOf;
using support::PlainPicture;
using support::Random;
using support::randomTable;
using tivar::ColorTable;
using tivar::NearestColors;
using tivar::Ordered;

struct Orderer {
    explicit Orderer(const ColorTable& table) {
        tivar::prepareOrdered(ordered, table);
        EXPECT_TRUE(nearest.prepare(table));
    }
    void row(const PlainPicture& picture, uint32_t y, Indices& indices) const {
        tivar::orderRow(ordered, nearest, y, picture.pixel(y * picture.width), picture.width,
                        indices.data() + y * picture.width);
    }
    Indices operator()(const PlainPicture& picture) const {
        Indices indices(picture.count(), 0xEE);
        for (uint32_t y = 0; y < picture.height; ++y) row(picture, y, indices);
        return indices;
    }

    Ordered ordered;
    NearestColors nearest;
};

uint8_t plainOrderedGrey(const ColorTable& table, const uint8_t* rgb, int threshold) {
    const support::PlainGap gap(table, support::plainGrey(rgb));
    return static_cast<uint8_t>(
        support::plainNearestGrey(table, gap.part > threshold ? gap.upper : gap.lower));
}

// Of 32 entries (8 of a large palette), each nearest to the colour and what is missing so far, in
// the order of light the one that the threshold points at.
uint8_t plainOrderedColor(const ColorTable& table, const uint8_t* rgb, int threshold) {
    const int mixed = table.count <= 16 ? 32 : 8;
    std::vector<uint32_t> taken;
    int sums[3] = {};
    for (int i = 0; i < mixed; ++i) {
        uint8_t asked[3];
        for (int c = 0; c < 3; ++c)
            asked[c] = static_cast<uint8_t>(std::clamp(rgb[c] * (i + 1) - sums[c], 0, 255));
        taken.push_back(support::plainNearest(table, asked));
        for (int c = 0; c < 3; ++c) sums[c] += table.entries[taken.back()][c];
    }
    std::stable_sort(taken.begin(), taken.end(), [&](uint32_t a, uint32_t b) {
        const int lightOfA = support::plainGrey(table.entries[a]);
        const int lightOfB = support::plainGrey(table.entries[b]);
        return lightOfA != lightOfB ? lightOfA < lightOfB : a < b;
    });
    return static_cast<uint8_t>(taken[static_cast<size_t>(threshold * mixed / 255)]);
}

void expectPlain(const PlainPicture& picture, const ColorTable& table, bool grey) {
    const Indices indices = Orderer(table)(picture);
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const int threshold = tivar::kThresholdMask[i / picture.width % 64][i % picture.width % 64];
        const uint8_t wanted = grey ? plainOrderedGrey(table, picture.pixel(i), threshold)
                                    : plainOrderedColor(table, picture.pixel(i), threshold);
        ASSERT_EQ(indices[i], wanted) << i << " of " << picture.width << " in " << table.count;
    }
}

TEST(Ordered, GreysAreThoseOfThePlainModel) {
    uint32_t seed = 0;
    for (const uint32_t width : {1u, 2u, 63u, 64u, 65u, 200u}) {
        for (const uint32_t count : {1u, 2u, 3u, 16u, 256u}) {
            ++seed;
            expectPlain(support::noise(width, 7, seed), randomTable(count, true, seed), true);
            expectPlain(support::smooth(width, 70, seed), evenGreys(17), true);
        }
    }
}

TEST(Ordered, ColorsAreThoseOfThePlainModel) {
    uint32_t seed = 0;
    for (const uint32_t width : {1u, 3u, 64u, 100u}) {
        for (const uint32_t count : {1u, 2u, 7u, 16u, 17u, 256u}) {
            ++seed;
            expectPlain(support::noise(width, 3, seed), randomTable(count, false, seed), false);
            expectPlain(support::smooth(width, 9, seed), randomTable(count, false, seed), false);
        }
    }
}

TEST(Ordered, AFlatGreyKeepsItsMean) {
    for (const int count : {2, 4, 16}) {
        const ColorTable table = evenGreys(count);
        const Orderer order(table);
        for (int grey = 0; grey < 256; ++grey) {
            EXPECT_NEAR(meanOf(order(flatGrey(64, grey)), table), grey, 0.3);
            EXPECT_NEAR(meanOf(order(flatGrey(37, grey)), table), grey, 1.0);
        }
    }
}

TEST(Ordered, AFlatColorThatThePaletteMixesKeepsItsMean) {
    const ColorTable corners = support::cornerColors();
    const Orderer order(corners);
    Random random(5);
    for (int i = 0; i < 40; ++i) {
        const uint8_t color[3] = {random.byte(), random.byte(), random.byte()};
        const Indices indices = order(flatColor(64, color));
        // A 32nd of 255, and half of what the thresholds leave.
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(meanOf(indices, corners, c), color[c], 8.0);
    }
}

TEST(Ordered, EntriesOwnColorsAreLeftAlone) {
    const ColorTable table = randomTable(40, false, 2);
    const Orderer order(table);
    for (uint32_t i = 0; i < table.count; ++i) {
        EXPECT_EQ(order(flatColor(64, table.entries[i])),
                  Indices(64 * 64, static_cast<uint8_t>(i)));
    }
}

TEST(Ordered, APartOfAPictureIsDrawnAsInTheWhole) {
    const ColorTable table = randomTable(7, false, 9);
    const Orderer order(table);
    const PlainPicture picture = support::smooth(150, 80, 3);
    const Indices whole = order(picture);
    Indices again(picture.count(), 0xEE);
    for (uint32_t y = picture.height; y-- > 0;) order.row(picture, y, again);
    EXPECT_EQ(again, whole);
}

TEST(Ordered, RowsMayBeMadeByThreadsAtOnce) {
    for (const bool grey : {true, false}) {
        const ColorTable table = randomTable(30, grey, 9);
        const PlainPicture picture = support::smooth(150, 80, 3);
        const Indices wanted = Orderer(table)(picture);
        const Orderer order(table);
        Indices indices(picture.count(), 0xEE);
        std::vector<std::thread> threads;
        for (uint32_t first = 0; first < 4; ++first)
            threads.emplace_back([&, first] {
                for (uint32_t y = first; y < picture.height; y += 4) order.row(picture, y, indices);
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(indices, wanted);
    }
}

}  // namespace
