// What a search finds for every colour of a cell of colour space, 4 colours wide, kept from when
// the cell is first asked for: then a look finds it, and nothing is weighed. Threads may look and
// keep at the same time: what they keep for a cell is the same.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "base/fields.h"

namespace tivar {

constexpr int kAnswersOfCell = 64;

struct CellAnswers {
    static constexpr int kCellBits = 2;  // of a channel that tell colours of one cell apart

    struct Answers {
        uint8_t of[kAnswersOfCell];  // by placeInCell<kCellBits>
    };

    // Keeps nothing yet; false without memory.
    bool obtain();

    // False when there is no room for further cells.
    bool hasRoom() const { return __atomic_load_n(&used, __ATOMIC_RELAXED) < kMostBlocks; }

    // Keeps the answers for the cell of a pixel, whose bytes fields.h joins, while there is room.
    void keep(uint32_t pixel, const Answers& answers) const;

    // The answer for one pixel; none() when its cell is not kept.
    template <class None>
    uint8_t lookUpOne(uint32_t pixel, None&& none) const {
        const uint16_t word =
            __atomic_load_n(&words[cellOfPixel<kCellBits>(pixel)], __ATOMIC_ACQUIRE);
        return word == kUnkept ? none() : blocks[word].of[placeInCell<kCellBits>(pixel)];
    }

    // The answers for width pixels, and none(x) for those whose cell is not kept.
    template <class None>
    void lookUp(const uint8_t* rgb, uint32_t width, uint8_t* indices, None&& none) const {
        const uint16_t* const numbers = words.data;
        const Answers* const kept = blocks.data;
        forEachCell<kCellBits, 1>(
            rgb, width, [=, &none](uint32_t cell, uint32_t place, uint32_t x) {
                // A block is complete before a word names it.
                const uint16_t word = __atomic_load_n(&numbers[cell], __ATOMIC_ACQUIRE);
                indices[x] = word == kUnkept ? none(x) : kept[word].of[place];
            });
    }

  private:
    // Of a cell's word: nothing is kept, or the number of its block. The first blocks are those of
    // cells with one answer for all.
    static constexpr uint16_t kUnkept = 0;
    static constexpr uint32_t kFirstBlock = 1 + 256;
    static constexpr uint32_t kMostBlocks = 1 << 16;
    static constexpr uint32_t kCells = 1 << 18;

    Block<uint16_t> words;
    Block<Answers> blocks;
    mutable uint32_t used = 0;
};

// An entry that can be the nearest to some colour of a cell.
struct CellEntry {
    int16_t channels[3];
    uint16_t index;
};

// The low byte of the index of the nearest of the entries, at least one, for every colour of the
// cell that begins at low; of several the first in order. No entry is farther from any of the
// cell's colours by more than 25 colours than the nearest one.
void weighCell(const CellEntry* entries, uint32_t count, const uint8_t* low,
               CellAnswers::Answers& answers);

}  // namespace tivar
