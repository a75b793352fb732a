#include "harness/heap.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <utility>

#include "harness/check.h"
#include "harness/large_blocks.h"

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

// Of C++ allocations, which do not come this way.
using Ledger = std::unordered_map<const void*, std::uint64_t>;
Ledger* g_ledger = nullptr;
std::uint64_t g_serial = 0;

void* gained(void* block) {
    if (block == nullptr) return nullptr;
    if (g_heap.watching) ++g_heap.live;
    if (g_ledger != nullptr) (*g_ledger)[block] = ++g_serial;
    return block;
}

void lost(const void* block) {
    if (block == nullptr) return;
    if (g_heap.watching) --g_heap.live;
    if (g_ledger != nullptr) g_ledger->erase(block);
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

HeapLedger::HeapLedger() {
    g_ledger = new Ledger;
}

HeapLedger::~HeapLedger() {
    delete std::exchange(g_ledger, nullptr);
}

std::uint64_t HeapLedger::serialOf(const void* block) {
    const auto found = g_ledger->find(block);
    return found == g_ledger->end() ? 0 : found->second;
}

std::size_t HeapLedger::freeAll() {
    const Ledger left = *g_ledger;
    for (const auto& [block, serial] : left) std::free(const_cast<void*>(block));
    return left.size();
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
    if (fuzz::refuses(size)) return nullptr;
    return fuzz::gained(fuzz::isLarge(size) ? fuzz::takeLarge(size) : __real_malloc(size));
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    const std::size_t bytes = count * size;
    if (fuzz::refuses(bytes)) return nullptr;
    if (!fuzz::isLarge(bytes)) return fuzz::gained(__real_calloc(count, size));
    void* block = fuzz::takeLarge(bytes);
    return fuzz::gained(block == nullptr ? nullptr : std::memset(block, 0, bytes));
}

void* __wrap_realloc(void* block, std::size_t size) {
    if (fuzz::refuses(size)) return nullptr;
    void* moved = nullptr;
    if (fuzz::largeSize(block) == 0 && !fuzz::isLarge(size)) {
        moved = __real_realloc(block, size);
        if (moved == nullptr) return nullptr;
    } else {
        moved = fuzz::isLarge(size) ? fuzz::takeLarge(size) : __real_malloc(size);
        if (moved == nullptr) return nullptr;
        const std::size_t large = fuzz::largeSize(block);
        const std::size_t held = large != 0 ? large : malloc_usable_size(block);
        std::memcpy(moved, block, std::min(held, size));
        if (!fuzz::giveBackLarge(block)) __real_free(block);
    }
    fuzz::lost(block);
    return fuzz::gained(moved);
}

void __wrap_free(void* block) {
    fuzz::lost(block);
    if (!fuzz::giveBackLarge(block)) __real_free(block);
}
}
