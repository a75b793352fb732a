// What the library itself needs of movable memory beyond the public calls: silent allocation, the
// true extent of a block, resizing in place, and guards that pair lock with unlock, alloc with free
// and pin with unpin.
#pragma once

#include <tivar/memory.h>

#include <cstddef>
#include <cstdint>

namespace tivar {

// GlobalAlloc without its message.
MemHandle allocateQuietly(uint32_t flags, uint32_t size);

// Resizes a GlobalAlloc block, in place where the heap can, with the added bytes left undefined.
// The block is moved or kept, never lost: 0 when there is no memory, and handle then stays valid.
MemHandle resizeBlock(MemHandle handle, uint32_t size);

// Bytes from the block's data to the end of its memory: its size and the slack behind it.
size_t blockRoom(MemHandle handle);

// A pinned block outlives GlobalFree: its memory stays until the last pin goes, while to GlobalLock
// and GlobalSize it is at once no block any more. Running calls pin what call-backs of the host may
// free.
void pinBlock(MemHandle handle);
void unpinBlock(MemHandle handle);

// Whether there is no block: handle 0, or freed while pinned.
bool isGone(MemHandle handle);

// Locks a block for the life of the guard.
template <class T>
struct Locked {
    explicit Locked(MemHandle block) : handle(block), data(static_cast<T*>(GlobalLock(block))) {}
    ~Locked() { GlobalUnlock(handle); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    explicit operator bool() const { return data != nullptr; }
    T* operator->() const { return data; }
    T& operator*() const { return *data; }

    MemHandle handle;
    T* data;
};

// Locks and pins a block for the life of the guard, through which its memory can be reached even
// once it is gone.
template <class T>
struct Pinned : Locked<T> {
    explicit Pinned(MemHandle block) : Locked<T>(block) { pinBlock(block); }
    ~Pinned() { unpinBlock(this->handle); }
    Pinned(const Pinned&) = delete;
    Pinned& operator=(const Pinned&) = delete;

    // Whether the block was freed meanwhile; false where there was none from the start.
    bool gone() const { return this->handle != 0 && isGone(this->handle); }
};

// Owns a locked block of zeroed bytes until release() or the guard's end.
struct OwnedBlock {
    explicit OwnedBlock(MemHandle block)
        : handle(block), data(static_cast<uint8_t*>(GlobalLock(block))) {}
    ~OwnedBlock() { GlobalFree(handle); }
    OwnedBlock(const OwnedBlock&) = delete;
    OwnedBlock& operator=(const OwnedBlock&) = delete;

    explicit operator bool() const { return data != nullptr; }
    MemHandle release() {
        const MemHandle kept = handle;
        handle = 0;
        return kept;
    }

    MemHandle handle;
    uint8_t* data;
};

// Zeroed, and without a word when there is no memory; 0 for what passes 32 bits.
inline MemHandle allocateScratch(uint64_t size) {
    return size > UINT32_MAX ? 0 : allocateQuietly(TIVAR_GMEM_FLAGS, static_cast<uint32_t>(size));
}

inline MemHandle allocateZeroed(uint32_t size) {
    return GlobalAlloc(TIVAR_GMEM_FLAGS, size);
}

}  // namespace tivar
