// Sizes as memory has them, which may be narrower than those of files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace tool {

// What is more than there can be memory for is as if there were none.
inline std::size_t inMemory(uint64_t count) {
    if (!std::in_range<std::size_t>(count)) throw std::bad_alloc();
    return static_cast<std::size_t>(count);
}

}  // namespace tool
