#include "write/parallel.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <vector>

#include "support/failing_call.h"

namespace {

using support::FailingCall;
using support::Failure;

// How often each index was done, and whether every worker was who it said.
struct Seen {
    explicit Seen(uint32_t count) : times(count) {}

    std::vector<std::atomic<int>> times;
    std::atomic<bool> honest{true};
    std::atomic<int> highest{0};
    pthread_t caller = pthread_self();

    void run(uint32_t grain, int threads) {
        auto part = [&](int worker, uint32_t first, uint32_t last) {
            if ((worker == 0) != (pthread_equal(pthread_self(), caller) != 0)) honest = false;
            if (worker < 0 || worker >= threads || last - first > grain) honest = false;
            for (uint32_t i = first; i < last; ++i) ++times[i];
            if (worker > highest) highest = worker;
        };
        tivar::forParts(static_cast<uint32_t>(times.size()), grain, threads, part);
    }
    bool allOnce() const {
        for (const std::atomic<int>& each : times) {
            if (each != 1) return false;
        }
        return honest;
    }
};

TEST(Parallel, EveryIndexIsDoneOnce) {
    for (const uint32_t count : {0u, 1u, 2u, 63u, 64u, 1000u}) {
        for (const uint32_t grain : {1u, 7u, 64u, 5000u}) {
            for (const int threads : {1, 2, 3, 8, 64}) {
                Seen seen(count);
                seen.run(grain, threads);
                EXPECT_TRUE(seen.allOnce()) << count << ' ' << grain << ' ' << threads;
            }
        }
    }
}

TEST(Parallel, OneThreadIsTheCallers) {
    Seen seen(100);
    seen.run(1, 1);
    EXPECT_TRUE(seen.allOnce());
    EXPECT_EQ(seen.highest, 0);
}

TEST(Parallel, TheFirstPartIsTheCallers) {
    for (int round = 0; round < 50; ++round) {
        int worker = -1;
        auto part = [&](int number, uint32_t first, uint32_t) {
            if (first == 0) worker = number;
        };
        tivar::forParts(4, 1, 4, part);
        ASSERT_EQ(worker, 0);
    }
}

TEST(Parallel, AThreadThatCannotBeHadIsDoneWithout) {
    for (int nth = 1; nth <= 4; ++nth) {
        const FailingCall failing("pthread_create", nth, Failure::kFromThenOn);
        Seen seen(500);
        seen.run(3, 4);
        EXPECT_TRUE(seen.allOnce()) << nth;
        EXPECT_LT(seen.highest, nth) << nth;
        EXPECT_EQ(failing.happened(), nth < 4);
    }
}

TEST(Parallel, ThreadsAreAtLeastOneAndNoMoreThanParts) {
    EXPECT_EQ(tivar::threadsFor(10, 0), 1);
    EXPECT_EQ(tivar::threadsFor(10, -5), 1);
    EXPECT_EQ(tivar::threadsFor(10, 4), 4);
    EXPECT_EQ(tivar::threadsFor(3, 4), 3);
    EXPECT_EQ(tivar::threadsFor(0, 4), 1);
    EXPECT_EQ(tivar::threadsFor(uint64_t{1} << 40, 1 << 30), tivar::kMostThreads);
}

TEST(Parallel, TheCallersSignalsStayAsTheyWere) {
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    Seen(100).run(1, 4);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < 32; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
}

TEST(Parallel, SignalsAreNotDeliveredToOtherThreads) {
    std::atomic<int> open{0};
    auto part = [&](int worker, uint32_t, uint32_t) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        if (worker != 0 && sigismember(&mask, SIGTERM) == 0) ++open;
    };
    tivar::forParts(1000, 1, 4, part);
    EXPECT_EQ(open, 0);
}

}  // namespace
