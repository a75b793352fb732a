#include "write/color_cuts.h"

#include <gtest/gtest.h>

#include "write/point_list.h"

namespace {

using support::pointAt;
using support::PointList;

TEST(ColorCuts, TwoCloudsAreCutBetween) {
    PointList list({pointAt(100, 100, 100, 5), pointAt(110, 104, 96, 9), pointAt(800, 900, 300, 1),
                    pointAt(804, 890, 310, 1)},
                   1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 2));
    ASSERT_EQ(list.clusters.count, 2u);
    for (uint32_t i = 0; i < 2; ++i) {
        ASSERT_EQ(list.clusters.sizeOf(i), 2u);
        const tivar::ColorPoint* points = list.clusters.pointsOf(i);
        EXPECT_EQ(points[0].channels[0] < 500, points[1].channels[0] < 500);
    }
}

TEST(ColorCuts, TheCutThatGainsMostComesFirst) {
    // Heavy points that differ a little, light ones that differ much: 1000 * 2 * 10^2 is more than
    // 2 * 200^2 / 2.
    PointList list({pointAt(0, 0, 0, 1000), pointAt(20, 0, 0, 1000), pointAt(2000, 0, 0, 1),
                    pointAt(2000, 200, 0, 1)},
                   1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 3));
    for (uint32_t i = 0; i < 3; ++i) {
        const bool light = list.clusters.pointsOf(i)[0].weight == 1;
        EXPECT_EQ(list.clusters.sizeOf(i), light ? 2u : 1u);
    }
}

TEST(ColorCuts, EqualPointsStayTogether) {
    PointList list({pointAt(7, 8, 9, 1), pointAt(7, 8, 9, 2), pointAt(7, 8, 9, 3)}, 1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 256));
    EXPECT_EQ(list.clusters.count, 1u);
}

TEST(ColorCuts, EveryPointCanHaveAClusterOfItsOwn) {
    PointList list(support::randomPoints(256, 1, 2), 1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 256));
    EXPECT_EQ(list.clusters.count, 256u);
    EXPECT_EQ(list.error(), 0);
}

TEST(ColorCuts, MoreClustersHaveLessError) {
    double before = 1e300;
    for (const uint32_t most : {1u, 2u, 5u, 16u, 100u, 256u}) {
        PointList list(support::randomPoints(3000, 1, 3), 1);
        ASSERT_TRUE(tivar::cutClusters(list.clusters, most));
        EXPECT_EQ(list.clusters.count, most);
        EXPECT_LT(list.error(), before);
        before = list.error();
    }
}

TEST(ColorCuts, ExtremePointsAreCut) {
    PointList list({pointAt(0, 0, 0, UINT32_MAX / 4), pointAt(2040, 2040, 2040, UINT32_MAX / 4),
                    pointAt(2040, 0, 2040, 1)},
                   1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 3));
    EXPECT_EQ(list.clusters.count, 3u);
}

}  // namespace
