#include "color/nearest.h"

#include <tivar/color.h>

#include <algorithm>
#include <cstdlib>

namespace tivar {
namespace {

// Few entries leave most cells a single candidate when the cells are small; for many entries
// building that many lists would cost more than it saves.
constexpr int16_t kFewEntries = 64;
constexpr int kLargeSideBits = 3;

// So many entries are looked at together.
constexpr int kTogether = 8;

// Whether some colour of the cell that begins at low is looked for as a grey.
bool canBeGrey(const uint8_t* low) {
    const auto near = [](int a, int b) { return std::abs(a - b) <= kGreyTolerance + 3; };
    return near(low[0], low[1]) && near(low[1], low[2]) && near(low[0], low[2]);
}

// Takes a block over into an owner; false without memory.
bool obtain(OwnedBlock& owner, size_t bytes) {
    owner.handle = allocateScratch(bytes);
    owner.data = static_cast<uint8_t*>(GlobalLock(owner.handle));
    return owner.data != nullptr;
}

}  // namespace

NearestFinder::NearestFinder(const uint8_t* colors, int16_t colorCount)
    : table(colors),
      count(colorCount),
      sideBits(colorCount <= kFewEntries ? kSmallSideBits : kLargeSideBits),
      cellBits(8 - sideBits),
      cells(1u << (3 * cellBits)) {
    if (count < 1 || count > kLargestTable || !allocate()) return;
    sortKinds();
    lists = reinterpret_cast<uint32_t*>(listBlock.data);
}

bool NearestFinder::allocate() {
    const auto entries = static_cast<size_t>(count);
    const size_t intervals = size_t{3} << cellBits;
    const bool obtained = obtain(listBlock, size_t{cells} * 2 * sizeof(uint32_t)) &&
                          obtain(candidateBlock, kCandidates * sizeof(Candidate)) &&
                          obtain(entryBlock, entries * sizeof(Candidate)) &&
                          obtain(reachBlock, entries * intervals * 2 * sizeof(int32_t));
    if (obtained) candidates = reinterpret_cast<Candidate*>(candidateBlock.data);
    return obtained;
}

void NearestFinder::sortKinds() {
    auto* entries = reinterpret_cast<Candidate*>(entryBlock.data);
    auto* reach = reinterpret_cast<int32_t*>(reachBlock.data);
    for (const bool grey : {false, true}) {
        Kind& kind = kinds[grey ? 1 : 0];
        kind.entries = entries;
        for (int i = 0; i < count; ++i) {
            if (isGreyEntry(table + i * 3) != grey) continue;
            *entries++ = entryOf(static_cast<uint32_t>(i));
        }
        kind.count = static_cast<int32_t>(entries - kind.entries);
        const size_t distances = static_cast<size_t>(kind.count) * 3 << cellBits;
        kind.near = reach;
        kind.far = reach + distances;
        reach += 2 * distances;
        measureKind(kind);
    }
}

void NearestFinder::measureKind(Kind& kind) const {
    int32_t* near = kind.near;
    int32_t* far = kind.far;
    for (int channel = 0; channel < 3; ++channel) {
        for (int interval = 0; interval < 1 << cellBits; ++interval) {
            const int low = interval << sideBits;
            const int high = low + (1 << sideBits) - 1;
            for (int i = 0; i < kind.count; ++i) {
                const int value = kind.entries[i].channels[channel];
                const int nearest = std::max({low - value, value - high, 0});
                const int farthest = std::max(value - low, high - value);
                *near++ = nearest * nearest;
                *far++ = farthest * farthest;
            }
        }
    }
}

uint32_t NearestFinder::searchTable(uint8_t red, uint8_t green, uint8_t blue) const {
    return rlNearestRGBIndex(red, green, blue, table, count);
}

uint32_t NearestFinder::buildList(uint32_t cell, bool grey) {
    const Kind& kind = kinds[grey ? 1 : 0];
    // Without an entry of its kind a query finds index 0.
    if (kind.count == 0) return kOneOfTwo;
    if (kCandidates - used < static_cast<uint32_t>(kind.count) + 1) return kSearchTable;
    const auto row = [&](const int32_t* distances, int channel) {
        const uint32_t interval = cell >> (2 - channel) * cellBits & ((1u << cellBits) - 1);
        const uint32_t place = (static_cast<uint32_t>(channel) << cellBits) + interval;
        return distances + size_t{place} * static_cast<size_t>(kind.count);
    };
    const int32_t *farRed = row(kind.far, 0), *farGreen = row(kind.far, 1);
    const int32_t *farBlue = row(kind.far, 2), *nearRed = row(kind.near, 0);
    const int32_t *nearGreen = row(kind.near, 1), *nearBlue = row(kind.near, 2);
    // Whatever the query, the nearest entry is no farther than the least of the farthest distances.
    int32_t bound = INT32_MAX;
    int32_t near[kLargestTable + kTogether];
    for (int i = 0; i < kind.count; ++i) {
        bound = std::min(bound, farRed[i] + farGreen[i] + farBlue[i]);
        near[i] = nearRed[i] + nearGreen[i] + nearBlue[i];
    }
    std::fill_n(near + kind.count, kTogether, INT32_MAX);
    Candidate* head = candidates + used;
    uint16_t listed = 0;
    for (int first = 0; first < kind.count; first += kTogether) {
        int some = 0;
        for (int i = first; i < first + kTogether; ++i) some |= near[i] <= bound ? 1 : 0;
        if (some == 0) continue;
        for (int i = first; i < first + kTogether; ++i)
            if (near[i] <= bound) head[++listed] = kind.entries[i];
    }
    if (listed <= 2)
        return kOneOfTwo | head[1].index | static_cast<uint32_t>(head[listed].index) << kIndexBits;
    head->index = listed;
    const uint32_t list = used;
    used += 1u + listed;
    return list;
}

bool NearestFinder::answerCell(const uint8_t* low, CellAnswers::Answers& answers) {
    if (lists == nullptr) return false;
    if (canBeGrey(low)) {
        for (uint8_t i = 0; i < kAnswersOfCell; ++i)
            answers.of[i] = static_cast<uint8_t>(find(static_cast<uint8_t>(low[0] + i % 4),
                                                      static_cast<uint8_t>(low[1] + i / 4 % 4),
                                                      static_cast<uint8_t>(low[2] + i / 16)));
        return true;
    }
    const uint32_t word = wordOf(cellOf(low[0], low[1], low[2]), false);
    if (word == kSearchTable) return false;
    if (isOneOfTwo(word)) {
        const CellEntry two[] = {entryOf(lowerOf(word)), entryOf(upperOf(word))};
        weighCell(two, 2, low, answers);
    } else {
        weighCell(candidates + word + 1, candidates[word].index, low, answers);
    }
    return true;
}

}  // namespace tivar
