// Error diffusion over colours.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/memory.h"
#include "color/dither_rows.h"
#include "color/nearest.h"

namespace tivar {

// Rows in flight: kRows are diffused at once, into themselves and the one behind them.
struct ColorDiffuser {
    static constexpr int kRows = 8;

    // stored: of each entry of the target's table. Both must outlive the diffuser.
    ColorDiffuser(const DitherTarget& target, const uint8_t* stored, uint32_t width);
    explicit operator bool() const { return rowBlock && indexBlock && entryBlock; }

    // Takes 24-bit pixels, which it may change, as row 0 to kRows. Rows that were never loaded are
    // diffused like others.
    void load(int row, uint8_t* colors);
    // Stores the first count of the rows, packed, into zeroed ones.
    void diffuse(uint8_t* dest, size_t stride, uint32_t count);
    // Row kRows becomes row 0.
    void advance();

    const DitherTarget& target;
    const uint8_t* stored;
    uint32_t width;
    OwnedBlock rowBlock;
    OwnedBlock indexBlock;
    OwnedBlock entryBlock;  // the table as the rows have their pixels
    NearestFinder finder;
    uint8_t* rows[kRows + 1];
};

}  // namespace tivar
