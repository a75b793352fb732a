#include "write/color_set.h"

#include <gtest/gtest.h>

#include <map>

#include "write/plain_picture.h"

namespace {

using tivar::ColorSet;

std::map<uint32_t, uint64_t> contentsOf(const ColorSet& set) {
    std::map<uint32_t, uint64_t> contents;
    set.forEach([&](uint32_t color, uint32_t count) {
        EXPECT_EQ(contents.count(color), 0u);
        contents[color] = count;
    });
    return contents;
}

TEST(ColorSet, CountsThePixelsOfEveryColour) {
    support::PlainPicture row = support::noise(500, 1, 1);
    std::map<uint32_t, uint64_t> wanted;
    for (uint32_t i = 0; i < row.count(); ++i) {
        for (int c = 0; c < 3; ++c) row.pixel(i)[c] &= 0x83;
        ++wanted[tivar::packColor(row.pixel(i))];
    }
    ColorSet set;
    ASSERT_TRUE(set.obtain(512));
    EXPECT_EQ(set.addRow(row.pixels.data(), row.width), row.width);
    EXPECT_EQ(contentsOf(set), wanted);
    EXPECT_EQ(set.colors, wanted.size());
}

TEST(ColorSet, StopsBeforeTheColourThatIsOneTooMany) {
    support::PlainPicture row(7, 1);
    for (uint32_t i = 0; i < row.count(); ++i) row.set(i, static_cast<int>(i / 2), 0, 0);
    ColorSet set;
    ASSERT_TRUE(set.obtain(3));
    EXPECT_EQ(set.addRow(row.pixels.data(), row.width), 6u);
    const std::map<uint32_t, uint64_t> wanted = {{0, 2}, {1 << 16, 2}, {2 << 16, 2}};
    EXPECT_EQ(contentsOf(set), wanted);
    EXPECT_EQ(set.addRow(row.pixels.data(), 6), 6u) << "colours that it has are still counted";
}

TEST(ColorSet, CountsStayTheMostThatTheyCanBe) {
    ColorSet set;
    ASSERT_TRUE(set.obtain(1));
    EXPECT_TRUE(set.add(5, UINT32_MAX));
    EXPECT_TRUE(set.add(5, 10));
    EXPECT_EQ(contentsOf(set)[5], UINT32_MAX);
}

}  // namespace
