// The cell of colour space that each pixel of a row lies in, and its place there: bits of its three
// bytes, brought side by side. Where the processor has an instruction for that, it is half the work
// of a look into a table of cells.
#pragma once

#include <cstdint>
#include <cstring>

#include "base/processor.h"

#if TIVAR_HAS_V3
#include <immintrin.h>
#endif

namespace tivar {

// The first byte lowest.
inline uint32_t joinBytes(const uint8_t* pixel) {
    return pixel[0] | static_cast<uint32_t>(pixel[1]) << 8 | static_cast<uint32_t>(pixel[2]) << 16;
}

// With the byte behind the pixel, which has to be there, above it.
inline uint32_t joinFour(const uint8_t* pixel) {
#if TIVAR_SIMD
    uint32_t word = 0;
    std::memcpy(&word, pixel, sizeof word);
    return word;
#else
    return joinBytes(pixel);
#endif
}

// kBits bits of each of the three bytes from kLow up, the first byte's lowest.
template <int kLow, int kBits>
constexpr uint32_t fieldsOf(uint32_t pixel) {
    constexpr uint32_t kMask = (1u << kBits) - 1;
    return (pixel >> kLow & kMask) | (pixel >> (kLow + 8 - kBits) & kMask << kBits) |
           (pixel >> (kLow + 16 - 2 * kBits) & kMask << 2 * kBits);
}

// The cell of a pixel, 2^kLow colours wide, and its place in it.
template <int kLow>
constexpr uint32_t cellOfPixel(uint32_t pixel) {
    return fieldsOf<kLow, 8 - kLow>(pixel);
}
template <int kLow>
constexpr uint32_t placeInCell(uint32_t pixel) {
    return fieldsOf<0, kLow>(pixel);
}

// Loops over kStreams parts of a row, each of part pixels, a pixel of each in turn. Behind the last
// part there is another pixel.
template <int kLow, int kStreams, class Visit>
void visitCells(const uint8_t* rgb, uint32_t part, Visit visit) {
    for (uint32_t x = 0; x < part; ++x) {
        for (uint32_t stream = 0; stream < kStreams; ++stream) {
            const uint32_t at = stream * part + x;
            const uint32_t pixel = joinFour(rgb + size_t{at} * 3);
            visit(cellOfPixel<kLow>(pixel), placeInCell<kLow>(pixel), at);
        }
    }
}

#if TIVAR_HAS_V3
template <int kLow, int kStreams, class Visit>
TIVAR_V3 void extractCells(const uint8_t* rgb, uint32_t part, Visit visit) {
    constexpr uint32_t kPlace = 0x010101 * ((1 << kLow) - 1);
    for (uint32_t x = 0; x < part; ++x) {
        for (uint32_t stream = 0; stream < kStreams; ++stream) {
            const uint32_t at = stream * part + x;
            const uint32_t pixel = joinFour(rgb + size_t{at} * 3);
            visit(_pext_u32(pixel, 0xFFFFFF - kPlace), _pext_u32(pixel, kPlace), at);
        }
    }
}

// The first processors of AMD that know the instruction take longer for it than for the plain rule.
inline bool extractsFast() {
    return hasV3() && !__builtin_cpu_is("znver1") && !__builtin_cpu_is("znver2");
}
#endif

// Calls visit(cell, place, x) for every pixel of a row: for one of each of kStreams parts of it in
// turn, so that what is done for a pixel need not wait for the one beside it.
template <int kLow, int kStreams, class Visit>
void forEachCell(const uint8_t* rgb, uint32_t width, Visit&& visit) {
    if (width == 0) return;
    const uint32_t part = (width - 1) / kStreams;
#if TIVAR_HAS_V3
    if (extractsFast())
        extractCells<kLow, kStreams>(rgb, part, visit);
    else
#endif
        visitCells<kLow, kStreams>(rgb, part, visit);
    for (uint32_t x = part * kStreams; x < width; ++x) {
        const uint32_t pixel = joinBytes(rgb + size_t{x} * 3);
        visit(cellOfPixel<kLow>(pixel), placeInCell<kLow>(pixel), x);
    }
}

}  // namespace tivar
