// The device window, in the corners' own order: values 1 and 2 are the first corner's x and y, 4
// and 5 the second's.
#pragma once

#include <tivar/driver.h>

#include <cstdint>

#include "base/numbers.h"

namespace tivar {

enum WindowValue { kWindowX1 = 0, kWindowY1 = 1, kWindowX2 = 3, kWindowY2 = 4 };

// |b - a| + 1 of two window values truncated to integers.
inline uint64_t windowExtent(const EMData& device, WindowValue a, WindowValue b) {
    const int64_t from = saturate<int32_t>(device.deviceWindow[a]);
    const int64_t to = saturate<int32_t>(device.deviceWindow[b]);
    return static_cast<uint64_t>(to > from ? to - from : from - to) + 1;
}

}  // namespace tivar
