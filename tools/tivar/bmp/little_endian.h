// Numbers as BMP files hold them, least significant byte first.
#pragma once

#include <cstdint>

namespace tool {

inline uint16_t little16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

inline uint32_t little32(const uint8_t* at) {
    return little16(at) | static_cast<uint32_t>(little16(at + 2)) << 16;
}

inline void putLittle32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i, value >>= 8) at[i] = static_cast<uint8_t>(value);
}

}  // namespace tool
