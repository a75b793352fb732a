// Dithering pixel by pixel over whole pictures, without any thought of speed: what the library's
// rows are held against. Amounts are in sixteenths of a level.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "write/plain_picture.h"
#include "write/rows.h"
#include "write/threshold_mask.h"

namespace support {

using Indices = std::vector<std::uint8_t>;

inline int plainFloor(long long numerator, long long denominator) {
    const long long quotient = numerator / denominator;
    return static_cast<int>(quotient - (numerator % denominator < 0 ? 1 : 0));
}

inline int plainGrey(const std::uint8_t* rgb) {
    return static_cast<int>((rgb[0] * 19595L + rgb[1] * 38470L + rgb[2] * 7471L + 32768L) / 65536);
}

// Where errors go: a number for every place of the picture, and for the places around it.
class Owed {
  public:
    Owed(std::uint32_t width, std::uint32_t height)
        : width_(width + 2), sums_(static_cast<std::size_t>(width + 2) * (height + 1)) {}
    int& at(int x, std::uint32_t y) {
        return sums_[static_cast<std::size_t>(y) * width_ + static_cast<std::size_t>(x + 1)];
    }

  private:
    std::uint32_t width_;
    std::vector<int> sums_;
};

// The way of row y when so many rows run the same way.
struct PlainWay {
    int width;
    bool backward;
    PlainWay(const PlainPicture& picture, std::uint32_t y, std::uint32_t alike)
        : width(static_cast<int>(picture.width)), backward(y / alike % 2 == 1) {}
    int step() const { return backward ? -1 : 1; }
    int x(int i) const { return backward ? width - 1 - i : i; }
};

inline const std::uint8_t* colorAt(const PlainPicture& picture, int x, std::uint32_t y) {
    return picture.pixel(y * picture.width + static_cast<std::uint32_t>(x));
}

// ---- Greys ----

// The tones between which the shares are read off, and the parts of the pixel to the right, the one
// below on the left and the one below.
inline double plainShare(int tone, int which) {
    constexpr int kTones[][4] = {{0, 13, 0, 5}, {1, 13, 0, 5},  {2, 21, 0, 10}, {3, 7, 0, 4},
                                 {4, 8, 0, 5},  {10, 7, 3, 3},  {22, 3, 2, 1},  {36, 5, 3, 3},
                                 {64, 1, 1, 0}, {72, 5, 7, 1},  {77, 4, 1, 1},  {85, 4, 1, 1},
                                 {95, 5, 3, 2}, {102, 5, 3, 2}, {122, 4, 1, 1}, {127, 4, 1, 1}};
    for (int i = 0;; ++i) {
        if (kTones[i + 1][0] < tone) continue;
        const auto part = [&](const int(&t)[4]) {
            return std::floor(32768.0 * t[1 + which] / (t[1] + t[2] + t[3]));
        };
        const double from = part(kTones[i]);
        const double to = part(kTones[i + 1]);
        return from +
               std::trunc((to - from) * (tone - kTones[i][0]) / (kTones[i + 1][0] - kTones[i][0]));
    }
}

// The entries around a level of a palette of greys, and how far between them it lies.
struct PlainGap {
    int lower = -1;
    int upper = 256;
    int part = 0;
    PlainGap(const tivar::ColorTable& table, int level) {
        for (std::uint32_t i = 0; i < table.count; ++i) {
            const int entry = table.entries[i][0];
            if (entry <= level) lower = std::max(lower, entry);
            if (entry >= level) upper = std::min(upper, entry);
        }
        if (lower < 0) lower = upper;
        if (upper > 255) upper = lower;
        if (lower < upper)
            part = static_cast<int>(std::floor(255.0 * (level - lower) / (upper - lower) + 0.5));
    }
};

inline int plainSway(const PlainGap& gap, int threshold) {
    const int tone = std::min(gap.part, 255 - gap.part);
    if (tone == 0) return 0;
    const int most = std::max(112 - 3 * tone, 24) * 64 * (gap.upper - gap.lower) / 255;
    return plainFloor(static_cast<long long>(most) * (threshold - 127) * 128, 65536);
}

inline std::uint32_t plainNearestGrey(const tivar::ColorTable& table, int level) {
    std::uint32_t best = 0;
    for (std::uint32_t i = 1; i < table.count; ++i)
        if (std::abs(table.entries[i][0] - level) < std::abs(table.entries[best][0] - level))
            best = i;
    return best;
}

inline Indices plainDiffusedGreys(const PlainPicture& picture, const tivar::ColorTable& table) {
    const int darkest = PlainGap(table, 0).lower;
    const int lightest = PlainGap(table, 255).upper;
    const int beyond = (lightest - darkest) * 8;
    Owed owed(picture.width, picture.height);
    Indices indices(picture.count());
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        const PlainWay way(picture, y, 8);
        for (int i = 0; i < way.width; ++i) {
            const int x = way.x(i);
            const int grey = plainGrey(colorAt(picture, x, y));
            const PlainGap gap(table, grey);
            const int level = std::clamp(grey * 16 + owed.at(x, y), darkest * 16 - beyond,
                                         lightest * 16 + beyond);
            const int sway = plainSway(gap, tivar::kThresholdMask[y % 64][x % 64]);
            // Beyond black and white the entry is the last one.
            const int asked = std::clamp(plainFloor(level + sway + 8, 16), 0, 255);
            const std::uint32_t index = plainNearestGrey(table, asked);
            indices[y * picture.width + static_cast<std::uint32_t>(x)] =
                static_cast<std::uint8_t>(index);
            const int error = level - table.entries[index][0] * 16;
            const int tone = std::min(gap.part, 255 - gap.part);
            const int next =
                i + 1 < way.width
                    ? plainFloor(error * static_cast<long long>(plainShare(tone, 0)), 32768)
                    : 0;
            const int behind =
                i > 0 ? plainFloor(error * static_cast<long long>(plainShare(tone, 1)), 32768) : 0;
            owed.at(x + way.step(), y) += next;
            owed.at(x - way.step(), y + 1) += behind;
            owed.at(x, y + 1) += error - next - behind;
        }
    }
    return indices;
}

// ---- Colours ----

// Square of the least distance by which all entries hang together.
inline int plainWidestGap(const tivar::ColorTable& table) {
    struct Edge {
        int square;
        std::uint32_t a;
        std::uint32_t b;
    };
    std::vector<Edge> edges;
    for (std::uint32_t a = 0; a < table.count; ++a) {
        for (std::uint32_t b = 0; b < a; ++b) {
            int square = 0;
            for (int c = 0; c < 3; ++c)
                square += (table.entries[a][c] - table.entries[b][c]) *
                          (table.entries[a][c] - table.entries[b][c]);
            edges.push_back({square, a, b});
        }
    }
    std::sort(edges.begin(), edges.end(),
              [](const Edge& a, const Edge& b) { return a.square < b.square; });
    std::vector<std::uint32_t> part(table.count);
    std::iota(part.begin(), part.end(), 0u);
    int widest = 0;
    for (const Edge& edge : edges) {
        if (part[edge.a] == part[edge.b]) continue;
        widest = edge.square;
        std::replace(part.begin(), part.end(), std::uint32_t{part[edge.a]},
                     std::uint32_t{part[edge.b]});
    }
    return widest;
}

// Spreads what a pixel failed by over the four pixels that come after it; less is passed on than
// that when it would leave the row.
inline void spread(Owed& owed, const PlainWay& way, int i, std::uint32_t y, int error) {
    const int x = way.x(i);
    const int next = plainFloor(7LL * error, 16);
    const int behind = plainFloor(3LL * error, 16);
    const int below = plainFloor(5LL * error, 16);
    owed.at(x + way.step(), y) += next;
    owed.at(x - way.step(), y + 1) += behind;
    owed.at(x, y + 1) += below;
    owed.at(x + way.step(), y + 1) += error - next - behind - below;
}

inline Indices plainDiffusedColors(const PlainPicture& picture, const tivar::ColorTable& table) {
    const int knee = static_cast<int>(std::floor(std::sqrt(plainWidestGap(table) * 64.0)));
    std::vector<Owed> owed(3, Owed(picture.width, picture.height));
    Indices indices(picture.count());
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        const PlainWay way(picture, y, 8);
        for (int i = 0; i < way.width; ++i) {
            const int x = way.x(i);
            int level[3];
            std::uint8_t asked[3];
            for (std::size_t c = 0; c < 3; ++c) {
                level[c] = std::clamp(colorAt(picture, x, y)[c] * 16 + owed[c].at(x, y), 0, 4080);
                asked[c] = static_cast<std::uint8_t>((level[c] + 8) / 16);
            }
            const std::uint32_t index = plainNearest(table, asked);
            indices[y * picture.width + static_cast<std::uint32_t>(x)] =
                static_cast<std::uint8_t>(index);
            for (std::size_t c = 0; c < 3; ++c) {
                const int error = level[c] - table.entries[index][c] * 16;
                spread(owed[c], way, i, y, plainFloor(error + std::clamp(error, -knee, knee), 2));
            }
        }
    }
    return indices;
}

// ---- Sixteen bits ----

inline int plainStep(int level, int most) {
    return (level * most + 127) / 255;
}

// The level of a byte that a step means.
inline int plainLevel(int step, int most) {
    return static_cast<int>(std::floor(step * 255.0 / most + 0.5));
}

inline std::uint16_t plainPixel(const int (&steps)[3], int greenBits) {
    return static_cast<std::uint16_t>((steps[0] << (5 + greenBits)) + (steps[1] << 5) + steps[2]);
}

inline std::vector<std::uint16_t> plainDiffusedHigh(const PlainPicture& picture, int greenBits) {
    std::vector<Owed> owed(3, Owed(picture.width, picture.height));
    std::vector<std::uint16_t> pixels(picture.count());
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        const PlainWay way(picture, y, 1);
        for (int i = 0; i < way.width; ++i) {
            const int x = way.x(i);
            int steps[3];
            for (std::size_t c = 0; c < 3; ++c) {
                const int most = c == 1 ? (1 << greenBits) - 1 : 31;
                const int level =
                    std::clamp(colorAt(picture, x, y)[c] * 16 + owed[c].at(x, y), 0, 4080);
                steps[c] = plainStep((level + 8) / 16, most);
                spread(owed[c], way, i, y, level - plainLevel(steps[c], most) * 16);
            }
            pixels[y * picture.width + static_cast<std::uint32_t>(x)] =
                plainPixel(steps, greenBits);
        }
    }
    return pixels;
}

}  // namespace support
