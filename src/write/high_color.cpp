#include "write/high_color.h"

#include <algorithm>

#include "write/floyd_steinberg.h"
#include "write/threshold_mask.h"

namespace tivar {
namespace {

constexpr int levelOf(int step, int most) {
    return (step * 255 + most / 2) / most;
}

HighPlace placeOf(int level, int most) {
    int lower = most - 1;
    while (levelOf(lower, most) > level) --lower;
    const int from = levelOf(lower, most);
    const int gap = levelOf(lower + 1, most) - from;
    return {static_cast<uint8_t>((level * most + 127) / 255), static_cast<uint8_t>(lower),
            static_cast<uint8_t>(((level - from) * 255 + gap / 2) / gap)};
}

// The places of a channel's levels: 0 = red.
const HighPlace* placesOf(const HighFormat& format, int channel) {
    return channel == 1 && format.greenBits == 6 ? format.sixes : format.fives;
}

uint16_t pixelOf(const HighFormat& format, const int (&steps)[3]) {
    return static_cast<uint16_t>((steps[0] << format.greenBits | steps[1]) << 5 | steps[2]);
}

}  // namespace

void prepareHigh(HighFormat& format, int greenBits) {
    format.greenBits = greenBits;
    for (int level = 0; level < 256; ++level) {
        format.fives[level] = placeOf(level, 31);
        format.sixes[level] = placeOf(level, 63);
    }
}

void roundHighRow(const HighFormat& format, const uint8_t* rgb, uint32_t width, uint16_t* pixels) {
    for (uint32_t x = 0; x < width; ++x, rgb += 3) {
        const int steps[3] = {placesOf(format, 0)[rgb[0]].nearest,
                              placesOf(format, 1)[rgb[1]].nearest,
                              placesOf(format, 2)[rgb[2]].nearest};
        pixels[x] = pixelOf(format, steps);
    }
}

void orderHighRow(const HighFormat& format, uint32_t y, const uint8_t* rgb, uint32_t width,
                  uint16_t* pixels) {
    const uint8_t* thresholds = thresholdsOf(y);
    for (uint32_t x = 0; x < width; ++x, rgb += 3) {
        int steps[3];
        for (int c = 0; c < 3; ++c) {
            const HighPlace& place = placesOf(format, c)[rgb[c]];
            steps[c] = place.lower + (place.part > thresholds[x % kMaskSide] ? 1 : 0);
        }
        pixels[x] = pixelOf(format, steps);
    }
}

bool prepareHighDiffusion(HighDiffusion& diffusion, uint32_t width, int greenBits) {
    prepareHigh(diffusion.format, greenBits);
    diffusion.width = width;
    diffusion.rows = 0;
    const uint64_t errors = (uint64_t{width} + 2) * 3;
    return errors * sizeof(int16_t) <= PTRDIFF_MAX &&
           diffusion.errors.obtainZeroed(static_cast<size_t>(errors));
}

void diffuseHighRow(HighDiffusion& diffusion, const uint8_t* rgb, uint16_t* pixels) {
    const bool backward = diffusion.rows++ % 2 != 0;
    const auto width = static_cast<ptrdiff_t>(diffusion.width);
    const ptrdiff_t along = backward ? -1 : 1;
    ptrdiff_t x = backward ? width - 1 : 0;
    ErrorCourse courses[3];
    for (ptrdiff_t i = 0; i < width; ++i, x += along) {
        int steps[3];
        for (int c = 0; c < 3; ++c) {
            int16_t* errors = diffusion.errors.data + 3 * (x + 1) + c;
            const int level = courses[c].levelOf(rgb[3 * x + c], *errors);
            const int most = c == 1 ? (1 << diffusion.format.greenBits) - 1 : 31;
            steps[c] = placesOf(diffusion.format, c)[roundLevel(level)].nearest;
            errors[-3 * along] = courses[c].pass(level - levelOf(steps[c], most) * kErrorUnit);
        }
        pixels[x] = pixelOf(diffusion.format, steps);
    }
    for (int c = 0; c < 3; ++c)
        diffusion.errors[static_cast<size_t>(3 * (x - along + 1) + c)] = courses[c].last();
}

}  // namespace tivar
