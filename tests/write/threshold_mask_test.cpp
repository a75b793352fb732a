#include "write/threshold_mask.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using tivar::kMaskSide;
using tivar::kThresholdMask;

TEST(ThresholdMask, HasEveryThresholdAsOftenAsTheOthers) {
    int times[256] = {};
    for (const auto& row : kThresholdMask)
        for (const uint8_t threshold : row) ++times[threshold];
    for (int threshold = 0; threshold < 255; ++threshold) {
        EXPECT_GE(times[threshold], 16) << threshold;
        EXPECT_LE(times[threshold], 17) << threshold;
    }
    EXPECT_EQ(times[255], 0);
}

TEST(ThresholdMask, RepeatsItself) {
    for (uint32_t y = 0; y < kMaskSide; ++y)
        EXPECT_EQ(tivar::thresholdsOf(y), tivar::thresholdsOf(y + 5 * kMaskSide));
}

// Squared distance from a place to the nearest other one with a threshold below limit, around the
// edges.
int distanceToNext(int x, int y, int limit) {
    constexpr int kSide = kMaskSide;
    int least = kSide * kSide;
    for (int dy = -8; dy <= 8; ++dy) {
        for (int dx = -8; dx <= 8; ++dx) {
            if (dx == 0 && dy == 0) continue;
            if (kThresholdMask[(y + dy + kSide) % kSide][(x + dx + kSide) % kSide] < limit)
                least = std::min(least, dx * dx + dy * dy);
        }
    }
    return least;
}

// Blue noise: dots keep away from each other. So many of them on a grid would be 64 / sqrt(count)
// apart; in white noise many would touch.
TEST(ThresholdMask, SetsFewDotsFarApart) {
    for (const int limit : {1, 2, 4, 8, 16}) {
        const int even = 4096 / (limit * 4096 / 255);  // the square of their distance on a grid
        for (int i = 0; i < 4096; ++i) {
            const int x = i % 64;
            const int y = i / 64;
            if (kThresholdMask[y][x] >= limit) continue;
            EXPECT_GE(distanceToNext(x, y, limit), std::min(even / 3, 64)) << x << ' ' << y;
        }
    }
}

}  // namespace
