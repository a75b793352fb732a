// The blur that stands for looking from a distance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

// Rows of pixels without padding, channels bytes each.
struct Samples {
    size_t width{};
    size_t height{};
    size_t channels{};
    std::vector<uint8_t> bytes;
};

// How many rows and columns around a pixel have a part in its blurred value.
constexpr size_t kBlurReach = 6;

// A Gaussian blur of radius 2 as the tools for pictures that the quality is compared by have it:
// three boxes of radius 1.375 one after the other, along the rows and then along the columns, every
// result rounded to a byte. Beyond an edge its pixels go on.
void blur(Samples& samples);

}  // namespace tool
