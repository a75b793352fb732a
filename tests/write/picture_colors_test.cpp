#include "write/picture_colors.h"

#include <gtest/gtest.h>

#include <map>

#include "support/failing_call.h"
#include "write/plain_picture.h"

namespace {

using tivar::ColorPoint;
using tivar::PictureColors;

void count(const support::PlainPicture& picture, int threads, PictureColors& colors) {
    tivar::Watch watch = support::unwatched();
    ASSERT_EQ(tivar::countColors(picture.rows(), threads, watch, colors),
              tivar::PaletteResult::kDone);
}

uint64_t weightOf(const PictureColors& colors) {
    uint64_t weight = 0;
    for (uint32_t i = 0; i < colors.count; ++i) weight += colors.points[i].weight;
    return weight;
}

// A picture of so many different colours, several pixels of each.
support::PlainPicture ofColors(uint32_t colors) {
    support::PlainPicture picture(512, 512);
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const auto color = static_cast<int>(i % colors);
        picture.set(i, color & 255, color >> 8, 40);
    }
    return picture;
}

TEST(PictureColors, ColoursAreListedUpToALimit) {
    for (const int threads : {1, 3}) {
        PictureColors few;
        count(ofColors(tivar::kMostListed), threads, few);
        EXPECT_TRUE(few.listed);
        EXPECT_EQ(few.count, tivar::kMostListed);
        EXPECT_EQ(weightOf(few), 512u * 512u);
        PictureColors many;
        count(ofColors(tivar::kMostListed + 1), threads, many);
        EXPECT_FALSE(many.listed);
        EXPECT_EQ(weightOf(many), 512u * 512u);
    }
}

TEST(PictureColors, ListedColoursAreThoseOfThePicture) {
    const support::PlainPicture picture = ofColors(700);
    std::map<uint32_t, uint32_t> wanted;
    for (uint32_t i = 0; i < picture.count(); ++i) {
        const uint8_t* rgb = picture.pixel(i);
        ++wanted[static_cast<uint32_t>(rgb[0] << 16 | rgb[1] << 8 | rgb[2])];
    }
    PictureColors colors;
    count(picture, 2, colors);
    std::map<uint32_t, uint32_t> got;
    for (uint32_t i = 0; i < colors.count; ++i) {
        const ColorPoint& point = colors.points[i];
        uint32_t color = 0;
        for (const uint16_t channel : point.channels) {
            EXPECT_EQ(channel % tivar::kPointSteps, 0);
            color = color << 8 | channel / tivar::kPointSteps;
        }
        got[color] = point.weight;
    }
    EXPECT_EQ(got, wanted);
}

TEST(PictureColors, PointsOfCellsLieAtTheirMeans) {
    // Four pixels in each cell of a plane, and as many colours.
    support::PlainPicture picture(256, 256);
    for (uint32_t i = 0; i < picture.count(); ++i)
        picture.set(i, static_cast<int>(i % 256), static_cast<int>(i / 256), 5);
    PictureColors colors;
    count(picture, 1, colors);
    ASSERT_EQ(colors.count, 64u * 64u);
    for (uint32_t i = 0; i < colors.count; ++i) {
        const ColorPoint& point = colors.points[i];
        EXPECT_EQ(point.weight, 16u);
        // The mean of levels 4n to 4n + 3.
        EXPECT_EQ(point.channels[0] % (4 * tivar::kPointSteps), 3 * tivar::kPointSteps / 2);
        EXPECT_EQ(point.channels[1] % (4 * tivar::kPointSteps), 3 * tivar::kPointSteps / 2);
        EXPECT_EQ(point.channels[2], 5 * tivar::kPointSteps);
    }
}

TEST(PictureColors, WhatLiesBehindTheCellsIsNoColour) {
    const support::DirtyNeighbours dirty;
    // Too many to be listed; the last cell has one of them.
    support::PlainPicture picture(256, 256);
    for (uint32_t i = 0; i < picture.count(); ++i)
        picture.set(i, static_cast<int>(i % 256), static_cast<int>(i / 256), 255);
    PictureColors colors;
    count(picture, 1, colors);
    EXPECT_FALSE(colors.listed);
    EXPECT_EQ(colors.count, 64u * 64u);
    EXPECT_EQ(weightOf(colors), 256u * 256u);
}

TEST(PictureColors, AreTheSamePointsForAnyNumberOfThreads) {
    support::PlainPicture picture = support::smooth(1024, 600, 8);
    for (uint32_t i = 0; i < picture.count() / 3; ++i)
        picture.set(i, 9, 9, static_cast<int>(i % 3));
    PictureColors alone;
    count(picture, 1, alone);
    for (const int threads : {2, 5, 8}) {
        PictureColors several;
        count(picture, threads, several);
        ASSERT_EQ(several.count, alone.count);
        for (uint32_t i = 0; i < alone.count; ++i) {
            const ColorPoint& a = alone.points[i];
            const ColorPoint& b = several.points[i];
            ASSERT_TRUE(std::equal(a.channels, a.channels + 3, b.channels)) << i;
            ASSERT_EQ(a.weight, b.weight) << i;
        }
    }
}

}  // namespace
