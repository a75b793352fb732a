// 32-bit numbers from a seed, the same on every machine and for every word size.
#pragma once

#include <cstdint>

namespace support {

// xorshift (G. Marsaglia, "Xorshift RNGs", 2003) over a scrambled seed.
struct Random {
    explicit Random(std::uint32_t seed) : state(seed * 2654435761u + 88172645u) {
        if (state == 0) state = 1;
    }
    std::uint32_t operator()() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>((*this)() >> 24); }

    std::uint32_t state;
};

}  // namespace support
