// Exact nearest-entry search for many queries over one table. Colour space is cut into cubic cells;
// each cell lists, once it is asked for, the few entries that can be nearest to any of its colours,
// in table order, so that a look through the list gives what a look through the table would: grey
// and colour kept apart, the lowest index on ties.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/memory.h"
#include "color/cell_answers.h"
#include "color/grey.h"

namespace tivar {

struct NearestFinder {
    // The table must outlive the finder. Without memory for lists every query searches the table.
    NearestFinder(const uint8_t* table, int16_t count);

    // The same as rlNearestRGBIndex.
    uint32_t find(uint8_t red, uint8_t green, uint8_t blue) {
        if (lists == nullptr) return searchTable(red, green, blue);
        const uint32_t word = wordOf(cellOf(red, green, blue), isGreyQuery(red, green, blue));
        if (isOneOfTwo(word)) return nearerOfTwo(word, red, green, blue);
        return searchWord(word, red, green, blue);
    }

    // The low bytes of what is found for every colour of the cell of cell_answers.h that begins at
    // low; false when that would take too long.
    bool answerCell(const uint8_t* low, CellAnswers::Answers& answers);

    // ---- Steps of a query, for those who have a faster way to some of them ----

    // What a cell's word says; any other value is the place of its list.
    static constexpr uint32_t kUnbuilt = 0;
    static constexpr uint32_t kSearchTable = 1;
    static constexpr uint32_t kOneOfTwo = 1u << 31;  // and the indices of the only two candidates
    static constexpr int kIndexBits = 10;
    static constexpr uint32_t kIndexMask = (1u << kIndexBits) - 1;

    static constexpr bool isOneOfTwo(uint32_t word) { return (word & kOneOfTwo) != 0; }
    static constexpr uint32_t lowerOf(uint32_t word) { return word & kIndexMask; }
    static constexpr uint32_t upperOf(uint32_t word) { return word >> kIndexBits & kIndexMask; }

    // Lists are at hand and a cell is 2^kSmallSideBits colours wide.
    static constexpr int kSmallSideBits = 2;
    bool hasSmallCells() const { return lists != nullptr && sideBits == kSmallSideBits; }

    uint32_t wordOf(uint32_t cell, bool grey) {
        uint32_t& word = lists[(grey ? cells : 0) + cell];
        if (word == kUnbuilt) word = buildList(cell, grey);
        return word;
    }

    // Of a cell with more candidates than two.
    uint32_t searchWord(uint32_t word, uint8_t red, uint8_t green, uint8_t blue) const {
        if (word == kSearchTable) return searchTable(red, green, blue);
        return searchList(candidates + word, red, green, blue);
    }

  private:
    using Candidate = CellEntry;  // index of a list's head: the number of candidates behind it

    // Entries of one kind, grey or colour, in table order, with their squared distances to the
    // nearest and farthest place of every interval of each channel.
    struct Kind {
        Candidate* entries;
        int32_t count;
        int32_t* near;
        int32_t* far;
    };

    static constexpr uint32_t kCandidates = 1u << 18;
    static constexpr int kLargestTable = 1 << 10;

    uint32_t cellOf(uint32_t red, uint32_t green, uint32_t blue) const {
        return ((red >> sideBits) << cellBits | green >> sideBits) << cellBits | blue >> sideBits;
    }

    static uint32_t searchList(const Candidate* list, int red, int green, int blue) {
        const Candidate* end = list + 1 + list->index;
        uint32_t best = UINT32_MAX;
        uint32_t bestIndex = 0;
        for (const Candidate* at = list + 1; at < end; ++at) {
            const int dr = red - at->channels[0];
            const int dg = green - at->channels[1];
            const int db = blue - at->channels[2];
            const auto distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
            bestIndex = distance < best ? at->index : bestIndex;
            best = distance < best ? distance : best;
        }
        return bestIndex;
    }

    uint32_t distanceTo(uint32_t index, int red, int green, int blue) const {
        const uint8_t* entry = table + index * 3;
        const int dr = red - entry[0];
        const int dg = green - entry[1];
        const int db = blue - entry[2];
        return static_cast<uint32_t>(dr * dr + dg * dg + db * db);
    }

    // The two may be one. Both are weighed: most cells are such, and a branch on which it is would
    // be mispredicted too often.
    uint32_t nearerOfTwo(uint32_t word, int red, int green, int blue) const {
        const uint32_t lower = lowerOf(word);
        const uint32_t upper = upperOf(word);
        const uint32_t toLower = distanceTo(lower, red, green, blue);
        return distanceTo(upper, red, green, blue) < toLower ? upper : lower;
    }

    CellEntry entryOf(uint32_t index) const {
        const uint8_t* entry = table + index * 3;
        return {{entry[0], entry[1], entry[2]}, static_cast<uint16_t>(index)};
    }

    bool allocate();
    void sortKinds();
    void measureKind(Kind& kind) const;
    uint32_t searchTable(uint8_t red, uint8_t green, uint8_t blue) const;
    uint32_t buildList(uint32_t cell, bool grey);

    const uint8_t* table;
    int16_t count;
    int sideBits;  // a cell is 2^sideBits colours wide
    int cellBits;  // and there are 2^cellBits cells a channel
    uint32_t cells;
    OwnedBlock listBlock{0};
    OwnedBlock candidateBlock{0};
    OwnedBlock entryBlock{0};
    OwnedBlock reachBlock{0};
    uint32_t* lists = nullptr;  // a word a cell, colours then greys
    Candidate* candidates = nullptr;
    Kind kinds[2] = {};  // colours, greys
    uint32_t used = 2;   // candidates taken; places 0 and 1 have other meanings
};

}  // namespace tivar
