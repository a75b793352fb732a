// Numbers at fixed byte positions of a host's block, which needs no alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tivar {

template <class T>
T fieldAt(const void* block, size_t position) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t*>(block) + position, sizeof value);
    return value;
}

}  // namespace tivar
