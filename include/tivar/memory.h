/* Movable memory: allocate a block and get a handle, lock the handle to get its address, unlock,
 * resize, free. Blocks lie on the process heap, never move while allocated and are zero-filled;
 * locking does not count. Data is 8-aligned. One block is used by one thread at a time. */
#ifndef TIVAR_MEMORY_H
#define TIVAR_MEMORY_H

#include <tivar/types.h>

TIVAR_BEGIN_C

/* What every caller of the library passes: movable, zero-filled. No flag changes any behaviour. */
#define TIVAR_GMEM_FLAGS 66u

/* Allocates size zeroed bytes. The caller owns the handle and frees it with GlobalFree.
 * 0 when the heap is exhausted (a line on standard output says so) or when the block's size, header
 * included, would pass 32 bits (silent). size 0 is a valid, empty block. */
TIVAR_API MemHandle GlobalAlloc(uint32_t flags, uint32_t size);

/* Address of the block's bytes; null for handle 0. A locked block gives the same address again. */
TIVAR_API void* GlobalLock(MemHandle handle);

/* Ends a lock; always 0: no locks remain. */
TIVAR_API int32_t GlobalUnlock(MemHandle handle);

/* Frees the block; handle 0 is allowed. Always 0. */
TIVAR_API MemHandle GlobalFree(MemHandle handle);

/* A new block with the old one's contents, cut or zero-extended to size. The old handle is gone in
 * every case, also when the result is 0 (no memory, or handle 0). */
TIVAR_API MemHandle GlobalReAlloc(MemHandle handle, uint32_t size, uint32_t flags);

/* The handle behind an address that GlobalLock gave for a block of GlobalAlloc; 0 for null. */
TIVAR_API MemHandle GlobalHandle(const void* pointer);

/* The size asked for, in bytes; 0 for handle 0. */
TIVAR_API uint32_t GlobalSize(MemHandle handle);

/* Returns its argument, or 0x10000 when that is 0. */
TIVAR_API uint32_t GlobalCompact(uint32_t wanted);

/* Wraps size bytes of the caller's memory in a handle: GlobalLock gives pointer, GlobalSize size,
 * and GlobalFree frees the handle only. GlobalHandle(pointer) does not lead back to it. 0 without
 * memory. */
TIVAR_API MemHandle GlobalPointerToHandle(void* pointer, uint32_t size);

/* The same blocks for code that thinks in pointers: allocate and lock; null without memory and for
 * size 0. */
TIVAR_API void* oxlPtrGlobalAlloc(uint32_t size);

/* Frees what oxlPtrGlobalAlloc gave; null is allowed. Always 0. */
TIVAR_API MemHandle oxlPtrGlobalFree(void* pointer);

/* Resizes; pointer null allocates (flags unused), size 0 frees and gives null. The old address is
 * gone in every case, also when the result is null. */
TIVAR_API void* oxlPtrGlobalReAlloc(void* pointer, uint32_t size, uint32_t flags);

/* The same as GlobalHandle. */
TIVAR_API MemHandle oxlPtrGlobalHandle(const void* pointer);

TIVAR_END_C

#endif
