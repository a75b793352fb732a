#include "write/cluster_exchange.h"

#include <gtest/gtest.h>

#include "support/failing_call.h"
#include "write/k_means.h"
#include "write/point_list.h"

namespace {

using support::pointAt;
using support::PointList;
using tivar::ExchangeResult;

// Two clusters where one would do, and one where there should be two, far away.
std::vector<tivar::ColorPoint> misplaced() {
    return {pointAt(100, 100, 100, 1, 0), pointAt(104, 100, 100, 1, 1),
            pointAt(1000, 1000, 1000, 1, 2), pointAt(1900, 1900, 1900, 1, 2)};
}

TEST(ClusterExchange, CarriesAClusterToWhereItIsNeeded) {
    PointList list(misplaced(), 3);
    while (tivar::moveToNearest(list.clusters, 1)) continue;
    EXPECT_EQ(list.error(), 2 * 3 * 450.0 * 450.0) << "rounds alone leave it as it is";
    EXPECT_EQ(tivar::exchangeClusters(list.clusters), ExchangeResult::kDone);
    EXPECT_EQ(list.error(), 2 * 2.0 * 2.0);
}

TEST(ClusterExchange, SaysWhenThereIsNothingToGain) {
    PointList list(misplaced(), 3);
    tivar::exchangeClusters(list.clusters);
    EXPECT_EQ(tivar::exchangeClusters(list.clusters), ExchangeResult::kNothingToDo);
    PointList alone({pointAt(1, 2, 3, 4)}, 1);
    EXPECT_EQ(tivar::exchangeClusters(alone.clusters), ExchangeResult::kNothingToDo);
}

// The wide cluster is cut for the two nearest, which become one; the other two would become one,
// too, but no part is left that could be cut.
TEST(ClusterExchange, EndsWhenEveryClusterHasTakenPart) {
    PointList list({pointAt(1000, 1000, 1000, 1, 0), pointAt(1900, 1900, 1900, 1, 0),
                    pointAt(100, 100, 100, 1, 1), pointAt(104, 100, 100, 1, 2),
                    pointAt(100, 2000, 100, 1, 3), pointAt(110, 2000, 100, 1, 4)},
                   5);
    EXPECT_EQ(tivar::exchangeClusters(list.clusters), ExchangeResult::kDone);
    EXPECT_EQ(list.error(), 2 * 2.0 * 2.0);
    uint32_t alone = 0;
    for (uint32_t i = 0; i < 5; ++i) alone += list.clusters.sizeOf(i) == 1 ? 1 : 0;
    EXPECT_EQ(alone, 4u) << "two points are together, the others by themselves";
}

TEST(ClusterExchange, NeverAddsError) {
    for (uint32_t seed = 0; seed < 5; ++seed) {
        PointList list(support::randomPoints(1000, 60, seed), 60);
        double before = list.error();
        for (int i = 0; i < 10; ++i) {
            tivar::moveToNearest(list.clusters, 1);
            EXPECT_LT(list.error(), before * 1.001);
            before = list.error();
            const ExchangeResult result = tivar::exchangeClusters(list.clusters);
            EXPECT_LE(list.error(), before);
            EXPECT_EQ(result == ExchangeResult::kDone, list.error() < before);
            before = list.error();
        }
    }
}

TEST(ClusterExchange, SaysThatThereIsNoMemory) {
    PointList list(misplaced(), 3);
    for (int nth = 1; nth <= 3; ++nth) {
        const support::FailingCall failing("malloc", nth);
        EXPECT_EQ(tivar::exchangeClusters(list.clusters), ExchangeResult::kNoMemory);
    }
}

}  // namespace
