#include "write/parallel.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>

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
    pthread_t thread;
};

void workFrom(Shared& shared, int number, uint32_t part) {
    while (part < shared.parts) {
        const uint32_t first = part * shared.grain;
        const uint32_t last = first + std::min(shared.grain, shared.count - first);
        shared.run(shared.context, number, first, last);
        part = shared.next.fetch_add(1, std::memory_order_relaxed);
    }
}

void* startWorker(void* argument) {
    const auto* worker = static_cast<const Worker*>(argument);
    Shared& shared = *worker->shared;
    workFrom(shared, worker->number, shared.next.fetch_add(1, std::memory_order_relaxed));
    return nullptr;
}

// Starts up to wanted workers and returns how many there are. The process's signals go on being
// delivered to threads of its own: these have them blocked.
int startWorkers(Worker* workers, int wanted, Shared& shared) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return 0;
    int started = 0;
    while (started < wanted) {
        Worker& worker = workers[started];
        worker.shared = &shared;
        worker.number = started + 1;
        if (pthread_create(&worker.thread, nullptr, startWorker, &worker) != 0) break;
        ++started;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
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
    Worker workers[kMostThreads];
    const int started = startWorkers(workers, threadsFor(shared.parts, threads) - 1, shared);
    workFrom(shared, 0, 0);
    for (int i = 0; i < started; ++i) pthread_join(workers[i].thread, nullptr);
}

}  // namespace tivar
