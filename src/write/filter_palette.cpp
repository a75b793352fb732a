#include <algorithm>

#include "base/block.h"
#include "color/median_cut.h"
#include "write/palette.h"

namespace tivar {
namespace {

// Pixels beyond a row's end count as black: rows go in whole, in pieces that 16 bits can count.
bool countRow(const uint8_t* colors, uint32_t width, MemHandle context) {
    constexpr uint32_t kPiece = 0xFFFC;
    uint16_t none = 0;
    for (uint32_t x = 0; x < width; x += kPiece) {
        const auto count = static_cast<uint16_t>(std::min(width - x, kPiece));
        if (direct_indexed(colors + size_t{x} * 3, count * 3u, count, 1, &none,
                           kReduceKeepHistogram, nullptr, context) != 0)
            return false;
    }
    return true;
}

PaletteResult countRows(const ColorRows& rows, Watch& watch, uint8_t* scratch, MemHandle context) {
    for (uint32_t y = 0; y < rows.height; ++y) {
        if (!goOn(watch)) return PaletteResult::kCancelled;
        if (!countRow(rowOf(rows, y, scratch), rows.width, context))
            return PaletteResult::kNoMemory;
        if (!advance(watch, 1)) return PaletteResult::kCancelled;
    }
    return PaletteResult::kDone;
}

}  // namespace

PaletteResult filterPalette(const ColorRows& rows, uint32_t most, Watch& watch, ColorTable& table) {
    Block<uint8_t> scratch;
    if (!scratch.obtain(uint64_t{rows.width} * 3)) return PaletteResult::kNoMemory;
    const MemHandle context = InitColorLib();
    PaletteResult result = countRows(rows, watch, scratch.data, context);
    auto count = static_cast<uint16_t>(most);
    if (result == PaletteResult::kDone &&
        direct_indexed(nullptr, 0, 0, 0, &count, kReduceWantTable | kReduceKeepHistogram,
                       table.entries[0], context) != 0)
        result = PaletteResult::kNoMemory;
    table.count = count;
    TermColorLib(context);
    return result;
}

}  // namespace tivar
