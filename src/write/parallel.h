// One function over the parts of a range, on several threads. What it makes must not depend on who
// does which part: the parts are handed out as the threads come for them.
#pragma once

#include <cstdint>

namespace tivar {

constexpr int kMostThreads = 64;

// Does the indices from first to last, without last. worker is 0 on the caller's thread, and else a
// number below the threads that no other thread has at the time.
using PartFunction = void (*)(void* context, int worker, uint32_t first, uint32_t last);

// The threads that are worth having for so many parts: at least 1, at most kMostThreads.
int threadsFor(uint64_t parts, int threads);

// Calls run for every part of 0 to count, grain indices each, on up to so many threads, the
// caller's among them, which does the first part at least. A thread that cannot be had is done
// without. Returns when all is done.
void runParts(uint32_t count, uint32_t grain, int threads, PartFunction run, void* context);

// The same for run(worker, first, last).
template <class Run>
void forParts(uint32_t count, uint32_t grain, int threads, Run& run) {
    const PartFunction call = [](void* context, int worker, uint32_t first, uint32_t last) {
        (*static_cast<Run*>(context))(worker, first, last);
    };
    runParts(count, grain, threads, call, &run);
}

}  // namespace tivar
