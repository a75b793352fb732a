#include "write/nearest_colors.h"

#include <algorithm>

#include "base/hash_factor.h"

namespace tivar {
namespace {

// A region is 16 colours wide.
constexpr int kRegionBits = 4;
constexpr uint32_t kRegions = 1 << 12;
constexpr int kMemoBits = 14;

enum RegionState : uint32_t { kEmpty, kBusy, kReady };

uint32_t regionOf(const uint8_t* rgb) {
    return static_cast<uint32_t>((rgb[0] >> kRegionBits) << 8 | (rgb[1] >> kRegionBits) << 4 |
                                 rgb[2] >> kRegionBits);
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

// The answers of the cell that the colour lies in.
CellAnswers::Answers answersOf(const NearestColors& colors, const NearestColors::Region& region,
                               const uint8_t* rgb) {
    Reach reach;
    const uint32_t end = (region.count + 3) / 4 * 4;
    for (uint32_t i = 0; i < end; ++i) {
        const uint8_t index = region.indices[std::min(i, region.count - 1)];
        for (int c = 0; c < 3; ++c)
            reach.channels[c][i / 4][i % 4] = static_cast<float>(colors.entries[index][c]);
    }
    const float bound = measure(reach, reach.channels, region.count, rgb, CellAnswers::kCellBits);
    uint8_t list[256 + 1];
    const uint32_t listed = listNear(
        reach, bound, region.count, [&](uint32_t i) { return region.indices[i]; }, list);
    CellEntry near[256];
    for (uint32_t i = 0; i < listed; ++i) {
        std::copy_n(colors.entries[list[i]], 3, near[i].channels);
        near[i].index = list[i];
    }
    constexpr uint8_t kLowest = 0xFF << CellAnswers::kCellBits & 0xFF;
    const uint8_t low[3] = {static_cast<uint8_t>(rgb[0] & kLowest),
                            static_cast<uint8_t>(rgb[1] & kLowest),
                            static_cast<uint8_t>(rgb[2] & kLowest)};
    CellAnswers::Answers answers;
    weighCell(near, listed, low, answers);
    return answers;
}

uint32_t packed(const uint8_t* rgb) {
    return static_cast<uint32_t>(rgb[0]) << 24 | static_cast<uint32_t>(rgb[1]) << 16 |
           static_cast<uint32_t>(rgb[2]) << 8;
}

uint8_t searchRegion(const NearestColors& colors, const uint8_t* rgb) {
    const uint32_t color = packed(rgb);
    uint32_t& slot = colors.memo[(color >> 8) * kHashFactor >> (32 - kMemoBits)];
    // Not every C++ library has atomic references, all compilers have what they are made of.
    const uint32_t known = __atomic_load_n(&slot, __ATOMIC_RELAXED);
    if ((known ^ color) <= 0xFF) return static_cast<uint8_t>(known);
    const NearestColors::Region* region = regionFor(colors, rgb);
    const uint8_t nearest = region != nullptr
                                ? searchList(colors, region->indices, region->count, rgb)
                                : searchTable(colors, rgb);
    __atomic_store_n(&slot, color | nearest, __ATOMIC_RELAXED);
    return nearest;
}

// Of a cell that is not kept; it is from now on.
__attribute__((noinline)) uint8_t findUnkept(const NearestColors& colors, const uint8_t* rgb) {
    if (!colors.kept.hasRoom()) return searchRegion(colors, rgb);
    const NearestColors::Region* region = regionFor(colors, rgb);
    if (region == nullptr) return searchTable(colors, rgb);
    const CellAnswers::Answers answers = answersOf(colors, *region, rgb);
    const uint32_t pixel = joinBytes(rgb);
    colors.kept.keep(pixel, answers);
    return answers.of[placeInCell<CellAnswers::kCellBits>(pixel)];
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
    if (!kept.obtain() || !memo.obtainZeroed(size_t{1} << kMemoBits) ||
        !regions.obtainZeroed(kRegions))
        return false;
    // An empty slot is black's own, the only colour that its zeros could be taken for.
    const uint8_t black[3] = {};
    memo[0] = searchTable(*this, black);
    return true;
}

uint8_t nearestColor(const NearestColors& colors, uint8_t red, uint8_t green, uint8_t blue) {
    const uint8_t rgb[3] = {red, green, blue};
    return colors.kept.lookUpOne(joinBytes(rgb), [&] { return findUnkept(colors, rgb); });
}

void mapRow(const NearestColors& colors, const uint8_t* rgb, uint32_t width, uint8_t* indices) {
    colors.kept.lookUp(rgb, width, indices,
                       [&](uint32_t x) { return findUnkept(colors, rgb + size_t{x} * 3); });
}

}  // namespace tivar
