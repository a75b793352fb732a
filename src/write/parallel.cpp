#include "write/parallel.h"

#include <algorithm>
#include <atomic>

#include "base/threads.h"

namespace tivar {
namespace {

// What all threads of one call share.
struct Shared {
    uint32_t count;
    uint32_t grain;
    uint32_t parts;
    PartFunction run;
    void* context;
    std::atomic<uint32_t> next{1};  // the first is the caller's
};

struct Worker {
    Shared* shared;
    int number;
};

void workFrom(Shared& shared, int number, uint32_t part) {
    while (part < shared.parts) {
        const uint32_t first = part * shared.grain;
        const uint32_t last = first + std::min(shared.grain, shared.count - first);
        shared.run(shared.context, number, first, last);
        part = shared.next.fetch_add(1, std::memory_order_relaxed);
    }
}

void runWorker(void* argument) {
    const auto* worker = static_cast<const Worker*>(argument);
    Shared& shared = *worker->shared;
    workFrom(shared, worker->number, shared.next.fetch_add(1, std::memory_order_relaxed));
}

}  // namespace

int threadsFor(uint64_t parts, int threads) {
    const uint64_t most = static_cast<uint64_t>(std::clamp(threads, 1, kMostThreads));
    return static_cast<int>(std::clamp<uint64_t>(parts, 1, most));
}

void runParts(uint32_t count, uint32_t grain, int threads, PartFunction run, void* context) {
    if (count == 0) return;
    grain = std::max(grain, 1u);
    Shared shared{count, grain, (count - 1) / grain + 1, run, context};
    const int wanted = threadsFor(shared.parts, threads) - 1;
    Worker workers[kMostThreads];
    Thread started[kMostThreads];
    for (int i = 0; i < wanted; ++i) {
        workers[i] = {&shared, i + 1};
        started[i] = {runWorker, &workers[i], 0};
    }
    const int running = startThreads(started, wanted);
    workFrom(shared, 0, 0);
    for (int i = 0; i < running; ++i) joinThread(started[i]);
}

}  // namespace tivar
