#include "write/palette_rows.h"

namespace tivar {

bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width,
                        int32_t dither) {
    rows.width = width;
    rows.dither = dither;
    return rows.nearest.prepare(table);
}

void beginRows(PaletteRows&) {}

bool dependOnOrder(const PaletteRows&) {
    return false;
}

void indexRow(PaletteRows& rows, uint32_t, const uint8_t* colors, uint8_t* indices) {
    mapRow(rows.nearest, colors, rows.width, indices);
}

}  // namespace tivar
