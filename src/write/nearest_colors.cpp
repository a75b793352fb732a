#include "write/nearest_colors.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/hash_factor.h"
#include "write/color_place.h"
#include "write/lanes.h"

namespace tivar {
namespace {

// A cell is 4 colours wide, a region 16.
constexpr int kRegionBits = 4;
constexpr uint32_t kRegions = 1 << 12;
constexpr int kMemoBits = 14;

// A word is four indices, rising and then the last repeated. These two are not.
constexpr uint32_t kUnmade = 0;
constexpr uint32_t kMany = 1;
constexpr int kOfWord = 4;

// So many are compared in pairs to find out which of them matter.
constexpr int kMostPaired = 24;

enum RegionState : uint32_t { kEmpty, kBusy, kReady };

constexpr std::array<std::array<uint32_t, 256>, 3> makePlaces() {
    std::array<std::array<uint32_t, 256>, 3> places{};
    for (int channel = 0; channel < 3; ++channel) {
        for (uint32_t level = 0; level < 256; ++level)
            places[static_cast<size_t>(channel)][level] = cellPart(level, channel);
    }
    return places;
}

constexpr auto kPlaces = makePlaces();

inline uint32_t cellOf(const uint8_t* rgb) {
    return kPlaces[0][rgb[0]] + kPlaces[1][rgb[1]] + kPlaces[2][rgb[2]];
}

uint32_t regionOf(const uint8_t* rgb) {
    return static_cast<uint32_t>((rgb[0] >> kRegionBits) << 8 | (rgb[1] >> kRegionBits) << 4 |
                                 rgb[2] >> kRegionBits);
}

// Threads may make a word at the same time; they make the same one. Not every C++ library has
// atomic references, all compilers have what they are made of.
inline uint32_t load(const uint32_t& word) {
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

inline void store(uint32_t& word, uint32_t value) {
    __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

int distanceTo(const int16_t* entry, const uint8_t* rgb) {
    const int red = entry[0] - rgb[0];
    const int green = entry[1] - rgb[1];
    const int blue = entry[2] - rgb[2];
    return red * red + green * green + blue * blue;
}

// The nearest of the entries that list names, whose indices rise.
uint8_t searchList(const NearestColors& colors, const uint8_t* list, uint32_t count,
                   const uint8_t* rgb) {
    int best = INT32_MAX;
    uint8_t nearest = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const int distance = distanceTo(colors.entries[list[i]], rgb);
        nearest = distance < best ? list[i] : nearest;
        best = std::min(distance, best);
    }
    return nearest;
}

uint8_t searchTable(const NearestColors& colors, const uint8_t* rgb) {
    int best = INT32_MAX;
    uint32_t nearest = 0;
    for (uint32_t i = 0; i < colors.count; ++i) {
        const int distance = distanceTo(colors.entries[i], rgb);
        nearest = distance < best ? i : nearest;
        best = std::min(distance, best);
    }
    return static_cast<uint8_t>(nearest);
}

// Entries side by side, and their squared distances to the nearest place of a cube.
struct Reach {
    FourFloats channels[3][64];
    FourFloats near[64] = {};
};

// Measures the entries to the cube of 2^bits levels a side that the colour lies in. The result is
// the least of the farthest distances: whatever the colour, its nearest entry is no farther.
float measure(Reach& reach, const FourFloats (*channels)[64], uint32_t count, const uint8_t* rgb,
              int bits) {
    float low[3];
    for (int c = 0; c < 3; ++c) low[c] = static_cast<float>(rgb[c] >> bits << bits);
    const FourFloats side = fourOf(static_cast<float>((1 << bits) - 1));
    const FourFloats zero{};
    FourFloats bound = fourOf(3.0f * 256 * 256);
    for (uint32_t i = 0; i * 4 < count; ++i) {
        FourFloats near = zero;
        FourFloats far = zero;
        for (int c = 0; c < 3; ++c) {
            const FourFloats below = fourOf(low[c]) - channels[c][i];
            const FourFloats above = zero - below - side;
            const FourFloats inward = greater(greater(below, above), zero);
            const FourFloats across = lesser(below, above);
            near = near + inward * inward;
            far = far + across * across;
        }
        reach.near[i] = near;
        bound = lesser(bound, far);
    }
    return std::min({bound[0], bound[1], bound[2], bound[3]});
}

// Lists the entries that are near enough, by name(place).
template <class Name>
uint32_t listNear(const Reach& reach, float bound, uint32_t count, Name&& name, uint8_t* list) {
    uint32_t listed = 0;
    for (uint32_t i = 0; i < count; ++i) {
        list[listed] = name(i);
        listed += reach.near[i / 4][i % 4] <= bound ? 1 : 0;
    }
    return listed;
}

void makeRegion(const NearestColors& colors, NearestColors::Region& region, const uint8_t* rgb) {
    Reach reach;
    const float bound = measure(reach, colors.channels, colors.count, rgb, kRegionBits);
    region.count = listNear(
        reach, bound, colors.count, [](uint32_t i) { return static_cast<uint8_t>(i); },
        region.indices);
}

// The region's list; null while another thread makes it.
const NearestColors::Region* regionFor(const NearestColors& colors, const uint8_t* rgb) {
    NearestColors::Region& region = colors.regions[regionOf(rgb)];
    uint32_t found = __atomic_load_n(&region.state, __ATOMIC_ACQUIRE);
    if (found == kReady) return &region;
    if (found == kBusy || !__atomic_compare_exchange_n(&region.state, &found, kBusy, false,
                                                       __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST))
        return nullptr;
    makeRegion(colors, region, rgb);
    __atomic_store_n(&region.state, kReady, __ATOMIC_RELEASE);
    return &region;
}

// Whether nothing in the cube is nearer to the second entry than to the first. The difference of
// the squared distances is greatest in one of the corners.
bool isBehind(const int16_t* first, const int16_t* second, bool firstWins, const uint8_t* rgb) {
    int most = 0;
    for (int c = 0; c < 3; ++c) {
        const int lowest = rgb[c] >> kCellBits << kCellBits;
        const int apart = second[c] - first[c];
        const int corner = apart > 0 ? lowest + (1 << kCellBits) - 1 : lowest;
        most += apart * (2 * corner - first[c] - second[c]);
    }
    return most < 0 || (most == 0 && firstWins);
}

uint32_t dropBehind(const NearestColors& colors, uint8_t* list, uint32_t count,
                    const uint8_t* rgb) {
    uint8_t all[kMostPaired];
    std::copy(list, list + count, all);
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
        bool needed = true;
        for (uint32_t k = 0; k < count && needed; ++k) {
            needed =
                k == i || !isBehind(colors.entries[all[k]], colors.entries[all[i]], k < i, rgb);
        }
        list[kept] = all[i];
        kept += needed ? 1 : 0;
    }
    return kept;
}

uint32_t wordOf(uint8_t* list, uint32_t count) {
    if (count > kOfWord) return kMany;
    for (uint32_t i = count; i < kOfWord; ++i) list[i] = list[count - 1];
    // The first entry alone would look unmade; another one beside it does no harm.
    if (list[kOfWord - 1] == 0) list[kOfWord - 1] = 1;
    return list[0] | static_cast<uint32_t>(list[1]) << 8 | static_cast<uint32_t>(list[2]) << 16 |
           static_cast<uint32_t>(list[3]) << 24;
}

// The word of the cell that the colour lies in.
uint32_t makeWord(const NearestColors& colors, const NearestColors::Region& region,
                  const uint8_t* rgb) {
    Reach reach;
    const uint32_t end = (region.count + 3) / 4 * 4;
    for (uint32_t i = 0; i < end; ++i) {
        const uint8_t index = region.indices[std::min(i, region.count - 1)];
        for (int c = 0; c < 3; ++c)
            reach.channels[c][i / 4][i % 4] = static_cast<float>(colors.entries[index][c]);
    }
    const float bound = measure(reach, reach.channels, region.count, rgb, kCellBits);
    uint8_t list[256 + kOfWord] = {};
    uint32_t listed = listNear(
        reach, bound, region.count, [&](uint32_t i) { return region.indices[i]; }, list);
    if (listed > kOfWord && listed <= kMostPaired) listed = dropBehind(colors, list, listed, rgb);
    return wordOf(list, listed);
}

uint32_t packed(const uint8_t* rgb) {
    return static_cast<uint32_t>(rgb[0]) << 24 | static_cast<uint32_t>(rgb[1]) << 16 |
           static_cast<uint32_t>(rgb[2]) << 8;
}

// Of a cell whose word does not say it all.
uint8_t searchRegion(const NearestColors& colors, const uint8_t* rgb) {
    const uint32_t color = packed(rgb);
    uint32_t& slot = colors.memo[(color >> 8) * kHashFactor >> (32 - kMemoBits)];
    const uint32_t known = load(slot);
    if ((known ^ color) <= 0xFF) return static_cast<uint8_t>(known);
    const NearestColors::Region* region = regionFor(colors, rgb);
    const uint8_t nearest = region != nullptr
                                ? searchList(colors, region->indices, region->count, rgb)
                                : searchTable(colors, rgb);
    store(slot, color | nearest);
    return nearest;
}

// Four candidates are weighed at once. A distance with its index below it is a key: the least one
// is that of the lowest index at the least distance.
constexpr int kKeyShift = 8;

#ifdef TIVAR_SSE2

inline uint32_t loadPixel(const uint8_t* rgb) {
    uint16_t low = 0;
    std::memcpy(&low, rgb, sizeof low);
    return low | static_cast<uint32_t>(rgb[2]) << 16;
}

inline __m128i loadPair(const NearestColors& colors, uint32_t lower, uint32_t upper) {
    const __m128i low =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(colors.entries[lower & 255]));
    const __m128i high =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(colors.entries[upper & 255]));
    return _mm_unpacklo_epi64(low, high);
}

inline __m128i squaresTo(__m128i pair, __m128i color) {
    const __m128i apart = _mm_sub_epi16(pair, color);
    return _mm_madd_epi16(apart, apart);
}

inline uint8_t nearestOfWord(const NearestColors& colors, uint32_t word, const uint8_t* rgb) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i pixel =
        _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(loadPixel(rgb))), zero);
    const __m128i color = _mm_unpacklo_epi64(pixel, pixel);
    const __m128 lower = _mm_castsi128_ps(squaresTo(loadPair(colors, word, word >> 8), color));
    const __m128 upper =
        _mm_castsi128_ps(squaresTo(loadPair(colors, word >> 16, word >> 24), color));
    const __m128i even = _mm_castps_si128(_mm_shuffle_ps(lower, upper, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(lower, upper, _MM_SHUFFLE(3, 1, 3, 1)));
    const __m128i distances = _mm_slli_epi32(_mm_add_epi32(even, odd), kKeyShift);
    const __m128i indices = _mm_unpacklo_epi16(
        _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(word)), zero), zero);
    // As numbers with a point they compare as they do as integers, with an exponent that is not 0.
    const __m128i keys = _mm_or_si128(_mm_or_si128(distances, indices), _mm_set1_epi32(0x40000000));
    const __m128 all = _mm_castsi128_ps(keys);
    const __m128 halves = _mm_min_ps(all, _mm_movehl_ps(all, all));
    const __m128 least = _mm_min_ss(halves, _mm_shuffle_ps(halves, halves, 1));
    return static_cast<uint8_t>(_mm_cvtsi128_si32(_mm_castps_si128(least)));
}

#else

inline uint8_t nearestOfWord(const NearestColors& colors, uint32_t word, const uint8_t* rgb) {
    uint32_t least = UINT32_MAX;
    for (int i = 0; i < kOfWord; ++i) {
        const uint32_t index = word >> (8 * i) & 255;
        const auto distance = static_cast<uint32_t>(distanceTo(colors.entries[index], rgb));
        least = std::min(least, distance << kKeyShift | index);
    }
    return static_cast<uint8_t>(least);
}

#endif

uint8_t nearestSlowly(const NearestColors& colors, uint32_t& word, const uint8_t* rgb) {
    if (load(word) == kUnmade) {
        const NearestColors::Region* region = regionFor(colors, rgb);
        if (region == nullptr) return searchTable(colors, rgb);
        store(word, makeWord(colors, *region, rgb));
    }
    const uint32_t made = load(word);
    return made == kMany ? searchRegion(colors, rgb) : nearestOfWord(colors, made, rgb);
}

inline uint8_t nearestTo(const NearestColors& colors, uint32_t* words, const uint8_t* rgb) {
    uint32_t& word = words[cellOf(rgb)];
    const uint32_t known = load(word);
    if (known <= kMany) [[unlikely]]
        return nearestSlowly(colors, word, rgb);
    return nearestOfWord(colors, known, rgb);
}

}  // namespace

bool NearestColors::prepare(const ColorTable& table) {
    count = table.count;
    for (uint32_t i = 0; i < 256; ++i) {
        // Behind the last is the first once more: an equal that never wins.
        const uint8_t* entry = table.entries[i < count ? i : 0];
        for (int c = 0; c < 3; ++c) {
            entries[i][c] = entry[c];
            channels[c][i / 4][i % 4] = entry[c];
        }
        entries[i][3] = 0;
    }
    if (!words.obtainZeroed(kCellCount) || !memo.obtainZeroed(size_t{1} << kMemoBits) ||
        !regions.obtainZeroed(kRegions))
        return false;
    // An empty slot is black's own, the only colour that its zeros could be taken for.
    const uint8_t black[3] = {};
    memo[0] = searchTable(*this, black);
    return true;
}

uint8_t nearestColor(const NearestColors& colors, uint8_t red, uint8_t green, uint8_t blue) {
    const uint8_t rgb[3] = {red, green, blue};
    return nearestTo(colors, colors.words.data, rgb);
}

void mapRow(const NearestColors& colors, const uint8_t* rgb, uint32_t width, uint8_t* indices) {
    uint32_t* const words = colors.words.data;
    for (uint32_t x = 0; x < width; ++x, rgb += 3) indices[x] = nearestTo(colors, words, rgb);
}

}  // namespace tivar
