// Rows of indices, put together one by one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tool {

// Fills a zeroed row of indices of 1, 4 or 8 bits with indexOf(x).
template <class IndexOf>
void packIndices(uint8_t* row, size_t width, unsigned bits, IndexOf indexOf) {
    for (size_t x = 0; x < width; ++x) {
        const size_t bit = x * bits;
        uint8_t& byte = row[bit / 8];
        byte = static_cast<uint8_t>(byte | indexOf(x) << (8 - bits - bit % 8));
    }
}

}  // namespace tool
