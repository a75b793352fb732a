// Palettes and flat fields, and what became of them.
#pragma once

#include <cstdint>
#include <vector>

#include "write/plain_diffusion.h"

namespace support {

inline tivar::ColorTable greysFrom(const std::vector<int>& levels) {
    tivar::ColorTable table{};
    for (const int level : levels)
        for (std::uint8_t& channel : table.entries[table.count++])
            channel = static_cast<std::uint8_t>(level);
    return table;
}

inline tivar::ColorTable evenGreys(int count) {
    std::vector<int> levels;
    for (int i = 0; i < count; ++i) levels.push_back(i * 255 / (count - 1));
    return greysFrom(levels);
}

inline tivar::ColorTable randomTable(std::uint32_t count, bool grey, std::uint32_t seed) {
    Random random(seed);
    tivar::ColorTable table{};
    table.count = count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint8_t level = random.byte();
        for (std::uint8_t& channel : table.entries[i]) channel = grey ? level : random.byte();
    }
    return table;
}

// The corners of the cube of colours.
inline tivar::ColorTable cornerColors() {
    tivar::ColorTable table{};
    table.count = 8;
    for (int i = 0; i < 8; ++i)
        for (int c = 0; c < 3; ++c)
            table.entries[i][c] = static_cast<std::uint8_t>((i >> c & 1) * 255);
    return table;
}

inline PlainPicture flat(std::uint32_t width, std::uint32_t height, int red, int green, int blue) {
    PlainPicture picture(width, height);
    for (std::uint32_t i = 0; i < picture.count(); ++i) picture.set(i, red, green, blue);
    return picture;
}

inline PlainPicture flatGrey(std::uint32_t side, int grey) {
    return flat(side, side, grey, grey, grey);
}

inline PlainPicture flatColor(std::uint32_t side, const std::uint8_t* color) {
    return flat(side, side, color[0], color[1], color[2]);
}

inline double meanOf(const Indices& indices, const tivar::ColorTable& table, int channel = 0) {
    double sum = 0;
    for (const std::uint8_t index : indices) sum += table.entries[index][channel];
    return sum / static_cast<double>(indices.size());
}

}  // namespace support
