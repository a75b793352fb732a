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

// Both pairs gain 20^2 / 2; the part that was there first is cut.
TEST(ColorCuts, OfCutsThatGainTheSameTheFirstPartsIsMade) {
    PointList list(
        {pointAt(0, 0, 0, 1), pointAt(20, 0, 0, 1), pointAt(1000, 0, 0, 1), pointAt(1020, 0, 0, 1)},
        1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 3));
    ASSERT_EQ(list.clusters.count, 3u);
    EXPECT_EQ(list.clusters.sizeOf(0), 1u);
    EXPECT_EQ(list.clusters.sizeOf(1), 2u);
    EXPECT_EQ(list.clusters.sizeOf(2), 1u);
}

// Two clouds, the second as far along the diagonal of two channels as the first is wide: neither
// channel alone tells them apart. Most of a cloud lies in its middle, so that the diagonal is where
// the points are spread most.
TEST(ColorCuts, CutsGoAcrossTheAxisOfTheGreatestSpread) {
    for (const int without : {0, 1, 2}) {
        const auto at = [&](int first, int second, uint32_t weight) {
            int channels[3] = {};
            channels[without == 0 ? 1 : 0] = first;
            channels[without == 2 ? 1 : 2] = second;
            return pointAt(channels[0], channels[1], channels[2], weight);
        };
        PointList list({at(700, 0, 1), at(0, 700, 1), at(350, 350, 10), at(1300, 600, 1),
                        at(600, 1300, 1), at(950, 950, 10)},
                       1);
        ASSERT_TRUE(tivar::cutClusters(list.clusters, 2));
        ASSERT_EQ(list.clusters.count, 2u);
        for (uint32_t i = 0; i < 2; ++i) {
            ASSERT_EQ(list.clusters.sizeOf(i), 3u);
            const tivar::ColorPoint* points = list.clusters.pointsOf(i);
            const auto sumOf = [](const tivar::ColorPoint& point) {
                return point.channels[0] + point.channels[1] + point.channels[2];
            };
            for (int k = 1; k < 3; ++k) EXPECT_EQ(sumOf(points[k]), sumOf(points[0])) << without;
        }
    }
}

// The longest component of an axis is 1024.
TEST(ColorCuts, TheAxisOfPointsOnALineIsThatLine) {
    const struct {
        int step[3];
        int axis[3];
    } cases[] = {
        {{100, 0, 0}, {1024, 0, 0}},          {{0, 100, 0}, {0, 1024, 0}},
        {{0, 0, 100}, {0, 0, 1024}},          {{100, 100, 100}, {1024, 1024, 1024}},
        {{200, 100, 50}, {1024, 512, 256}},   {{50, 200, 100}, {256, 1024, 512}},
        {{100, 50, 200}, {512, 256, 1024}},   {{200, -100, 50}, {1024, -512, 256}},
        {{-50, 200, 100}, {-256, 1024, 512}}, {{100, 50, -200}, {512, 256, -1024}},
    };
    for (const auto& given : cases) {
        std::vector<tivar::ColorPoint> points;
        for (int i = -3; i <= 3; ++i)
            points.push_back(pointAt(1000 + i * given.step[0], 1000 + i * given.step[1],
                                     1000 + i * given.step[2], i == 0 ? 5 : 1));
        tivar::ColorPart part{};
        part.points = points.data();
        part.count = static_cast<uint32_t>(points.size());
        std::vector<tivar::ColorSum> slices(tivar::kSlices);
        tivar::weighPart(part, slices.data());
        // An axis leads both ways.
        const int sign = part.plane.axis[0] * given.axis[0] + part.plane.axis[1] * given.axis[1] +
                                     part.plane.axis[2] * given.axis[2] <
                                 0
                             ? -1
                             : 1;
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(part.plane.axis[c] * sign, given.axis[c])
                << given.step[0] << ' ' << given.step[1] << ' ' << given.step[2];
    }
}

TEST(ColorCuts, EqualPointsStayTogether) {
    PointList list({pointAt(7, 8, 9, 1), pointAt(7, 8, 9, 2), pointAt(7, 8, 9, 3)}, 1);
    ASSERT_TRUE(tivar::cutClusters(list.clusters, 256));
    EXPECT_EQ(list.clusters.count, 1u);
}

// Beside four thousand million pixels, one that is a step away is less than what sums in doubles
// leave over: the axis is as good as any, and both points' places on it are the same or nearly so.
TEST(ColorCuts, AColourThatRoundingHidesLeavesNoPartEmpty) {
    const struct {
        int many[3];
        uint32_t weight;
        int one[3];
    } cases[] = {
        {{1914, 1045, 1857}, 4294967282, {1914, 1046, 1857}},
        {{1996, 895, 1715}, 4294967294, {1996, 896, 1715}},
        {{1131, 2009, 1369}, 4197052831, {1131, 2010, 1368}},
        {{1204, 1697, 1379}, 4230397806, {1205, 1697, 1379}},
        {{1309, 1379, 1817}, 4214036634, {1310, 1379, 1817}},
        {{1260, 1879, 1263}, 4246535598, {1261, 1879, 1263}},
    };
    for (const auto& given : cases) {
        PointList list({pointAt(given.many[0], given.many[1], given.many[2], given.weight),
                        pointAt(given.one[0], given.one[1], given.one[2], 1)},
                       1);
        ASSERT_TRUE(tivar::cutClusters(list.clusters, 256));
        EXPECT_LE(list.clusters.count, 2u);
        for (uint32_t i = 0; i < list.clusters.count; ++i)
            EXPECT_GT(list.clusters.sizeOf(i), 0u) << given.many[0] << ", cluster " << i;
    }
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
