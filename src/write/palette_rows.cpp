#include "write/palette_rows.h"

namespace tivar {

bool preparePaletteRows(PaletteRows& rows, const ColorTable& table, uint32_t width,
                        int32_t dither) {
    rows.width = width;
    rows.dither = dither;
    if (dither == TIVAR_DITHER_DIFFUSE) return prepareDiffusion(rows.diffusion, width, table);
    if (dither == TIVAR_DITHER_ORDERED) prepareOrdered(rows.ordered, table);
    return rows.nearest.prepare(table);
}

bool beginAgain(PaletteRows& rows, const ColorTable& table) {
    return !dependOnOrder(rows) || prepareDiffusion(rows.diffusion, rows.width, table);
}

void indexGroup(PaletteRows& rows, const RowGroup& colors, uint8_t* const* indices) {
    if (rows.dither == TIVAR_DITHER_DIFFUSE)
        return diffuseRows(rows.diffusion, colors.rows, indices, colors.count);
    for (uint32_t i = 0; i < colors.count; ++i) {
        if (rows.dither == TIVAR_DITHER_ORDERED) {
            orderRow(rows.ordered, rows.nearest, colors.places[i], colors.rows[i], rows.width,
                     indices[i]);
        } else {
            mapRow(rows.nearest, colors.rows[i], rows.width, indices[i]);
        }
    }
}

}  // namespace tivar
