#include "base/fields.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "support/random_numbers.h"

namespace {

using Visited = std::vector<std::array<uint32_t, 2>>;  // cell and place of every pixel

template <int kLow>
std::array<uint32_t, 2> plainly(const uint8_t* rgb) {
    std::array<uint32_t, 2> found = {0, 0};
    for (int c = 2; c >= 0; --c) {
        found[0] = found[0] << (8 - kLow) | static_cast<uint32_t>(rgb[c] >> kLow);
        found[1] = found[1] << kLow | (rgb[c] & ((1u << kLow) - 1));
    }
    return found;
}

template <int kLow, int kStreams>
void expectEveryPixelOnce(const std::vector<uint8_t>& row) {
    const auto width = static_cast<uint32_t>(row.size() / 3);
    Visited visited(width, {UINT32_MAX, UINT32_MAX});
    uint32_t visits = 0;
    auto* const at = visited.data();
    tivar::forEachCell<kLow, kStreams>(row.data(), width,
                                       [&visits, at](uint32_t cell, uint32_t place, uint32_t x) {
                                           at[x] = {cell, place};
                                           ++visits;
                                       });
    ASSERT_EQ(visits, width);
    for (uint32_t x = 0; x < width; ++x)
        ASSERT_EQ(visited[x], plainly<kLow>(&row[size_t{x} * 3])) << x << " of " << width;
}

TEST(Cells, OfARowAreThoseOfItsPixelsOneByOne) {
    support::Random random(3);
    for (uint32_t width = 0; width < 40; ++width) {
        // No byte behind the last pixel: the sanitizers see a look at it.
        std::vector<uint8_t> row(size_t{width} * 3);
        for (uint8_t& byte : row) byte = random.byte();
        expectEveryPixelOnce<2, 1>(row);
        expectEveryPixelOnce<2, 4>(row);
        expectEveryPixelOnce<3, 4>(row);
    }
}

TEST(Cells, HaveTheFirstChannelLowest) {
    EXPECT_EQ(tivar::cellOfPixel<3>(0x0000FF), 31u);
    EXPECT_EQ(tivar::cellOfPixel<3>(0x00FF00), 31u << 5);
    EXPECT_EQ(tivar::cellOfPixel<3>(0xFF0000), 31u << 10);
    EXPECT_EQ(tivar::placeInCell<2>(0x030201), 1u | 2u << 2 | 3u << 4);
}

TEST(Cells, HeedThreeBytesOfFour) {
    EXPECT_EQ(tivar::cellOfPixel<2>(0xFF000000), 0u);
    EXPECT_EQ(tivar::placeInCell<2>(0xFF000000), 0u);
}

}  // namespace
