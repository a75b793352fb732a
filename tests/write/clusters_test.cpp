#include "write/clusters.h"

#include <gtest/gtest.h>

#include "write/point_list.h"

namespace {

using support::pointAt;

TEST(Clusters, PointsAreBroughtTogetherInTheirOrder) {
    const support::PointList list({pointAt(1, 0, 0, 1, 2), pointAt(2, 0, 0, 1, 0),
                                   pointAt(3, 0, 0, 1, 2), pointAt(4, 0, 0, 1, 0)},
                                  3);
    const int wanted[] = {2, 4, 1, 3};
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(list.points[i].channels[0], wanted[i]);
    const uint32_t first[] = {0, 2, 2, 4};
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(list.clusters.first[i], first[i]);
}

TEST(Clusters, SumsAreThoseOfTheirPoints) {
    const support::PointList list({pointAt(10, 20, 30, 2, 0), pointAt(1, 2, 3, 4, 0)}, 2);
    const tivar::ColorSum& sum = list.clusters.sums[0];
    EXPECT_EQ(sum.weight, 6u);
    EXPECT_EQ(sum.channels[0], 24u);
    EXPECT_EQ(sum.channels[1], 48u);
    EXPECT_EQ(sum.channels[2], 72u);
    EXPECT_EQ(tivar::meanOf(sum, 1), 8);
    EXPECT_EQ(list.clusters.sums[1].weight, 0u);
    EXPECT_EQ(list.clusters.sizeOf(1), 0u);
}

TEST(Clusters, NothingIsLost) {
    const support::PointList list(support::randomPoints(1000, 256, 1), 256);
    uint32_t points = 0;
    for (uint32_t i = 0; i < 256; ++i) {
        for (uint32_t k = 0; k < list.clusters.sizeOf(i); ++k)
            EXPECT_EQ(list.clusters.pointsOf(i)[k].cluster, i);
        points += list.clusters.sizeOf(i);
    }
    EXPECT_EQ(points, 1000u);
}

}  // namespace
