#include "export/red_blue.h"

#include <bit>
#include <cstring>
#include <utility>

namespace tivar {
namespace {

uint32_t load(const uint8_t* bytes) {
    uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

void store(uint8_t* bytes, uint32_t word) {
    std::memcpy(bytes, &word, sizeof word);
}

// Four pixels in three words, which hold r g b r, g b r g and b r g b from the lowest byte up.
void exchangeFour(uint8_t* pixels) {
    const uint32_t a = load(pixels);
    const uint32_t b = load(pixels + 4);
    const uint32_t c = load(pixels + 8);
    store(pixels, (a >> 16 & 0xFF) | (a & 0xFF00) | (a & 0xFF) << 16 | (b & 0xFF00) << 16);
    store(pixels + 4, (b & 0xFF0000FF) | a >> 24 << 8 | (c & 0xFF) << 16);
    store(pixels + 8, (b >> 16 & 0xFF) | c >> 24 << 8 | (c & 0xFF0000) | (c & 0xFF00) << 16);
}

}  // namespace

void exchangeRowRedBlue(uint8_t* row, uint32_t width) {
    uint32_t done = 0;
    if constexpr (std::endian::native == std::endian::little) {
        for (; done + 4 <= width; done += 4) exchangeFour(row + size_t{done} * 3);
    }
    for (; done < width; ++done) std::swap(row[size_t{done} * 3], row[size_t{done} * 3 + 2]);
}

}  // namespace tivar
