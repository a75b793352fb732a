// Error diffusion over greys, for 1-bit targets: a level a pixel, and what becomes of each level
// worked out once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/memory.h"
#include "color/dither_rows.h"
#include "color/grey_lanes.h"
#include "color/grey_steps.h"

namespace tivar {

// Like ColorDiffuser.
struct GreyDiffuser {
    static constexpr int kRows = 16;

    // Only tables with a grey entry keep grey rows grey.
    static bool serves(const DitherTarget& target);

    GreyDiffuser(const DitherTarget& target, const uint8_t* stored, uint32_t width);
    explicit operator bool() const { return rowBlock && indexBlock; }

    void load(int row, uint8_t* colors);
    void diffuse(uint8_t* dest, size_t stride, uint32_t count);
    void advance();

    uint32_t width;
    uint8_t firstStored;  // of entry 0
    OwnedBlock rowBlock;
    OwnedBlock indexBlock;
    uint8_t* rows[kRows + 1];
    GreyStep steps[kGreyLevels];
#if TIVAR_SIMD
    GreyLanes lanes;
    bool inLanes = false;
#endif
};

}  // namespace tivar
