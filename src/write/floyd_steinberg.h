// A row of error diffusion, one channel: R. W. Floyd and L. Steinberg, "An adaptive algorithm for
// spatial greyscale", 1976.
#pragma once

#include <algorithm>
#include <cstdint>

namespace tivar {

// Errors and levels on their way are in sixteenths of a level.
constexpr int kErrorUnit = 16;
constexpr int kHighestLevel = 255 * kErrorUnit;

constexpr int roundLevel(int level) {
    return (level + kErrorUnit / 2) / kErrorUnit;
}

// What a row's pixels have left for those that come next. Shares beyond the row's ends are dropped.
struct ErrorCourse {
    int next = 0;
    int below = 0;  // for the place below the last pixel so far
    int ahead = 0;  // and for the one after it

    // A pixel's level, held within what there is.
    int levelOf(int source, int above) const {
        return std::clamp(source * kErrorUnit + above + next, 0, kHighestLevel);
    }

    // Spreads a pixel's error. The result is all that the place below the pixel before gets.
    int16_t pass(int error) {
        next = error * 7 >> 4;
        const int toBehind = error * 3 >> 4;
        const int toBelow = error * 5 >> 4;
        const int finished = below + toBehind;
        below = ahead + toBelow;
        ahead = error - next - toBehind - toBelow;
        return static_cast<int16_t>(finished);
    }

    // All that the place below the row's last pixel gets.
    int16_t last() const { return static_cast<int16_t>(below); }
};

}  // namespace tivar
