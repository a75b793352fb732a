#include "harness/heap.h"

#include <unistd.h>

#include <cstddef>
#include <utility>

#include "harness/check.h"

namespace fuzz {
namespace {

struct Heap {
    bool watching = false;
    long live = 0;
    bool refused = false;
    std::uint32_t untilFailure = 0;
    std::size_t largest = kLargestBlock;
};

Heap g_heap;

bool refuses(std::size_t bytes) {
    if (!g_heap.watching) return false;
    const bool due = g_heap.untilFailure > 0 && --g_heap.untilFailure == 0;
    if (!due && bytes <= g_heap.largest) return false;
    g_heap.refused = true;
    return true;
}

void count(long blocks) {
    if (g_heap.watching) g_heap.live += blocks;
}

int lowestFreeDescriptor() {
    const int lowest = dup(STDERR_FILENO);
    close(lowest);
    return lowest;
}

}  // namespace

HeapWatch::HeapWatch(std::size_t largest) : descriptor_(lowestFreeDescriptor()) {
    g_heap = {};
    g_heap.largest = largest;
    g_heap.watching = true;
}

HeapWatch::~HeapWatch() {
    g_heap.watching = false;
    require(g_heap.live >= 0, "a block was freed that nobody allocated");
    require(g_heap.live == 0, "blocks stay allocated");
    require(lowestFreeDescriptor() == descriptor_, "files stay open");
}

bool HeapWatch::refused() {
    return g_heap.refused;
}

FailingAllocation::FailingAllocation(std::uint32_t nth) {
    g_heap.untilFailure = nth;
}

FailingAllocation::~FailingAllocation() {
    g_heap.untilFailure = 0;
}

OwnAllocation::OwnAllocation() : postponed_(std::exchange(g_heap.untilFailure, 0)) {}

OwnAllocation::~OwnAllocation() {
    g_heap.untilFailure = postponed_;
}

}  // namespace fuzz

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t size) {
    void* block = fuzz::refuses(size) ? nullptr : __real_malloc(size);
    if (block != nullptr) fuzz::count(1);
    return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    void* block = fuzz::refuses(count * size) ? nullptr : __real_calloc(count, size);
    if (block != nullptr) fuzz::count(1);
    return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
    if (fuzz::refuses(size)) return nullptr;
    void* moved = __real_realloc(block, size);
    if (block == nullptr && moved != nullptr) fuzz::count(1);
    return moved;
}

void __wrap_free(void* block) {
    if (block != nullptr) fuzz::count(-1);
    __real_free(block);
}
}
