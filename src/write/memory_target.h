// A file in a growing block of memory.
#pragma once

#include <cstddef>

#include "base/heap.h"
#include "write/output.h"

namespace tivar {

struct MemoryTarget {
    HeapBytes block;
    size_t length;
    size_t room;
};

// The target lives as long as file.
Target memoryTarget(MemoryTarget& file);

}  // namespace tivar
