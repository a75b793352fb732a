#include "write/histogram.h"

#include <gtest/gtest.h>

#include <array>
#include <map>

#include "write/plain_picture.h"

namespace {

using tivar::Histogram;
using Sums = std::map<uint32_t, std::array<uint64_t, 4>>;  // weight, red, green, blue

Sums sumsOf(const Histogram& histogram) {
    std::map<uint32_t, tivar::ColorSum> cells;
    for (uint32_t cell = 0; cell < tivar::kCellCount; ++cell) {
        if (histogram.cells[cell] != 0) addCell(cell, histogram.cells[cell], cells[cell]);
    }
    for (size_t i = 0; i < histogram.asideCount; ++i) {
        const Histogram::Aside& aside = histogram.aside[i];
        addCell(aside.cell, aside.word, cells[aside.cell]);
    }
    Sums sums;
    for (const auto& [cell, sum] : cells)
        sums[cell] = {sum.weight, sum.channels[0], sum.channels[1], sum.channels[2]};
    return sums;
}

Sums plainSums(const support::PlainPicture& picture) {
    std::map<std::array<int, 3>, std::array<uint64_t, 4>> cells;
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const uint8_t* rgb = picture.pixel(i);
        std::array<uint64_t, 4>& sum = cells[{rgb[0] / 4, rgb[1] / 4, rgb[2] / 4}];
        ++sum[0];
        for (size_t c = 0; c < 3; ++c) sum[c + 1] += rgb[c];
    }
    Sums sums;
    for (const auto& [cube, sum] : cells)
        sums[static_cast<uint32_t>(cube[0] | cube[1] << 6 | cube[2] << 12)] = sum;
    EXPECT_EQ(sums.size(), cells.size()) << "two cubes share a cell";
    return sums;
}

Histogram& add(Histogram& histogram, const support::PlainPicture& picture) {
    EXPECT_TRUE(histogram.obtain(picture.count()));
    for (uint32_t y = 0; y < picture.height; ++y)
        histogram.addRow(picture.pixel(y * picture.width), picture.width);
    return histogram;
}

TEST(Histogram, KnowsTheTrueSumsOfEveryCell) {
    for (const uint32_t width : {1u, 2u, 3u, 4u, 5u, 1023u}) {
        const support::PlainPicture picture = support::noise(width, 20, width);
        Histogram histogram;
        EXPECT_EQ(sumsOf(add(histogram, picture)), plainSums(picture)) << width;
    }
}

TEST(Histogram, CellsDoNotOverflow) {
    // White has the greatest sums; 8191, 8192 and 8193 are where a word is full.
    for (const uint32_t width : {8190u, 8191u, 8192u, 8193u, 100000u}) {
        support::PlainPicture picture(width, 1);
        for (uint32_t i = 0; i < width; ++i) {
            const int level = i % 3 == 0 ? 254 : 255;
            picture.set(i, level, 255, level);
        }
        Histogram histogram;
        EXPECT_EQ(sumsOf(add(histogram, picture)), plainSums(picture)) << width;
        EXPECT_EQ(histogram.asideCount, (width - 1) / 8191) << width;
    }
}

TEST(Histogram, HasItsCellsCubeByCube) {
    std::vector<uint32_t> cells;
    tivar::forEachEight([&](uint32_t first) {
        for (uint32_t i = 0; i < 8; ++i) cells.push_back(first + i);
    });
    ASSERT_EQ(cells.size(), tivar::kCellCount);
    for (uint32_t i = 0; i < cells.size(); ++i) {
        uint32_t wanted = 0;
        for (uint32_t c = 0; c < 3; ++c)
            wanted |= ((i >> (9 + 3 * c) & 7) << 3 | (i >> 3 * c & 7)) << 6 * c;
        ASSERT_EQ(cells[i], wanted) << i;
    }
}

TEST(Histogram, LaysNoMoreAsideThanItHasRoomFor) {
    support::PlainPicture picture(8191 * 3, 5);
    Histogram histogram;
    EXPECT_EQ(sumsOf(add(histogram, picture)), plainSums(picture));
    EXPECT_LE(histogram.asideCount, picture.count() / 8192 * 2 + 1);
}

}  // namespace
