// Colours as vectors: four 16-bit lanes a colour, red, green, blue and an idle one.
#pragma once

#include <cstdint>

#include "base/simd.h"

#if TIVAR_SIMD

namespace tivar {

// A colour's four lanes in a word, red lowest.
using LaneColor = uint64_t;

// Two colours.
typedef int16_t Lanes __attribute__((vector_size(16)));
typedef LaneColor LanePair __attribute__((vector_size(16)));

constexpr LaneColor laneColor(const uint8_t* color) {
    return color[0] | LaneColor{color[1]} << 16 | LaneColor{color[2]} << 32;
}

// Through registers: a store of two halves and a load of the whole would wait for each other.
inline Lanes join(LaneColor first, LaneColor second) {
    return reinterpret_cast<Lanes>(LanePair{first, second});
}

inline LanePair part(Lanes lanes) {
    return reinterpret_cast<LanePair>(lanes);
}

// To a byte's range.
inline Lanes clampLanes(Lanes lanes) {
    const Lanes notBelow = lanes < 0 ? Lanes{} : lanes;
    return notBelow > 255 ? Lanes{} + 255 : notBelow;
}

// By 2 to the power shift, toward zero.
inline Lanes divideLanes(Lanes lanes, int shift) {
    const auto remainder = static_cast<int16_t>((1 << shift) - 1);
    return (lanes + ((lanes >> 15) & remainder)) >> shift;
}

}  // namespace tivar

#endif
