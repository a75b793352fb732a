// Exact nearest-entry search for many queries over one table. Colour space is cut into cells of 8 x
// 8 x 8 colours; each cell lists, once it is asked for, the few entries that can be nearest to any
// of its colours, in table order, so that a look through the list gives what a look through the
// table would: grey and colour kept apart, the lowest index on ties.
#pragma once

#include <cstdint>

#include "host/memory.h"

namespace tivar {

struct NearestFinder {
    // The table must outlive the finder. Without memory for lists every query searches the table.
    NearestFinder(const uint8_t* table, int16_t count);

    // The same as rlNearestRGBIndex.
    uint32_t find(uint8_t red, uint8_t green, uint8_t blue) {
        const uint32_t list = listOf(red, green, blue);
        return list == kSearchTable ? searchTable(red, green, blue)
                                    : searchList(candidates + list, red, green, blue);
    }

    // The low 8 bits of the index for a packed colour; repeated colours cost one look.
    uint8_t findByte(uint32_t packed) {
        if (memo == nullptr) return static_cast<uint8_t>(findPacked(packed));
        uint32_t& slot = memo[(packed >> 8) * kHashFactor >> (32 - kMemoBits)];
        if ((slot ^ packed) > 0xFF) slot = packed | (findPacked(packed) & 0xFF);
        return static_cast<uint8_t>(slot);
    }

  private:
    struct Candidate {
        int16_t red;
        int16_t green;
        int16_t blue;
        uint16_t index;  // of a list's head: the number of candidates behind it
    };

    static constexpr uint32_t kCells = 32768;
    static constexpr uint32_t kCandidates = 1u << 18;
    static constexpr uint32_t kUnbuilt = 0;
    static constexpr uint32_t kSearchTable = UINT32_MAX;
    static constexpr int kMemoBits = 15;
    static constexpr uint32_t kHashFactor = 2654435769u;  // 2^32 over the golden ratio

    static bool isGrey(int red, int green, int blue) {
        const auto near = [](int a, int b) { return static_cast<unsigned>(a - b + 4) <= 8; };
        return near(red, green) && near(green, blue) && near(red, blue);
    }

    static uint32_t searchList(const Candidate* list, int red, int green, int blue) {
        const Candidate* end = list + 1 + list->index;
        uint32_t best = UINT32_MAX;
        uint32_t bestIndex = 0;
        for (const Candidate* at = list + 1; at < end; ++at) {
            const int dr = red - at->red;
            const int dg = green - at->green;
            const int db = blue - at->blue;
            const auto distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
            bestIndex = distance < best ? at->index : bestIndex;
            best = distance < best ? distance : best;
        }
        return bestIndex;
    }

    uint32_t listOf(uint8_t red, uint8_t green, uint8_t blue) {
        if (lists == nullptr) return kSearchTable;
        const bool grey = isGrey(red, green, blue);
        const uint32_t cell = (red >> 3u) << 10 | (green >> 3u) << 5 | blue >> 3u;
        uint32_t& list = lists[cell + (grey ? kCells : 0)];
        if (list == kUnbuilt) list = buildList(cell, grey);
        return list;
    }

    uint32_t findPacked(uint32_t packed) {
        return find(static_cast<uint8_t>(packed >> 24), static_cast<uint8_t>(packed >> 16),
                    static_cast<uint8_t>(packed >> 8));
    }
    uint32_t searchTable(uint8_t red, uint8_t green, uint8_t blue) const;
    uint32_t buildList(uint32_t cell, bool grey);

    const uint8_t* table;
    int16_t count;
    OwnedBlock listBlock;
    OwnedBlock candidateBlock;
    OwnedBlock reachBlock;
    OwnedBlock memoBlock;
    uint32_t* lists;  // by cell, colours then greys
    Candidate* candidates;
    uint32_t* reach;    // shortest distance of each entry to the cell being listed
    uint32_t* memo;     // packed colour and index of the last query that fell here
    uint32_t used = 1;  // candidates taken; 0 means unbuilt
};

}  // namespace tivar
