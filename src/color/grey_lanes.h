// Error diffusion over greys, two flights of eight rows at once: a 16-bit lane a row, each row
// kRowLag pixels behind the one above it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/simd.h"
#include "color/dither_rows.h"
#include "color/grey_steps.h"

#if TIVAR_SIMD

namespace tivar {

struct GreyLanes {
    static constexpr int kLanes = 8;
    static constexpr int kRows = 16;
    // Rows have room in front and behind, for the lanes that are not at a pixel.
    static constexpr uint32_t kFront = 48;
    static constexpr uint32_t kMargins = 112;
    // As many as the table of eight greys needs.
    static constexpr int kThresholds = 7;

    // False when the entries change too often for lanes.
    bool take(const GreyStep* steps);

    // Diffuses kRows rows into themselves and the one behind them. bits has room for two bytes a
    // pixel and their margins; what is in it goes to storeRow.
    void diffuse(uint8_t* const* rows, uint32_t width, uint8_t* bits) const;

    // Packs the low bits of the indices stored for a row; firstStored: that of entry 0.
    static void storeRow(const uint8_t* bits, int row, uint32_t width, uint8_t firstStored,
                         uint8_t* dest);

    // Above a threshold's level the entry lies higher by rise, and the bit stored is another one if
    // flip is -1.
    int16_t levels[kThresholds];
    int16_t rises[kThresholds];
    int16_t flips[kThresholds];
    int16_t lowestEntry;
    int16_t lowestStored;  // 0 or -1
};

}  // namespace tivar

#endif
