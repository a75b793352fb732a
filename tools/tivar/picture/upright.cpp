#include "picture/upright.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tool {
namespace {

// How places of the upright picture lead to those of the stored one.
struct Turn {
    bool exchanges;  // rows are columns
    bool mirrors;    // stored columns count from the right
    bool flips;      // stored rows count from the bottom
};

Turn turnOf(int orientation) {
    switch (orientation) {
        case 2:
            return {false, true, false};
        case 3:
            return {false, true, true};
        case 4:
            return {false, false, true};
        case 5:
            return {true, false, false};
        case 6:
            return {true, false, true};
        case 7:
            return {true, true, true};
        case 8:
            return {true, true, false};
        default:
            return {false, false, false};
    }
}

struct Place {
    size_t x;
    size_t y;
};

Place storedPlace(const Image& stored, Turn turn, size_t x, size_t y) {
    Place place{x, y};
    if (turn.exchanges) std::swap(place.x, place.y);
    if (turn.mirrors) place.x = stored.width - 1 - place.x;
    if (turn.flips) place.y = stored.height - 1 - place.y;
    return place;
}

template <size_t bytes>
void copyPixel(const Image& from, Place place, uint8_t* row, size_t x) {
    std::memcpy(row + x * bytes, rowAt(from, place.y) + place.x * bytes, bytes);
}

// Pixels of fewer than 8 bits.
void copyIndex(const Image& from, Place place, uint8_t* row, size_t x) {
    const unsigned bits = bitsOf(from.format);
    const auto shiftOf = [&](size_t at) { return 8 - bits - at * bits % 8; };
    const unsigned mask = (1u << bits) - 1;
    const unsigned index = rowAt(from, place.y)[place.x * bits / 8] >> shiftOf(place.x) & mask;
    uint8_t& byte = row[x * bits / 8];
    byte = static_cast<uint8_t>(byte | index << shiftOf(x));
}

// In squares, so that rows and columns both stay in the processor's cache.
template <class CopyPixel>
void turnPixels(const Image& from, const Image& to, Turn turn, CopyPixel copyPixel) {
    constexpr size_t kSquare = 32;
    for (size_t top = 0; top < to.height; top += kSquare) {
        for (size_t left = 0; left < to.width; left += kSquare) {
            const size_t right = std::min<size_t>(left + kSquare, to.width);
            for (size_t y = top; y < std::min<size_t>(top + kSquare, to.height); ++y) {
                uint8_t* row = rowAt(to, y);
                for (size_t x = left; x < right; ++x) {
                    copyPixel(from, storedPlace(from, turn, x, y), row, x);
                }
            }
        }
    }
}

void turnImage(const Image& from, const Image& to, Turn turn) {
    switch (bitsOf(from.format)) {
        case 8:
            return turnPixels(from, to, turn, copyPixel<1>);
        case 16:
            return turnPixels(from, to, turn, copyPixel<2>);
        case 24:
            return turnPixels(from, to, turn, copyPixel<3>);
        case 32:
            return turnPixels(from, to, turn, copyPixel<4>);
        default:
            return turnPixels(from, to, turn, copyIndex);
    }
}

}  // namespace

// The four quarters of a picture, and those of a mirrored one.
int turnedFurther(int orientation, int quarters) {
    constexpr std::array<int, 4> kPlain{1, 6, 3, 8};
    constexpr std::array<int, 4> kMirrored{2, 7, 4, 5};
    for (const auto& cycle : {kPlain, kMirrored}) {
        const auto* at = std::find(cycle.begin(), cycle.end(), orientation);
        if (at == cycle.end()) continue;
        return cycle[static_cast<size_t>(at - cycle.begin() + quarters) % cycle.size()];
    }
    return orientation;
}

bool exchangesSides(int orientation) {
    return turnOf(orientation).exchanges;
}

void makeUpright(Image& image) {
    const int orientation = std::exchange(image.orientation, 1);
    if (orientation == 1) return;
    const Turn turn = turnOf(orientation);
    const PixelSize size = turn.exchanges ? PixelSize{image.height, image.width}
                                          : PixelSize{image.width, image.height};
    Image upright = newImage(image.format, size);
    turnImage(image, upright, turn);
    image.pixels = std::move(upright.pixels);
    image.width = upright.width;
    image.height = upright.height;
    image.stride = upright.stride;
    if (turn.exchanges) std::swap(image.whole.width, image.whole.height);
}

}  // namespace tool
