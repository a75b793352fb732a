// The palettes that the direct interface chooses itself.
#pragma once

#include <cstdint>

#include "write/picture_colors.h"
#include "write/rows.h"
#include "write/watch.h"

namespace tivar {

// At most most colours, 1 to 256, for the picture, the darkest first: by luma, then by red, green
// and blue. When the picture has no more colours than that, they are the palette and exact is true;
// else the palette is one with little squared error, or, for pictures that are dithered to it, with
// little of what dithering cannot mend. Looks at every row once. The same for any number of
// threads.
PaletteResult choosePalette(const ColorRows& rows, uint32_t most, bool dithered, int threads,
                            Watch& watch, ColorTable& table, bool& exact);

// Equal steps from black to white; count is 2 to 256.
ColorTable greyPalette(uint32_t count);

// What the median cut of the filter interface chooses for the picture, in its order. Looks at every
// row once, on the caller's thread.
PaletteResult filterPalette(const ColorRows& rows, uint32_t most, Watch& watch, ColorTable& table);

}  // namespace tivar
