#include <tivar/color.h>

#include <cstring>

#include "support/color_bitmaps.h"

namespace {

using support::Block;
using support::Bytes;
using support::Color;
using support::colors;

uint32_t nearest(const Color& color, const Bytes& table) {
    return rlNearestRGBIndex(static_cast<int16_t>(color.red), static_cast<int16_t>(color.green),
                             static_cast<int16_t>(color.blue), table.data(),
                             static_cast<int16_t>(table.size() / 3));
}

// Entry 0 is a colour, entry 1 an exact grey.
uint32_t nearestKind(const Color& color) {
    return nearest(color, colors({{110, 90, 100}, {100, 100, 100}}));
}

TEST(NearestColor, AQueryIsGreyWhenEachPairDiffersByAtMostFour) {
    const Color greys[] = {{100, 100, 100}, {100, 102, 104}, {104, 102, 100}, {100, 104, 100},
                           {104, 100, 100}, {100, 100, 104}, {0, 4, 4}};
    for (const Color& c : greys)
        EXPECT_EQ(nearestKind(c), 1u) << c.red << " " << c.green << " " << c.blue;
    const Color others[] = {{100, 105, 100}, {105, 100, 100}, {100, 100, 105}, {100, 105, 104},
                            {102, 100, 105}, {100, 103, 105}, {105, 103, 100}};
    for (const Color& c : others)
        EXPECT_EQ(nearestKind(c), 0u) << c.red << " " << c.green << " " << c.blue;
}

TEST(NearestColor, AnEntryIsGreyOnlyWhenItsComponentsAreEqual) {
    EXPECT_EQ(nearest({100, 100, 101}, colors({{100, 100, 101}, {0, 0, 0}})), 1u);
    EXPECT_EQ(nearest({100, 102, 104}, colors({{100, 102, 104}, {255, 255, 255}})), 1u);
    EXPECT_EQ(nearest({100, 105, 100}, colors({{100, 100, 100}, {100, 101, 100}})), 1u);
}

TEST(NearestColor, IsZeroWhenEveryEntryIsSkipped) {
    EXPECT_EQ(nearest({255, 0, 0}, colors({{0, 0, 0}, {85, 85, 85}, {255, 255, 255}})), 0u);
    EXPECT_EQ(nearest({85, 85, 85}, colors({{255, 0, 0}, {80, 85, 85}})), 0u);
}

TEST(NearestColor, IsTheLeastSumOfSquares) {
    EXPECT_EQ(nearest({100, 50, 0}, colors({{110, 50, 0}, {100, 59, 0}, {100, 50, 11}})), 1u);
    EXPECT_EQ(nearest({100, 50, 0}, colors({{106, 56, 6}, {110, 50, 0}, {100, 50, 10}})), 1u);
    EXPECT_EQ(nearest({90, 90, 90}, colors({{80, 80, 80}, {99, 99, 99}, {0, 90, 90}})), 1u);
}

TEST(NearestColor, OfEqualDistancesTheLowestIndexWins) {
    EXPECT_EQ(nearest({100, 50, 0}, colors({{0, 200, 0}, {110, 50, 0}, {90, 50, 0}})), 1u);
    EXPECT_EQ(nearest({9, 90, 9}, colors({{1, 2, 3}, {9, 90, 9}, {9, 90, 9}})), 1u);
    EXPECT_EQ(nearest({50, 50, 50}, colors({{60, 60, 60}, {40, 40, 40}})), 0u);
}

TEST(NearestColor, SearchesCountEntriesOnly) {
    const Bytes table = colors({{0, 200, 0}, {0, 190, 0}, {200, 0, 0}});
    EXPECT_EQ(rlNearestRGBIndex(200, 0, 0, table.data(), 3), 2u);
    EXPECT_EQ(rlNearestRGBIndex(0, 190, 0, table.data(), 1), 0u);
    EXPECT_EQ(rlNearestRGBIndex(0, 190, 0, table.data(), 0), 0u);
    EXPECT_EQ(rlNearestRGBIndex(0, 190, 0, table.data(), -3), 0u);
    EXPECT_EQ(rlNearestRGBIndex(0, 190, 0, nullptr, 3), 0u);
}

TEST(NearestColor, TakesNoEntryAtADistanceOf2147483647OrMore) {
    // 3204513792 for entry 1, which would be the nearer one.
    EXPECT_EQ(nearest({-32768, 32767, -32768}, colors({{255, 0, 0}, {0, 255, 0}})), 0u);
    // 32512 squared for entry 1, less than for entry 0.
    EXPECT_EQ(nearest({32767, 0, 0}, colors({{1, 0, 0}, {255, 0, 0}})), 1u);
}

const Bytes kSource = colors({{250, 10, 10}, {10, 10, 10}});
const Bytes kDest = colors({{0, 0, 0}, {200, 200, 200}, {0, 200, 0}, {200, 0, 0}});

struct MapTables {
    const Bytes* source;
    const Bytes* dest;
    int16_t count;
};

std::vector<uint32_t> builtMap(const MapTables& tables, int16_t sourceBits, int16_t destBits) {
    const Block map(rlBuildColormap(
        tables.source == nullptr ? nullptr : tables.source->data(), sourceBits,
        tables.dest == nullptr ? nullptr : tables.dest->data(), destBits, tables.count));
    const Bytes bytes = map.contents();
    std::vector<uint32_t> values(bytes.size() / 4);
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * 4);
    return values;
}

using Map = std::vector<uint32_t>;

TEST(Colormap, LeadsToTheNearestDestinationEntries) {
    EXPECT_EQ(builtMap({&kSource, &kDest, 4}, 1, 8), (Map{3, 0}));
    EXPECT_EQ(builtMap({&kSource, &kDest, 3}, 1, 4), (Map{2, 0}));
    EXPECT_EQ(builtMap({&kSource, &kDest, 4}, 1, 1), (Map{3, 0}));
    EXPECT_EQ(builtMap({&kSource, &kDest, 4}, 1, 32), (Map{3, 0}));
    EXPECT_EQ(builtMap({&kSource, &kDest, 0}, 1, 8), (Map{0, 0}));
}

TEST(Colormap, HoldsPackedColorsForDepth24) {
    EXPECT_EQ(builtMap({&kSource, nullptr, 0}, 1, 24), (Map{0xFA0A0A00, 0x0A0A0A00}));
    EXPECT_EQ(builtMap({&kSource, &kDest, 4}, 1, 24), (Map{0xFA0A0A00, 0x0A0A0A00}));
}

TEST(Colormap, UsesTheSourceTableForAMissingDestinationTable) {
    Bytes source = support::repeated({1, 2, 30}, 16);
    source[3 * 5] = 100;
    Map expected(16, 0);
    expected[5] = 5;
    // The count that is passed does not matter then.
    EXPECT_EQ(builtMap({&source, nullptr, 2}, 4, 4), expected);
    EXPECT_EQ(builtMap({&source, nullptr, 2}, 4, 8), expected);
}

TEST(Colormap, IsZeroFilledWhenATableIsMissing) {
    const Bytes source = support::repeated({200, 0, 0}, 16);
    EXPECT_EQ(builtMap({&source, nullptr, 16}, 4, 1), Map(16, 0));
    EXPECT_EQ(builtMap({nullptr, &kDest, 4}, 4, 8), Map(16, 0));
    EXPECT_EQ(builtMap({nullptr, nullptr, 0}, 4, 8), Map(16, 0));
    EXPECT_EQ(builtMap({nullptr, &kDest, 4}, 4, 24), Map(16, 0));
}

TEST(Colormap, HasAnEntryForEverySourceIndex) {
    const struct {
        int16_t bits;
        size_t entries;
    } cases[] = {{0, 1}, {1, 2}, {2, 4}, {4, 16}, {8, 256}, {15, 32768}};
    for (const auto& c : cases) {
        EXPECT_EQ(builtMap({nullptr, nullptr, 0}, c.bits, 8).size(), c.entries) << c.bits;
    }
}

TEST(Colormap, IsNoneForDepthsThatNeedOrHaveNone) {
    constexpr int16_t depths[] = {24, 32, 16, 17, 31, 33, -1, -8, 32767, -32768};
    for (const int16_t bits : depths)
        EXPECT_EQ(rlBuildColormap(kSource.data(), bits, kDest.data(), 8, 4), 0u) << bits;
}

TEST(Colormap, FreeingItIsZero) {
    EXPECT_EQ(rlFreeColormap(rlBuildColormap(kSource.data(), 1, kDest.data(), 8, 4)), 0);
    EXPECT_EQ(rlFreeColormap(0), 0);
}

}  // namespace
