// A file in a growing block of memory.
#pragma once

#include <cstddef>

#include "base/block.h"
#include "write/output.h"

namespace tivar {

struct MemoryTarget {
    Block<uint8_t> block;
    size_t length;
    size_t room;
};

// The target lives as long as file.
Target memoryTarget(MemoryTarget& file);

}  // namespace tivar
