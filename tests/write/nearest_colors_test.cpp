#include "write/nearest_colors.h"

#include <gtest/gtest.h>

#include <numeric>

#include "support/failing_call.h"
#include "write/parallel.h"
#include "write/plain_picture.h"

namespace {

using support::Random;
using tivar::ColorTable;
using tivar::NearestColors;

enum class Kind { kNoise, kGreys, kCluster, kLattice, kTwins };
constexpr Kind kKinds[] = {Kind::kNoise, Kind::kGreys, Kind::kCluster, Kind::kLattice,
                           Kind::kTwins};

ColorTable tableOf(Kind kind, uint32_t count, uint32_t seed) {
    Random random(seed);
    ColorTable table{};
    table.count = count;
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t* entry = table.entries[i];
        const uint8_t grey = random.byte();
        for (int c = 0; c < 3; ++c) {
            switch (kind) {
                case Kind::kNoise:
                    entry[c] = random.byte();
                    break;
                case Kind::kGreys:
                    entry[c] = grey;
                    break;
                case Kind::kCluster:
                    entry[c] = static_cast<uint8_t>(100 + random.byte() % 24);
                    break;
                case Kind::kLattice:
                    entry[c] = static_cast<uint8_t>(random.byte() / 64 * 64);
                    break;
                case Kind::kTwins:
                    entry[c] = i % 2 == 0 ? random.byte() : table.entries[i - 1][c];
                    break;
            }
        }
    }
    return table;
}

void expectNearest(const NearestColors& colors, const ColorTable& table, const uint8_t* rgb) {
    ASSERT_EQ(tivar::nearestColor(colors, rgb[0], rgb[1], rgb[2]),
              support::plainNearest(table, rgb))
        << +rgb[0] << ' ' << +rgb[1] << ' ' << +rgb[2] << " of " << table.count;
}

// Whoever needs a list that another thread is making does not wait for it.
TEST(NearestColors, AreFoundWhileAnotherThreadMakesTheirList) {
    constexpr uint32_t kBusy = 1;
    constexpr size_t kRegions = 16 * 16 * 16;
    const ColorTable table = tableOf(Kind::kNoise, 200, 5);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    for (size_t i = 0; i < kRegions; ++i) colors.regions[i].state = kBusy;
    Random random(6);
    for (int i = 0; i < 3000; ++i) {
        const uint8_t rgb[3] = {random.byte(), random.byte(), random.byte()};
        expectNearest(colors, table, rgb);
    }
    for (size_t i = 0; i < kRegions; ++i) ASSERT_EQ(colors.regions[i].state, kBusy);
}

// Keeps answers for the cell of black, over and over, until there is room for none.
void fillRoom(const NearestColors& colors) {
    tivar::CellAnswers::Answers mixed = {};
    mixed.of[1] = 1;
    while (colors.kept.hasRoom()) colors.kept.keep(0, mixed);
}

// Colours of other cells than black's, each asked for twice.
void expectNearestOfMany(const NearestColors& colors, const ColorTable& table, uint32_t seed) {
    Random random(seed);
    for (int i = 0; i < 3000; ++i) {
        const uint8_t rgb[3] = {random.byte(), random.byte(),
                                static_cast<uint8_t>(random.byte() | 0x80)};
        for (int again = 0; again < 2; ++again) expectNearest(colors, table, rgb);
    }
}

TEST(NearestColors, AreFoundWithoutRoomToKeepThem) {
    const ColorTable table = tableOf(Kind::kNoise, 200, 8);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    fillRoom(colors);
    expectNearestOfMany(colors, table, 9);
    // The colours asked for now are others: no list of theirs is complete.
    for (size_t i = 0; i < size_t{16} * 16 * 16; ++i) colors.regions[i].state = 1;
    expectNearestOfMany(colors, table, 10);
}

TEST(NearestColors, AreThoseThatALookThroughTheTableFinds) {
    for (const Kind kind : kKinds) {
        for (const uint32_t count : {1u, 2u, 3u, 5u, 16u, 17u, 255u, 256u}) {
            const ColorTable table = tableOf(kind, count, count);
            NearestColors colors;
            ASSERT_TRUE(colors.prepare(table));
            Random random(7);
            for (int query = 0; query < 3000; ++query) {
                uint8_t rgb[3] = {random.byte(), random.byte(), random.byte()};
                // In every cell beside an entry, where there is most to choose from.
                if (query % 2 == 0) {
                    const uint8_t* entry = table.entries[random() % count];
                    for (int c = 0; c < 3; ++c)
                        rgb[c] = static_cast<uint8_t>(entry[c] + random() % 17 - 8);
                }
                expectNearest(colors, table, rgb);
            }
        }
    }
}

TEST(NearestColors, AreExactOverTheWholeSpace) {
    const ColorTable table = tableOf(Kind::kNoise, 40, 3);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    for (uint32_t color = 0; color < 1 << 24; color += 61) {
        const uint8_t rgb[3] = {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8),
                                static_cast<uint8_t>(color)};
        expectNearest(colors, table, rgb);
    }
}

TEST(NearestColors, AreFoundAgainWhereThereIsNoRoomForMoreCells) {
    const ColorTable table = tableOf(Kind::kNoise, 256, 4);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    for (uint32_t cell = 0; cell < 1 << 18 && colors.kept.hasRoom(); ++cell)
        tivar::nearestColor(colors, static_cast<uint8_t>(cell >> 12 << 2),
                            static_cast<uint8_t>(cell >> 6 << 2), static_cast<uint8_t>(cell << 2));
    ASSERT_FALSE(colors.kept.hasRoom());
    Random random(8);
    for (int i = 0; i < 3000; ++i) {
        const uint8_t rgb[3] = {random.byte(), random.byte(), random.byte()};
        expectNearest(colors, table, rgb);
        expectNearest(colors, table, rgb);
        // One channel another.
        for (int c = 0; c < 3; ++c) {
            uint8_t other[3] = {rgb[0], rgb[1], rgb[2]};
            other[c] = random.byte();
            expectNearest(colors, table, other);
        }
    }
}

TEST(NearestColors, OfEquallyNearEntriesTheLowestIsChosen) {
    ColorTable table{};
    table.count = 3;
    table.entries[0][0] = 20;
    table.entries[1][0] = 10;
    table.entries[2][0] = 20;
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    EXPECT_EQ(tivar::nearestColor(colors, 15, 0, 0), 0);
    EXPECT_EQ(tivar::nearestColor(colors, 14, 0, 0), 1);
    EXPECT_EQ(tivar::nearestColor(colors, 200, 0, 0), 0);
}

TEST(NearestColors, GreysHaveNoRuleOfTheirOwn) {
    ColorTable table{};
    table.count = 2;
    std::fill_n(table.entries[0], 3, uint8_t{0});
    const uint8_t nearlyGrey[3] = {101, 100, 99};
    std::copy(nearlyGrey, nearlyGrey + 3, table.entries[1]);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    EXPECT_EQ(tivar::nearestColor(colors, 100, 100, 100), 1);
}

TEST(NearestColors, RowsAreMappedPixelByPixel) {
    const ColorTable table = tableOf(Kind::kCluster, 256, 5);
    NearestColors colors;
    ASSERT_TRUE(colors.prepare(table));
    for (const uint32_t width : {0u, 1u, 2u, 5u, 777u}) {
        const support::PlainPicture row = support::smooth(std::max(width, 1u), 1, width);
        std::vector<uint8_t> indices(width + 1, 0xEE);
        tivar::mapRow(colors, row.pixels.data(), width, indices.data());
        for (uint32_t x = 0; x < width; ++x)
            ASSERT_EQ(indices[x], support::plainNearest(table, row.pixel(x)));
        EXPECT_EQ(indices[width], 0xEE) << "written behind the row";
    }
}

TEST(NearestColors, SeveralThreadsMapAtOnce) {
    const ColorTable table = tableOf(Kind::kCluster, 256, 6);
    const support::PlainPicture picture = support::smooth(512, 128, 6);
    NearestColors alone;
    NearestColors shared;
    ASSERT_TRUE(alone.prepare(table) && shared.prepare(table));
    std::vector<uint8_t> wanted(picture.count());
    std::vector<uint8_t> got(picture.count());
    tivar::mapRow(alone, picture.pixels.data(), picture.count(), wanted.data());
    auto part = [&](int, uint32_t first, uint32_t last) {
        tivar::mapRow(shared, picture.pixel(first), last - first, got.data() + first);
    };
    tivar::forParts(picture.count(), 64, 8, part);
    EXPECT_EQ(got, wanted);
}

TEST(NearestColors, AreTakenOverAnew) {
    NearestColors colors;
    for (uint32_t seed = 0; seed < 3; ++seed) {
        const ColorTable table = tableOf(Kind::kNoise, 20 + seed, seed);
        ASSERT_TRUE(colors.prepare(table));
        for (uint32_t color = 0; color < 1 << 24; color += 7919) {
            const uint8_t rgb[3] = {static_cast<uint8_t>(color >> 16),
                                    static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color)};
            expectNearest(colors, table, rgb);
        }
    }
}

TEST(NearestColors, AreNotPreparedWithoutMemory) {
    const ColorTable table = tableOf(Kind::kNoise, 20, 1);
    for (int nth = 1; nth <= 3; ++nth) {
        const long before = support::liveBlocks;
        {
            NearestColors colors;
            const support::FailingCall failing("calloc", nth);
            EXPECT_FALSE(colors.prepare(table)) << nth;
        }
        EXPECT_EQ(support::liveBlocks, before);
    }
}

}  // namespace
