#include "harness/large_blocks.h"

#include <algorithm>
#include <cstdint>

#include "harness/check.h"

#if defined(__SANITIZE_ADDRESS__)
#define TIVAR_KEEPS_BLOCKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TIVAR_KEEPS_BLOCKS
#endif
#endif

#ifdef TIVAR_KEEPS_BLOCKS
#include <sanitizer/asan_interface.h>
#endif

extern "C" void* __real_malloc(std::size_t size);
extern "C" void __real_free(void* block);

namespace fuzz {

#ifdef TIVAR_KEEPS_BLOCKS

namespace {

constexpr std::size_t kLarge = std::size_t{1} << 14;
constexpr std::size_t kMostRoom = std::size_t{1} << 22;

struct LargeBlock {
    void* memory;
    std::size_t room;
    std::size_t size;     // 0 while it is kept
    std::uint64_t freed;  // when: the one that was freed first is taken first
};

LargeBlock g_blocks[32];
std::uint64_t g_clock = 0;

LargeBlock* find(const void* block) {
    if (block == nullptr) return nullptr;
    LargeBlock* const end = std::end(g_blocks);
    LargeBlock* found = std::find_if(
        std::begin(g_blocks), end, [&](const LargeBlock& large) { return large.memory == block; });
    return found == end ? nullptr : found;
}

// Blocks of like sizes share a room.
std::size_t roomFor(std::size_t size) {
    std::size_t room = kLarge;
    while (room < size) room *= 2;
    return room;
}

void drop(LargeBlock& large) {
    __asan_unpoison_memory_region(large.memory, large.room);
    __real_free(large.memory);
    large = {};
}

// An empty place for one more, that of the kept block that was freed first where there is no other.
LargeBlock* emptyPlace() {
    LargeBlock* oldest = nullptr;
    for (LargeBlock& large : g_blocks) {
        if (large.memory == nullptr) return &large;
        if (large.size == 0 && (oldest == nullptr || large.freed < oldest->freed)) oldest = &large;
    }
    if (oldest != nullptr) drop(*oldest);
    return oldest;
}

LargeBlock* keptWith(std::size_t room) {
    LargeBlock* oldest = nullptr;
    for (LargeBlock& large : g_blocks) {
        if (large.memory == nullptr || large.size != 0 || large.room != room) continue;
        if (oldest == nullptr || large.freed < oldest->freed) oldest = &large;
    }
    return oldest;
}

}  // namespace

bool isLarge(std::size_t size) {
    return size >= kLarge && size <= kMostRoom;
}

void* takeLarge(std::size_t size) {
    const std::size_t room = roomFor(size);
    LargeBlock* large = keptWith(room);
    if (large == nullptr) {
        large = emptyPlace();
        // More large blocks at a time than places: an ordinary one.
        if (large == nullptr) return __real_malloc(size);
        void* memory = __real_malloc(room);
        if (memory == nullptr) return nullptr;
        *large = {memory, room, 0, 0};
    }
    large->size = size;
    __asan_unpoison_memory_region(large->memory, size);
    const std::size_t whole = (size + 7) / 8 * 8;
    __asan_poison_memory_region(static_cast<char*>(large->memory) + size, whole - size);
    __asan_poison_memory_region(static_cast<char*>(large->memory) + whole, room - whole);
    return large->memory;
}

std::size_t largeSize(const void* block) {
    const LargeBlock* large = find(block);
    return large == nullptr ? 0 : large->size;
}

bool giveBackLarge(const void* block) {
    LargeBlock* large = find(block);
    if (large == nullptr) return false;
    require(large->size != 0, "a block was freed twice");
    large->size = 0;
    large->freed = ++g_clock;
    __asan_poison_memory_region(large->memory, large->room);
    return true;
}

#else

bool isLarge(std::size_t) {
    return false;
}

void* takeLarge(std::size_t) {
    return nullptr;
}

std::size_t largeSize(const void*) {
    return 0;
}

bool giveBackLarge(const void*) {
    return false;
}

#endif

}  // namespace fuzz
