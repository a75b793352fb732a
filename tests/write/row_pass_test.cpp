#include "write/row_pass.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <vector>

namespace {

// A picture large enough for eight threads.
constexpr uint32_t kWidth = 4096;
constexpr uint32_t kHeight = 160;

struct Host {
    int asked = 0;
    int endAtAsking = -1;
    std::vector<int32_t> told;
    int32_t endAtPercent = 101;

    tivar::Watch watch(uint64_t total) {
        return {[](void* self, int32_t percent) {
                    auto* host = static_cast<Host*>(self);
                    host->told.push_back(percent);
                    return percent >= host->endAtPercent ? 1 : 0;
                },
                [](void* self) {
                    auto* host = static_cast<Host*>(self);
                    return ++host->asked == host->endAtAsking ? 1 : 0;
                },
                this,
                total,
                0,
                -1,
                false};
    }
};

TEST(RowPass, EveryRowIsDoneOnceWhateverTheThreads) {
    for (const int threads : {1, 2, 8}) {
        std::vector<std::atomic<int>> times(kHeight);
        Host host;
        tivar::Watch watch = host.watch(kHeight);
        EXPECT_TRUE(tivar::passOverRows(kWidth, kHeight, threads, watch, [&](int, uint32_t y) {
            ++times[y];
            return true;
        }));
        for (const std::atomic<int>& each : times) EXPECT_EQ(each, 1);
        EXPECT_EQ(watch.done, kHeight);
        ASSERT_FALSE(host.told.empty());
        EXPECT_EQ(host.told.back(), 100);
        EXPECT_TRUE(std::is_sorted(host.told.begin(), host.told.end()));
    }
}

TEST(RowPass, TheHostIsCalledOnItsOwnThread) {
    struct Calls {
        pthread_t caller = pthread_self();
        std::atomic<int> elsewhere{0};
        int32_t note() {
            if (pthread_equal(pthread_self(), caller) == 0) ++elsewhere;
            return 0;
        }
    } calls;
    tivar::Watch watch = {[](void* self, int32_t) { return static_cast<Calls*>(self)->note(); },
                          [](void* self) { return static_cast<Calls*>(self)->note(); },
                          &calls,
                          kHeight,
                          0,
                          -1,
                          false};
    std::atomic<int> byOthers{0};
    EXPECT_TRUE(tivar::passOverRows(kWidth, kHeight, 4, watch, [&](int worker, uint32_t) {
        if (worker != 0) ++byOthers;
        while (byOthers == 0) sched_yield();  // another thread has a row before the caller has two
        return true;
    }));
    EXPECT_EQ(calls.elsewhere, 0);
}

TEST(RowPass, OneThreadAsksBeforeEveryRow) {
    Host host;
    tivar::Watch watch = host.watch(kHeight);
    EXPECT_TRUE(tivar::passOverRows(kWidth, kHeight, 1, watch, [&](int, uint32_t y) {
        EXPECT_EQ(host.asked, static_cast<int>(y) + 1);
        return true;
    }));
    EXPECT_EQ(host.asked, static_cast<int>(kHeight));
}

TEST(RowPass, OneThreadTellsAfterEveryRow) {
    Host host;
    tivar::Watch watch = host.watch(50);
    EXPECT_TRUE(tivar::passOverRows(kWidth, 50, 1, watch, [&](int, uint32_t y) {
        EXPECT_EQ(host.told.size(), y);
        return true;
    }));
    ASSERT_EQ(host.told.size(), 50u);
    for (size_t i = 0; i < 50; ++i) EXPECT_EQ(host.told[i], 2 * static_cast<int32_t>(i + 1));
}

TEST(RowPass, EndsWhereTheHostSaysSo) {
    Host host;
    host.endAtAsking = 5;
    tivar::Watch watch = host.watch(kHeight);
    uint32_t done = 0;
    EXPECT_FALSE(tivar::passOverRows(kWidth, kHeight, 1, watch, [&](int, uint32_t) {
        ++done;
        return true;
    }));
    EXPECT_EQ(done, 4u);
    EXPECT_TRUE(watch.cancelled);
}

TEST(RowPass, EndsAtAPercentWhateverTheThreads) {
    for (const int threads : {1, 8}) {
        Host host;
        host.endAtPercent = 10;
        tivar::Watch watch = host.watch(kHeight);
        EXPECT_FALSE(tivar::passOverRows(kWidth, kHeight, threads, watch,
                                         [](int, uint32_t) { return true; }));
        EXPECT_TRUE(watch.cancelled);
        EXPECT_GE(host.told.back(), 10);
        for (size_t i = 0; i + 1 < host.told.size(); ++i) EXPECT_LT(host.told[i], 10);
    }
}

TEST(RowPass, ARowThatFailsEndsItWithoutCancelling) {
    for (const int threads : {1, 8}) {
        Host host;
        tivar::Watch watch = host.watch(kHeight);
        EXPECT_FALSE(tivar::passOverRows(kWidth, kHeight, threads, watch,
                                         [](int, uint32_t y) { return y != 20; }));
        EXPECT_FALSE(watch.cancelled);
    }
}

TEST(RowPass, SmallPicturesStartNoThreads) {
    EXPECT_EQ(tivar::threadsForRows(255, 256, 8), 1);
    EXPECT_EQ(tivar::threadsForRows(512, 256, 8), 2);
    EXPECT_EQ(tivar::threadsForRows(1 << 20, 1, 8), 1);
    EXPECT_EQ(tivar::threadsForRows(1, 1 << 20, 8), 8);
}

}  // namespace
