// Error diffusion over greys, for 1-bit targets: a level a pixel, and what becomes of each level
// worked out once.
#pragma once

#include <cstdint>

#include "base/memory.h"
#include "color/dither_rows.h"
#include "color/error_shares.h"

namespace tivar {

// What a grey level does: the index stored for it, and its error's shares.
struct GreyStep {
    Shares<int16_t> shares;
    uint8_t stored;
};

// Like ColorDiffuser.
struct GreyDiffuser {
    // Only tables with a grey entry keep grey rows grey.
    static bool serves(const DitherTarget& target);

    GreyDiffuser(const DitherTarget& target, const uint8_t* stored, uint32_t width);
    explicit operator bool() const { return static_cast<bool>(rowBlock); }

    void load(int row, uint8_t* colors);
    void diffuse(uint8_t* firstIndices, uint8_t* secondIndices);
    void advance();

    uint32_t width;
    uint8_t firstStored;  // of entry 0
    OwnedBlock rowBlock;
    uint8_t* rows[3];
    GreyStep steps[256];
};

}  // namespace tivar
