#include "gallery/compare.h"

#include <algorithm>
#include <cmath>

namespace tool {

double meanSquaredError(const PixelRows& a, const PixelRows& b) {
    const size_t channels = size_t{std::min(a.width, b.width)} * 3;
    const uint32_t height = std::min(a.height, b.height);
    std::vector<uint8_t> packed;
    std::vector<uint8_t> first(size_t{a.width} * 3);
    std::vector<uint8_t> second(size_t{b.width} * 3);
    uint64_t sum = 0;
    for (uint32_t y = 0; y < height; ++y) {
        readColors(a, y, packed, first.data());
        readColors(b, y, packed, second.data());
        for (size_t i = 0; i < channels; ++i) {
            const int difference = first[i] - second[i];
            sum += static_cast<uint64_t>(difference * difference);
        }
    }
    return static_cast<double>(sum) / (static_cast<double>(channels) * height);
}

double signalToNoise(double meanSquaredError) {
    return 10 * std::log10(255.0 * 255.0 / meanSquaredError);
}

}  // namespace tool
