#include "write/greys.h"

#include <gtest/gtest.h>

#include "write/dither_kit.h"

namespace {

using support::greysFrom;
using tivar::ColorTable;
using tivar::GreyPlace;
using tivar::GreyPlaces;

void expectPlace(const GreyPlace& place, int lower, int upper, int lowerIndex, int upperIndex,
                 int part) {
    EXPECT_EQ(place.lower, lower);
    EXPECT_EQ(place.upper, upper);
    EXPECT_EQ(place.lowerIndex, lowerIndex);
    EXPECT_EQ(place.upperIndex, upperIndex);
    EXPECT_EQ(place.part, part);
}

TEST(Greys, OfPrimariesAreTheirLuma) {
    const uint8_t colors[][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
    EXPECT_EQ(tivar::lumaOf(colors[0]), 76);   // 0.299 * 255 = 76.2
    EXPECT_EQ(tivar::lumaOf(colors[1]), 150);  // 0.587 * 255 = 149.7
    EXPECT_EQ(tivar::lumaOf(colors[2]), 29);   // 0.114 * 255 = 29.1
    EXPECT_EQ(tivar::lumaOf(colors[3]), 255);
}

TEST(Greys, OfGreysAreThemselves) {
    for (int level = 0; level < 256; ++level) {
        const auto byte = static_cast<uint8_t>(level);
        const uint8_t color[3] = {byte, byte, byte};
        EXPECT_EQ(tivar::lumaOf(color), level);
    }
}

TEST(Greys, OfRowsAreThoseOfTheirPixels) {
    for (const uint32_t width : {1u, 15u, 16u, 17u, 31u, 32u, 1000u}) {
        const support::PlainPicture picture = support::noise(width, 9, width);
        for (uint32_t y = 0; y < picture.height; ++y) {
            std::vector<uint8_t> greys(width + 1, 0xEE);
            tivar::greysOf(picture.pixel(y * width), width, greys.data());
            for (uint32_t x = 0; x < width; ++x)
                ASSERT_EQ(greys[x], support::plainGrey(picture.pixel(y * width + x)));
            ASSERT_EQ(greys[width], 0xEE);
        }
    }
}

TEST(GreyTable, HasNothingButGreys) {
    ColorTable table = greysFrom({0, 7, 255});
    EXPECT_TRUE(tivar::isGreyTable(table));
    for (int channel = 0; channel < 3; ++channel) {
        ColorTable other = table;
        ++other.entries[1][channel];
        EXPECT_FALSE(tivar::isGreyTable(other));
    }
}

TEST(GreyPlaces, LieBetweenTheEntriesAroundThem) {
    GreyPlaces places;
    placeGreys(greysFrom({200, 100, 150}), places);
    expectPlace(places.at[0], 100, 100, 1, 1, 0);
    expectPlace(places.at[100], 100, 100, 1, 1, 0);
    expectPlace(places.at[110], 100, 150, 1, 2, 51);
    expectPlace(places.at[149], 100, 150, 1, 2, 250);  // 249.9
    expectPlace(places.at[150], 150, 150, 2, 2, 0);
    expectPlace(places.at[151], 150, 200, 2, 0, 5);  // 5.1
    expectPlace(places.at[200], 200, 200, 0, 0, 0);
    expectPlace(places.at[255], 200, 200, 0, 0, 0);
}

TEST(GreyPlaces, NameTheFirstOfEntriesThatAreAlike) {
    GreyPlaces places;
    placeGreys(greysFrom({255, 0, 255, 0}), places);
    expectPlace(places.at[128], 0, 255, 1, 0, 128);
}

}  // namespace
