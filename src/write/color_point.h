// Colours as the palette choice weighs them.
#pragma once

#include <cstdint>

namespace tivar {

// Steps of a channel's level: means are kept that much finer than the picture's own levels, and
// squared distances still are whole numbers that a float holds.
constexpr int kPointSteps = 8;
static_assert(3 * (255 * kPointSteps) * (255 * kPointSteps) < 1 << 24);

// Pixels of nearly one colour: their mean, their number (of very large pictures a fraction of it)
// and the cluster that they belong to.
struct ColorPoint {
    uint16_t channels[3];  // red, green, blue, in steps
    uint16_t cluster;
    uint32_t weight;
};

// Points added up.
struct ColorSum {
    uint64_t weight;
    uint64_t channels[3];  // by weight

    void add(const ColorPoint& point) {
        weight += point.weight;
        for (int i = 0; i < 3; ++i) channels[i] += uint64_t{point.weight} * point.channels[i];
    }
    void add(const ColorSum& sum) {
        weight += sum.weight;
        for (int i = 0; i < 3; ++i) channels[i] += sum.channels[i];
    }
};

// value over by, rounded to the nearest.
inline uint64_t roundedQuotient(uint64_t value, uint64_t by) {
    return (value + by / 2) / by;
}

}  // namespace tivar
