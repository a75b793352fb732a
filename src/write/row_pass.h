// One pass over the rows of a picture on several threads, watched on the caller's.
#pragma once

#include <algorithm>
#include <atomic>

#include "write/parallel.h"
#include "write/watch.h"

namespace tivar {

// Pixels that make starting a thread worth while.
constexpr uint64_t kPixelsOfThread = 1 << 16;
// Rows are handed out so many pixels at a time, at least one row.
constexpr uint32_t kPixelsOfPart = 1 << 14;

// The threads of a pass over such rows.
inline int threadsForRows(uint32_t width, uint32_t height, int threads) {
    const uint64_t worth = uint64_t{width} * height / kPixelsOfThread;
    return threadsFor(std::min<uint64_t>(worth, height), threads);
}

// Calls row(worker, y) for every row; it returns false to end the pass. The pass is height steps
// for the watch. False when it did not come to its end, for either reason.
template <class Row>
bool passOverRows(uint32_t width, uint32_t height, int threads, Watch& watch, Row&& row) {
    std::atomic<bool> stopped{false};
    std::atomic<uint32_t> done{0};
    uint32_t told = 0;
    const auto tell = [&] {
        const uint32_t now = done.load(std::memory_order_relaxed);
        const bool going = advance(watch, now - told);
        told = now;
        return going;
    };
    auto part = [&](int worker, uint32_t first, uint32_t last) {
        for (uint32_t y = first; y < last; ++y) {
            if (stopped.load(std::memory_order_relaxed)) return;
            bool going = (worker != 0 || goOn(watch)) && row(worker, y);
            if (going) done.fetch_add(1, std::memory_order_relaxed);
            if (going && worker == 0) going = tell();
            if (!going) stopped.store(true, std::memory_order_relaxed);
        }
    };
    const uint32_t grain = std::max(kPixelsOfPart / std::max(width, 1u), 1u);
    forParts(height, grain, threadsForRows(width, height, threads), part);
    return !stopped.load() && (told == height || tell());
}

}  // namespace tivar
