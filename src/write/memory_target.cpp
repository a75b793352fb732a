#include "write/memory_target.h"

#include <tivar/write.h>

#include <algorithm>
#include <cstring>

namespace tivar {
namespace {

int32_t growTo(MemoryTarget& file, uint64_t room) {
    if (room <= file.room) return TIVAR_RESULT_OK;
    if (room > PTRDIFF_MAX) return TIVAR_RESULT_NO_MEMORY;
    void* grown = std::realloc(file.block.data, static_cast<size_t>(room));
    if (grown == nullptr) return TIVAR_RESULT_NO_MEMORY;
    file.block.data = static_cast<uint8_t*>(grown);
    file.room = static_cast<size_t>(room);
    return TIVAR_RESULT_OK;
}

int32_t expectLength(void* context, uint64_t length) {
    return growTo(*static_cast<MemoryTarget*>(context), length);
}

int32_t putAt(void* context, uint64_t place, const void* bytes, size_t length) {
    auto& file = *static_cast<MemoryTarget*>(context);
    const uint64_t end = place + length;
    if (end > file.room) {
        const int32_t result = growTo(file, std::max(end, uint64_t{file.room} * 2));
        if (result != TIVAR_RESULT_OK) return result;
    }
    std::memcpy(file.block.data + static_cast<size_t>(place), bytes, length);
    file.length = std::max(file.length, static_cast<size_t>(end));
    return TIVAR_RESULT_OK;
}

int32_t append(void* context, const void* bytes, size_t length) {
    return putAt(context, static_cast<MemoryTarget*>(context)->length, bytes, length);
}

}  // namespace

Target memoryTarget(MemoryTarget& file) {
    return {&file, append, putAt, expectLength};
}

}  // namespace tivar
