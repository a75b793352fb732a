#include "color/cell_answers.h"

#include <algorithm>
#include <cstring>

namespace tivar {

bool CellAnswers::obtain() {
    if (!words.obtainZeroed(kCells) || !blocks.obtain(kMostBlocks)) return false;
    for (uint32_t answer = 0; answer < 256; ++answer)
        std::memset(blocks[1 + answer].of, static_cast<int>(answer), kAnswersOfCell);
    used = kFirstBlock;
    return true;
}

void CellAnswers::keep(uint32_t pixel, const Answers& answers) const {
    const uint8_t first = answers.of[0];
    const bool same = std::all_of(answers.of, answers.of + kAnswersOfCell,
                                  [&](uint8_t answer) { return answer == first; });
    uint32_t block = 1u + first;
    if (!same) {
        if (!hasRoom()) return;
        block = __atomic_fetch_add(&used, 1, __ATOMIC_RELAXED);
        if (block >= kMostBlocks) return;
        blocks[block] = answers;
    }
    __atomic_store_n(&words[cellOfPixel<kCellBits>(pixel)], static_cast<uint16_t>(block),
                     __ATOMIC_RELEASE);
}

namespace {

// How far each colour of a cell lies from the first one, along each channel.
struct Places {
    int16_t along[3][kAnswersOfCell];
};

constexpr Places makePlaces() {
    Places places{};
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < kAnswersOfCell; ++i)
            places.along[c][i] = static_cast<int16_t>(i >> 2 * c & 3);
    }
    return places;
}

constexpr Places kPlaces = makePlaces();

// How much farther an entry is, in squared distance, than another one: from the cell's first
// colour, and how much that grows with every step along a channel. For the entries of a cell it
// fits 16 bits, from each of its colours.
struct Lead {
    int16_t first;
    int16_t steps[3];

    Lead(const CellEntry& other, const CellEntry& entry, const uint8_t* low) {
        int beyond = 0;
        for (int c = 0; c < 3; ++c) {
            const int apart = other.channels[c] - entry.channels[c];
            beyond += apart * (2 * low[c] - other.channels[c] - entry.channels[c]);
            steps[c] = static_cast<int16_t>(2 * apart);
        }
        first = static_cast<int16_t>(beyond);
    }

    int16_t of(int i) const {
        return static_cast<int16_t>(first + kPlaces.along[0][i] * steps[0] +
                                    kPlaces.along[1][i] * steps[1] +
                                    kPlaces.along[2][i] * steps[2]);
    }
};

inline void weigh(const CellEntry* entries, uint32_t count, const uint8_t* low,
                  CellAnswers::Answers& answers) {
    int16_t least[kAnswersOfCell] = {};
    uint16_t nearest[kAnswersOfCell];
    std::fill(nearest, nearest + kAnswersOfCell, entries[0].index);
    for (uint32_t k = 1; k < count; ++k) {
        const Lead lead(entries[0], entries[k], low);
        const uint16_t index = entries[k].index;
        for (int i = 0; i < kAnswersOfCell; ++i) {
            const int16_t value = lead.of(i);
            const bool nearer = value < least[i];
            nearest[i] = nearer ? index : nearest[i];
            least[i] = nearer ? value : least[i];
        }
    }
    for (int i = 0; i < kAnswersOfCell; ++i) answers.of[i] = static_cast<uint8_t>(nearest[i]);
}

#if TIVAR_HAS_V3
TIVAR_V3 void weighV3(const CellEntry* entries, uint32_t count, const uint8_t* low,
                      CellAnswers::Answers& answers) {
    weigh(entries, count, low, answers);
}
#endif

}  // namespace

void weighCell(const CellEntry* entries, uint32_t count, const uint8_t* low,
               CellAnswers::Answers& answers) {
#if TIVAR_HAS_V3
    if (hasV3()) return weighV3(entries, count, low, answers);
#endif
    weigh(entries, count, low, answers);
}

}  // namespace tivar
