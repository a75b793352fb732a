// Pictures made up from a seed, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/random_numbers.h"

namespace support {

enum class Drawing {
    kNoise,      // any value anywhere, the padding of the rows included
    kFewColors,  // five colours
    kGreys,      // grey in the table, or in the pixels
    kGradient,   // smooth from corner to corner
    kRuns        // long runs of equal bytes
};

struct DrawnPicture {
    std::uint16_t bits;
    std::uint16_t width;
    std::uint16_t height;
    std::vector<std::uint8_t> pixels;
    std::vector<std::uint8_t> table;  // 2^bits entries; none above 8 bits
};

namespace drawing {

inline std::vector<std::uint8_t> drawTable(Drawing drawing, std::size_t entries, Random& random) {
    std::vector<std::uint8_t> table;
    for (std::size_t i = 0; i < entries; ++i) {
        const auto level = static_cast<std::uint8_t>(entries == 1 ? 0 : i * 255 / (entries - 1));
        for (std::size_t channel = 0; channel < 3; ++channel) {
            std::uint8_t value = random.byte();
            if (drawing == Drawing::kGreys) value = level;
            if (drawing == Drawing::kGradient)
                value = static_cast<std::uint8_t>(channel == 0   ? level
                                                  : channel == 1 ? 255 - level
                                                                 : level / 2);
            if (drawing == Drawing::kFewColors)
                value = static_cast<std::uint8_t>(i % 5 * 60 * (channel + 1));
            table.push_back(value);
        }
    }
    return table;
}

// The byte at position i of row y; pixelBytes is 0 for several pixels a byte.
inline std::uint8_t drawByte(Drawing drawing, std::size_t i, std::size_t y, std::size_t pixelBytes,
                             std::uint8_t previous, Random& random) {
    const std::size_t x = pixelBytes > 1 ? i / pixelBytes : i;
    const std::size_t channel = pixelBytes > 1 ? i % pixelBytes : 0;
    switch (drawing) {
        case Drawing::kFewColors:
            return static_cast<std::uint8_t>((x / 3 + y) % 5 * 50 * (channel + 1));
        case Drawing::kGreys:
            return static_cast<std::uint8_t>(x * 7 + y * 13);
        case Drawing::kGradient:
            return static_cast<std::uint8_t>((x * (channel + 1) + y * 2) * 3);
        case Drawing::kRuns:
            return random() % 40 == 0 ? random.byte() : previous;
        case Drawing::kNoise:
            break;
    }
    return random.byte();
}

}  // namespace drawing

inline DrawnPicture drawPicture(Drawing drawing, int bits, int width, int height,
                                std::uint32_t seed) {
    Random random(seed);
    DrawnPicture picture{static_cast<std::uint16_t>(bits),
                         static_cast<std::uint16_t>(width),
                         static_cast<std::uint16_t>(height),
                         {},
                         {}};
    if (bits <= 8) picture.table = drawing::drawTable(drawing, std::size_t{1} << bits, random);
    const auto rowBits = static_cast<std::size_t>(width) * static_cast<std::size_t>(bits);
    const std::size_t rowBytes = (rowBits + 31) / 32 * 4;
    std::uint8_t previous = 0;
    for (std::size_t y = 0; y < picture.height; ++y) {
        for (std::size_t i = 0; i < rowBytes; ++i) {
            previous = drawing::drawByte(drawing, i, y, static_cast<std::size_t>(bits) / 8,
                                         previous, random);
            picture.pixels.push_back(previous);
        }
    }
    return picture;
}

}  // namespace support
