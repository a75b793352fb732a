#include "base/block.h"
#include "color/row_counter.h"
#include "write/palette.h"
#include "write/row_pass.h"

namespace tivar {

PaletteResult filterPalette(const ColorRows& rows, uint32_t most, Watch& watch, ColorTable& table) {
    Block<uint16_t> histogram;
    Block<uint8_t> scratch;
    if (!histogram.obtainZeroed(kHistogramCells) || !scratch.obtain(size_t{rows.width} * 3))
        return PaletteResult::kNoMemory;
    ColorContext context{};
    RowCounter counter(histogram.data, context, uint64_t{rows.width} * rows.height);
    const auto count = [&](int, uint32_t y) {
        counter.addRow(rowOf(rows, y, scratch.data), rows.width);
        return true;
    };
    if (!passOverRows(rows.width, rows.height, 1, watch, count)) return PaletteResult::kCancelled;
    counter.finish();
    Block<ColorBox> boxes;
    Block<uint16_t> slots;
    Block<ColorEntry> list;
    if (!boxes.obtainZeroed(most) || !slots.obtainZeroed(most) ||
        !list.obtainZeroed(context.distinct + size_t{1}))
        return PaletteResult::kNoMemory;
    table.count = reduceHistogram(context, histogram.data, {boxes.data, slots.data, list.data},
                                  static_cast<uint16_t>(most), table.entries[0]);
    return PaletteResult::kDone;
}

}  // namespace tivar
