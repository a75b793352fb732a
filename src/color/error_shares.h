// How the error of a pixel is shared out among its neighbours: the weights of Floyd and Steinberg,
// approximately.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace tivar {

// To the right, and below, below left and below right.
template <class Error>
struct Shares {
    Error right;
    Error below;
    Error belowLeft;
    Error belowRight;
};

// t goes to the right, and the three pixels below get what t leaves after taking off eighths, for
// 7, 5, 3 and 1 sixteenths. divide(error, shift) divides by 2 to the power shift, toward zero.
template <class Error, class Divide>
constexpr Shares<Error> sharesOf(Error error, Divide divide) {
    const Error q = divide(error, 3);
    const Error t = divide(error * 7, 4);
    return {t, t - q, t - 2 * q, t - 3 * q};
}

constexpr Shares<int> sharesOf(int error) {
    return sharesOf(error, [](int value, int shift) { return value / (1 << shift); });
}

constexpr int kClampBase = 128;

// Entry i is i - 128 held to a byte: indexed through its base, the sum of a byte and an amount of
// at most 128 either way reads as the clamped byte.
constexpr std::array<uint8_t, 512> BOUNDARY_CHK = [] {
    std::array<uint8_t, 512> table{};
    for (int i = 0; i < 512; ++i)
        table[static_cast<size_t>(i)] = static_cast<uint8_t>(std::clamp(i - kClampBase, 0, 255));
    return table;
}();

inline void addClamped(uint8_t& channel, int amount) {
    const int place = kClampBase + channel + amount;
    channel = BOUNDARY_CHK[static_cast<size_t>(place)];
}

// Spreads the error of one channel of a 24-bit pixel; below is the same channel one row below, or
// null.
inline void spreadError(uint8_t* pixel, uint8_t* below, int error, bool hasLeft) {
    const Shares<int> shares = sharesOf(error);
    addClamped(pixel[3], shares.right);
    if (below == nullptr) return;
    addClamped(below[0], shares.below);
    if (hasLeft) addClamped(below[-3], shares.belowLeft);
    addClamped(below[3], shares.belowRight);
}

}  // namespace tivar
