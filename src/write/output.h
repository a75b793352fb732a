// The bytes of the file on their way to where they go.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/block.h"

namespace tivar {

// Where the bytes go. The functions return enum TivarResult.
struct Target {
    void* context;
    int32_t (*write)(void* context, const void* bytes, size_t length);
    // Puts bytes at a place of the file; null = the target takes them in order only.
    int32_t (*writeAt)(void* context, uint64_t place, const void* bytes, size_t length);
    // Told the file's length before the first byte, where it is known; may be null.
    int32_t (*expect)(void* context, uint64_t length);
};

// Collects small pieces. Without a target it only counts.
struct Output {
    const Target* target;
    Block<uint8_t> buffer;
    size_t used;
    uint64_t length;  // bytes put so far
};

// False without memory.
bool prepareOutput(Output& output, const Target* target);

// Both: enum TivarResult.
int32_t put(Output& output, const void* bytes, size_t length);
int32_t flush(Output& output);

}  // namespace tivar
