// Counts the pixels of rows into a histogram of the median cut. Those of a large picture are
// counted apart, where a count has no limit to be watched, and carried over.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "color/median_cut.h"

namespace tivar {

struct RowCounter {
    // Of so many pixels in all; context has the count of the histogram's cells. Both must outlive
    // the counter.
    RowCounter(uint16_t* cells, ColorContext& record, uint64_t pixels);

    void addRow(const uint8_t* row, uint32_t width);

    // Carries over what was counted apart: to be called behind the last row.
    void finish();

  private:
    uint16_t* histogram;
    ColorContext& context;
    Block<uint32_t> apart;  // by blue << 10 | green << 5 | red
    uint64_t counted = 0;   // so many pixels
};

}  // namespace tivar
