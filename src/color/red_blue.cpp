#include "color/red_blue.h"

#include <cstring>

#include "base/simd.h"

namespace tivar {

#if TIVAR_SIMD
namespace {

uint64_t load(const uint8_t* bytes) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

void store(uint8_t* bytes, uint64_t word) {
    std::memcpy(bytes, &word, sizeof word);
}

// Eight pixels in three words, whose lowest bytes are a red, a blue and a green one. Greens stay;
// each red trades places with the blue two bytes above it.
void exchangeEight(const uint8_t* from, uint8_t* to) {
    constexpr uint64_t kLowest = 0x00FF0000FF0000FF;  // every third byte from the lowest one up
    constexpr uint64_t kSecond = 0xFF0000FF0000FF00;
    constexpr uint64_t kThird = 0x0000FF0000FF0000;
    const uint64_t a = load(from);
    const uint64_t b = load(from + 8);
    const uint64_t c = load(from + 16);
    store(to, (a & kSecond) | ((a >> 16 | b << 48) & kLowest) | (a << 16 & kThird));
    store(to + 8, (b & kThird) | ((b >> 16 | c << 48) & kSecond) | ((b << 16 | a >> 48) & kLowest));
    store(to + 16, (c & kLowest) | (c >> 16 & kThird) | ((c << 16 | b >> 48) & kSecond));
}

}  // namespace
#endif

void copyRowRedBlue(const uint8_t* from, uint8_t* to, uint32_t width) {
    uint32_t done = 0;
#if TIVAR_SIMD
    for (; done + 8 <= width; done += 8)
        exchangeEight(from + size_t{done} * 3, to + size_t{done} * 3);
#endif
    for (; done < width; ++done) {
        const uint8_t* source = from + size_t{done} * 3;
        const uint8_t pixel[3] = {source[2], source[1], source[0]};
        std::memcpy(to + size_t{done} * 3, pixel, sizeof pixel);
    }
}

}  // namespace tivar
