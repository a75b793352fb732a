// Numeric helpers: the host's three, and conversions that saturate where the language leaves the
// result undefined (not-a-number becomes 0).
#pragma once

#include <cstdint>
#include <limits>

namespace tivar {

template <class Int>
Int saturate(double value) {
    if (!(value == value)) return 0;
    if (value <= static_cast<double>(std::numeric_limits<Int>::min()))
        return std::numeric_limits<Int>::min();
    if (value >= static_cast<double>(std::numeric_limits<Int>::max()))
        return std::numeric_limits<Int>::max();
    return static_cast<Int>(value);
}

inline double dabs(double value) {
    return value > 0.0 ? value : -value;
}

// 1 when a and b differ by at most tolerance, compared as unsigned numbers.
inline int32_t feqi(int32_t a, int32_t b, int32_t tolerance) {
    uint32_t difference = static_cast<uint32_t>(a) - static_cast<uint32_t>(b);
    if (static_cast<int32_t>(difference) < 0) difference = 0u - difference;
    return static_cast<uint32_t>(tolerance) >= difference ? 1 : 0;
}

// Half away from zero.
inline int32_t roundd(double value) {
    return saturate<int32_t>(value > 0.0 ? value + 0.5 : value - 0.5);
}

// 2 to the power bits in 16 bits, as counts of table entries are kept: a negative power is 0, and
// what passes 16 bits wraps to 0.
inline uint16_t entriesOfDepth(int32_t bits) {
    return bits < 0 || bits > 15 ? uint16_t{0} : static_cast<uint16_t>(1u << bits);
}

}  // namespace tivar
