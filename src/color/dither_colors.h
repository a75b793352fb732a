// Error diffusion over colours.
#pragma once

#include <cstdint>

#include "base/memory.h"
#include "color/dither_rows.h"
#include "color/nearest.h"

namespace tivar {

// Three rows in flight. Two are diffused at once, into themselves and the one behind them; the
// stored index of each pixel goes into its row of indices.
struct ColorDiffuser {
    // stored: of each entry of the target's table. Both must outlive the diffuser.
    ColorDiffuser(const DitherTarget& target, const uint8_t* stored, uint32_t width);
    explicit operator bool() const { return rowBlock && entryBlock; }

    // Takes 24-bit pixels, which it may change, as row 0 to 2.
    void load(int row, uint8_t* colors);
    void diffuse(uint8_t* firstIndices, uint8_t* secondIndices);
    // Row 2 becomes row 0.
    void advance();

    const DitherTarget& target;
    const uint8_t* stored;
    uint32_t width;
    OwnedBlock rowBlock;
    OwnedBlock entryBlock;  // the table as the rows have their pixels
    NearestFinder finder;
    uint8_t* rows[3];
};

}  // namespace tivar
