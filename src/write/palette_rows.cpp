#include "write/palette_rows.h"

namespace tivar {

bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width,
                        int32_t dither) {
    rows.table = &table;
    rows.width = width;
    rows.dither = dither;
    return true;
}

void beginRows(PaletteRows&) {}

bool dependOnOrder(const PaletteRows&) {
    return false;
}

void indexRow(PaletteRows& rows, uint32_t, const uint8_t* colors, uint8_t* indices) {
    for (uint32_t x = 0; x < rows.width; ++x, colors += 3) {
        int best = 0x7FFFFFFF;
        for (uint32_t i = 0; i < rows.table->count; ++i) {
            const uint8_t* e = rows.table->entries[i];
            const int d = (e[0] - colors[0]) * (e[0] - colors[0]) +
                          (e[1] - colors[1]) * (e[1] - colors[1]) +
                          (e[2] - colors[2]) * (e[2] - colors[2]);
            if (d < best) {
                best = d;
                indices[x] = static_cast<uint8_t>(i);
            }
        }
    }
}

}  // namespace tivar
