// The library's own names for movable memory, and its debug level.
#include "base/memory.h"

#include <tivar/color.h>

int16_t _debug_color_res = 0;

using namespace tivar;

MemHandle rlGetMemory(int16_t elementSize, uint32_t count) {
    const uint64_t bytes = elementSize < 0 ? UINT64_MAX : uint64_t{count} * uint64_t(elementSize);
    return bytes > UINT32_MAX ? 0 : allocateZeroed(static_cast<uint32_t>(bytes));
}

void* rlLockMemory(MemHandle handle) {
    return GlobalLock(handle);
}

int32_t rlUnlockMemory(MemHandle handle) {
    return handle == 0 ? 0 : GlobalUnlock(handle);
}

int32_t rlFreeNewData(MemHandle handle) {
    if (handle == 0) return 0;
    GlobalFree(handle);
    return 1;
}

MemHandle rlPointertoHandle(const void* pointer) {
    return GlobalHandle(pointer);
}
