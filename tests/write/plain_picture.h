// Pictures in memory, read by rows, and what plain loops say of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/random_numbers.h"
#include "write/rows.h"
#include "write/watch.h"

namespace support {

struct PlainPicture {
    std::uint32_t width;
    std::uint32_t height;
    std::vector<std::uint8_t> pixels;  // red, green, blue

    PlainPicture(std::uint32_t w, std::uint32_t h) : width(w), height(h), pixels(w * h * 3u) {}

    std::uint32_t count() const { return width * height; }
    std::uint8_t* pixel(std::uint32_t i) { return pixels.data() + i * 3u; }
    const std::uint8_t* pixel(std::uint32_t i) const { return pixels.data() + i * 3u; }
    void set(std::uint32_t i, int red, int green, int blue) {
        const int channels[3] = {red, green, blue};
        for (int c = 0; c < 3; ++c) pixel(i)[c] = static_cast<std::uint8_t>(channels[c]);
    }

    tivar::ColorRows rows() const {
        return {width, height,
                [](const void* context, std::uint32_t y, std::uint8_t*) {
                    const auto* self = static_cast<const PlainPicture*>(context);
                    return self->pixel(y * self->width);
                },
                this};
    }
};

inline PlainPicture noise(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
    PlainPicture picture(width, height);
    Random random(seed);
    for (std::uint8_t& channel : picture.pixels) channel = random.byte();
    return picture;
}

// Neighbours differ little, all of the colour space's middle is visited.
inline PlainPicture smooth(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
    PlainPicture picture(width, height);
    Random random(seed);
    for (std::uint32_t i = 0; i < picture.count(); ++i) {
        const auto x = static_cast<int>(i % width * 200 / width);
        const auto y = static_cast<int>(i / width * 200 / height);
        const int rough = random.byte() / 8;
        picture.set(i, 10 + x + rough, 20 + y + rough / 2, 30 + (x + y) / 2 + rough / 4);
    }
    return picture;
}

inline tivar::Watch unwatched() {
    tivar::Watch watch{};
    watch.percent = -1;
    return watch;
}

inline int squaredDistance(const std::uint8_t* a, const std::uint8_t* b) {
    int sum = 0;
    for (int c = 0; c < 3; ++c) sum += (a[c] - b[c]) * (a[c] - b[c]);
    return sum;
}

// The first of the nearest entries.
inline std::uint32_t plainNearest(const tivar::ColorTable& table, const std::uint8_t* rgb) {
    std::uint32_t nearest = 0;
    for (std::uint32_t i = 1; i < table.count; ++i) {
        if (squaredDistance(table.entries[i], rgb) < squaredDistance(table.entries[nearest], rgb))
            nearest = i;
    }
    return nearest;
}

// The sum of the squared distances of every stepth pixel to its nearest entry.
inline double squaredError(const PlainPicture& picture, const tivar::ColorTable& table,
                           std::uint32_t step = 1) {
    double error = 0;
    for (std::uint32_t i = 0; i < picture.count(); i += step) {
        const std::uint8_t* rgb = picture.pixel(i);
        error += squaredDistance(table.entries[plainNearest(table, rgb)], rgb);
    }
    return error;
}

}  // namespace support
