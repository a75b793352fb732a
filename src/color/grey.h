// What counts as grey, and what grey a colour becomes.
#pragma once

#include <cstdint>

namespace tivar {

// Components of a colour that is looked for as a grey differ by no more.
constexpr int kGreyTolerance = 4;

// Not short-circuited: the answer is quicker than a mispredicted branch.
constexpr bool isGreyQuery(int red, int green, int blue) {
    const auto far = [](int a, int b) {
        return static_cast<unsigned>(a - b + kGreyTolerance) > 2 * kGreyTolerance ? 1 : 0;
    };
    return (far(red, green) | far(green, blue) | far(red, blue)) == 0;
}

// An entry of a colour table is a grey only when its components are equal.
constexpr bool isGreyEntry(const uint8_t* entry) {
    return entry[0] == entry[1] && entry[1] == entry[2];
}

constexpr uint8_t greyOf(const uint8_t* color) {
    return static_cast<uint8_t>((3 * color[0] + 6 * color[1] + color[2]) / 10);
}

}  // namespace tivar
