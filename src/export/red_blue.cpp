#include "export/red_blue.h"

#include <bit>
#include <cstring>
#include <utility>

namespace tivar {
namespace {

uint64_t load(const uint8_t* bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

void store(uint8_t* bytes, uint64_t word) {
    std::memcpy(bytes, &word, sizeof word);
}

// Eight pixels in three words, whose lowest bytes are a red, a blue and a green one. Greens stay;
// each red trades places with the blue two bytes above it.
void exchangeEight(uint8_t* pixels) {
    constexpr uint64_t kLowest = 0x00FF0000FF0000FF;  // every third byte from the lowest one up
    constexpr uint64_t kSecond = 0xFF0000FF0000FF00;
    constexpr uint64_t kThird = 0x0000FF0000FF0000;
    const uint64_t a = load(pixels);
    const uint64_t b = load(pixels + 8);
    const uint64_t c = load(pixels + 16);
    store(pixels, (a & kSecond) | ((a >> 16 | b << 48) & kLowest) | (a << 16 & kThird));
    store(pixels + 8,
          (b & kThird) | ((b >> 16 | c << 48) & kSecond) | ((b << 16 | a >> 48) & kLowest));
    store(pixels + 16, (c & kLowest) | (c >> 16 & kThird) | ((c << 16 | b >> 48) & kSecond));
}

}  // namespace

void exchangeRowRedBlue(uint8_t* row, uint32_t width) {
    uint32_t done = 0;
    if constexpr (std::endian::native == std::endian::little) {
        for (; done + 8 <= width; done += 8) exchangeEight(row + size_t{done} * 3);
    }
    for (; done < width; ++done) std::swap(row[size_t{done} * 3], row[size_t{done} * 3 + 2]);
}

}  // namespace tivar
