// sRGB's values and the amounts of light that they stand for.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace tool {

struct LinearLight {
    std::array<float, 256> light{};  // 0 to 1, of each value
    std::vector<uint8_t> values;     // the nearest one to each step of light

    LinearLight();

    // Of any light: what is too dark is black, what is too bright is white.
    uint8_t valueOf(float amount) const {
        const float last = static_cast<float>(values.size() - 1);
        return values[static_cast<size_t>(std::clamp(amount * last + 0.5F, 0.0F, last))];
    }
};

}  // namespace tool
