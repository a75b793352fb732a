// Movable memory on the process heap. A handle is the address of a header in front of the data; the
// byte just before the data holds the distance back to the header, so that a data address leads to
// its handle without a table.
#include "base/memory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/pages.h"

namespace tivar {
namespace {

struct BlockHeader {
    uint32_t size;       // as asked for
    uint32_t flags;      // recorded, never interpreted
    uint32_t lockField;  // always 0: there is no lock count
    uint8_t* data;
    uint8_t dataOffset;
    uint8_t freed;  // 1: freed while pinned
    uint16_t pins;  // uses by running calls
};

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(BlockHeader) == 20);
#endif

constexpr uint64_t kAlignment = 8;

// Bytes of the whole block: header, alignment gap, back byte, data and slack, in eights.
uint64_t blockBytes(uint32_t size) {
    return (uint64_t{size} + sizeof(BlockHeader) + 14) / kAlignment * kAlignment;
}

bool fitsIn32Bits(uint64_t bytes) {
    return bytes <= UINT32_MAX;
}

BlockHeader* headerOf(MemHandle handle) {
    return reinterpret_cast<BlockHeader*>(handle);
}

bool isOwnMemory(const BlockHeader* header) {
    return header->data == reinterpret_cast<const uint8_t*>(header) + header->dataOffset;
}

// The way back from the data to the header. Written only where it changed: threads may lock one
// block at the same time.
void placeBackByte(BlockHeader* header) {
    uint8_t& backByte = header->data[-1];
    if (backByte != header->dataOffset) backByte = header->dataOffset;
}

void placeHeader(void* block, uint32_t flags, uint32_t size) {
    const auto address = reinterpret_cast<uintptr_t>(block);
    const auto gap = (kAlignment - (address + sizeof(BlockHeader)) % kAlignment) % kAlignment;
    const auto offset = static_cast<uint8_t>(sizeof(BlockHeader) + gap);
    auto* header = static_cast<BlockHeader*>(block);
    *header = {size, flags, 0, static_cast<uint8_t*>(block) + offset, offset, 0, 0};
    placeBackByte(header);
}

// Moves a block's contents into the one that takes its place; 0, and nothing moved, without one.
MemHandle replaceBlock(MemHandle handle, MemHandle successor) {
    if (successor == 0) return 0;
    std::memcpy(headerOf(successor)->data, headerOf(handle)->data,
                std::min(headerOf(handle)->size, headerOf(successor)->size));
    GlobalFree(handle);
    return successor;
}

void reportExhaustion(uint32_t size) {
    const auto bytes = static_cast<long long>(static_cast<intptr_t>(blockBytes(size)));
    std::printf(
        "GloalAlloc function failed due to insufficient memory: needs %lld bytes memory!!\n",
        bytes);
}

}  // namespace

MemHandle allocateQuietly(uint32_t flags, uint32_t size) {
    const uint64_t bytes = blockBytes(size);
    if (!fitsIn32Bits(bytes)) return 0;
    void* block = std::calloc(static_cast<size_t>(bytes / kAlignment), kAlignment);
    if (block == nullptr) return 0;
    preferLargePages(block, bytes);
    placeHeader(block, flags, size);
    return reinterpret_cast<MemHandle>(block);
}

MemHandle resizeBlock(MemHandle handle, uint32_t size) {
    const uint64_t bytes = blockBytes(size);
    if (isGone(handle) || !fitsIn32Bits(bytes)) return 0;
    const BlockHeader old = *headerOf(handle);
    if (old.pins != 0) return replaceBlock(handle, allocateQuietly(old.flags, size));
    void* block = std::realloc(headerOf(handle), static_cast<size_t>(bytes));
    if (block == nullptr) return 0;
    placeHeader(block, old.flags, size);
    const auto moved = reinterpret_cast<MemHandle>(block);
    const uint8_t newOffset = headerOf(moved)->dataOffset;
    if (newOffset != old.dataOffset) {
        auto* start = static_cast<uint8_t*>(block);
        const uint32_t kept = old.size < size ? old.size : size;
        std::memmove(start + newOffset, start + old.dataOffset, kept);
    }
    placeBackByte(headerOf(moved));
    return moved;
}

void pinBlock(MemHandle handle) {
    if (handle != 0) ++headerOf(handle)->pins;
}

void unpinBlock(MemHandle handle) {
    if (handle == 0) return;
    BlockHeader* header = headerOf(handle);
    if (--header->pins == 0 && header->freed != 0) std::free(header);
}

bool isGone(MemHandle handle) {
    return handle == 0 || headerOf(handle)->freed != 0;
}

size_t blockRoom(MemHandle handle) {
    if (isGone(handle)) return 0;
    const BlockHeader* header = headerOf(handle);
    if (!isOwnMemory(header)) return header->size;
    return static_cast<size_t>(blockBytes(header->size)) - header->dataOffset;
}

}  // namespace tivar

using namespace tivar;

MemHandle GlobalAlloc(uint32_t flags, uint32_t size) {
    const MemHandle handle = allocateQuietly(flags, size);
    if (handle == 0 && fitsIn32Bits(blockBytes(size))) reportExhaustion(size);
    return handle;
}

void* GlobalLock(MemHandle handle) {
    if (isGone(handle)) return nullptr;
    BlockHeader* header = headerOf(handle);
    if (isOwnMemory(header)) placeBackByte(header);
    return header->data;
}

int32_t GlobalUnlock(MemHandle) {
    return 0;
}

MemHandle GlobalFree(MemHandle handle) {
    if (handle == 0) return 0;
    BlockHeader* header = headerOf(handle);
    if (header->pins != 0)
        header->freed = 1;
    else
        std::free(header);
    return 0;
}

MemHandle GlobalReAlloc(MemHandle handle, uint32_t size, uint32_t flags) {
    if (isGone(handle)) return 0;
    const MemHandle grown = GlobalAlloc(flags, size);
    if (grown == 0) GlobalFree(handle);
    return replaceBlock(handle, grown);
}

MemHandle GlobalHandle(const void* pointer) {
    if (pointer == nullptr) return 0;
    const auto* data = static_cast<const uint8_t*>(pointer);
    return reinterpret_cast<MemHandle>(data - data[-1]);
}

uint32_t GlobalSize(MemHandle handle) {
    return isGone(handle) ? 0 : headerOf(handle)->size;
}

uint32_t GlobalCompact(uint32_t wanted) {
    return wanted == 0 ? 0x10000 : wanted;
}

MemHandle GlobalPointerToHandle(void* pointer, uint32_t size) {
    auto* header = static_cast<BlockHeader*>(std::calloc(1, sizeof(BlockHeader)));
    if (header == nullptr) return 0;
    header->size = size;
    header->data = static_cast<uint8_t*>(pointer);
    header->dataOffset = sizeof(BlockHeader);
    return reinterpret_cast<MemHandle>(header);
}

void* oxlPtrGlobalAlloc(uint32_t size) {
    return size == 0 ? nullptr : GlobalLock(allocateZeroed(size));
}

MemHandle oxlPtrGlobalFree(void* pointer) {
    const MemHandle handle = oxlPtrGlobalHandle(pointer);
    if (GlobalUnlock(handle) != 0) return handle;
    return GlobalFree(handle);
}

void* oxlPtrGlobalReAlloc(void* pointer, uint32_t size, uint32_t flags) {
    if (pointer == nullptr) return oxlPtrGlobalAlloc(size);
    const MemHandle handle = oxlPtrGlobalHandle(pointer);
    if (GlobalUnlock(handle) != 0) return nullptr;
    if (size == 0) {
        GlobalFree(handle);
        return nullptr;
    }
    return GlobalLock(GlobalReAlloc(handle, size, flags));
}

MemHandle oxlPtrGlobalHandle(const void* pointer) {
    return GlobalHandle(pointer);
}
