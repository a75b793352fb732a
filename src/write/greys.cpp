#include "write/greys.h"

#include "write/lanes.h"

namespace tivar {
namespace {

constexpr int kNone = 256;

// The lowest index of each level that is in the table, kNone of the others.
void findLevels(const ColorTable& table, int (&indices)[256]) {
    for (int& index : indices) index = kNone;
    for (uint32_t i = table.count; i-- > 0;) indices[table.entries[i][0]] = static_cast<int>(i);
}

int partOf(int level, int lower, int upper) {
    return ((level - lower) * 255 + (upper - lower) / 2) / (upper - lower);
}

#ifdef TIVAR_SSE2
// Green's weight is beyond 16 bits with a sign; half of it counts with red and half with blue.
constexpr int16_t kRed = 19595;
constexpr int16_t kHalfGreen = 19235;
constexpr int16_t kBlue = 7471;

__m128i fourGreys(__m128i red, __m128i green, __m128i blue, bool upper) {
    const __m128i redGreen =
        upper ? _mm_unpackhi_epi16(red, green) : _mm_unpacklo_epi16(red, green);
    const __m128i blueGreen =
        upper ? _mm_unpackhi_epi16(blue, green) : _mm_unpacklo_epi16(blue, green);
    const __m128i sum =
        _mm_add_epi32(_mm_madd_epi16(redGreen, _mm_set1_epi32(kHalfGreen * 65536 + kRed)),
                      _mm_madd_epi16(blueGreen, _mm_set1_epi32(kHalfGreen * 65536 + kBlue)));
    return _mm_srli_epi32(_mm_add_epi32(sum, _mm_set1_epi32(32768)), 16);
}

__m128i eightGreys(__m128i red, __m128i green, __m128i blue) {
    return _mm_packs_epi32(fourGreys(red, green, blue, false), fourGreys(red, green, blue, true));
}

// Sixteen pixels.
void sixteenGreys(const uint8_t* rgb, uint8_t* greys) {
    // The planes of 48 bytes come apart by interleaving their halves again and again.
    __m128i a = loadLanes(rgb);
    __m128i b = loadLanes(rgb + 16);
    __m128i c = loadLanes(rgb + 32);
    for (int i = 0; i < 4; ++i) {
        const __m128i first = _mm_unpacklo_epi8(a, _mm_unpackhi_epi64(b, b));
        const __m128i second = _mm_unpacklo_epi8(_mm_unpackhi_epi64(a, a), c);
        const __m128i third = _mm_unpacklo_epi8(b, _mm_unpackhi_epi64(c, c));
        a = first;
        b = second;
        c = third;
    }
    const __m128i zero = _mm_setzero_si128();
    const __m128i lower = eightGreys(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero),
                                     _mm_unpacklo_epi8(c, zero));
    const __m128i upper = eightGreys(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero),
                                     _mm_unpackhi_epi8(c, zero));
    storeLanes(greys, _mm_packus_epi16(lower, upper));
}
#endif

}  // namespace

void greysOf(const uint8_t* rgb, uint32_t width, uint8_t* greys) {
    uint32_t x = 0;
#ifdef TIVAR_SSE2
    for (; x + 16 <= width; x += 16) sixteenGreys(rgb + size_t{x} * 3, greys + x);
#endif
    for (; x < width; ++x) greys[x] = lumaOf(rgb + size_t{x} * 3);
}

bool isGreyTable(const ColorTable& table) {
    for (uint32_t i = 0; i < table.count; ++i) {
        const uint8_t* entry = table.entries[i];
        if (entry[0] != entry[1] || entry[1] != entry[2]) return false;
    }
    return true;
}

void placeGreys(const ColorTable& table, GreyPlaces& places) {
    int indices[256];
    findLevels(table, indices);
    int lower = kNone;
    for (int level = 0; level < 256; ++level) {
        if (indices[level] != kNone) lower = level;
        int upper = level;
        while (upper < 256 && indices[upper] == kNone) ++upper;
        if (upper == 256) upper = lower;
        const int from = lower == kNone ? upper : lower;
        const int part = from < upper ? partOf(level, from, upper) : 0;
        places.at[level] = {static_cast<uint8_t>(from), static_cast<uint8_t>(upper),
                            static_cast<uint8_t>(indices[from]),
                            static_cast<uint8_t>(indices[upper]), static_cast<uint8_t>(part)};
    }
}

}  // namespace tivar
