#include "write/diffuse.h"

#include "write/greys.h"

namespace tivar {
namespace {

void diffuseRow(Diffusion& diffusion, bool backward, const uint8_t* rgb, uint8_t* indices) {
    if (diffusion.ofGreys) {
        diffuseGreyRow(diffusion.greys, diffusion.rows, backward, rgb, indices);
    } else {
        diffuseColorRow(diffusion.colors, backward, rgb, indices);
    }
}

void diffuseFlight(Diffusion& diffusion, bool backward, const uint8_t* const* rgb,
                   uint8_t* const* indices) {
    if (diffusion.ofGreys) {
        diffuseGreyFlight(diffusion.greys, diffusion.rows, backward, rgb, indices);
    } else {
        diffuseColorFlight(diffusion.colors, backward, rgb, indices);
    }
}

}  // namespace

bool prepareDiffusion(Diffusion& diffusion, uint32_t width, const ColorTable& table) {
    diffusion.rows = 0;
    diffusion.ofGreys = isGreyTable(table);
    return diffusion.ofGreys ? prepareGreys(diffusion.greys, width, table)
                             : prepareColors(diffusion.colors, width, table);
}

void diffuseRows(Diffusion& diffusion, const uint8_t* const* rgb, uint8_t* const* indices,
                 uint32_t count) {
    for (uint32_t i = 0; i < count;) {
        const bool backward = diffusion.rows / kFlightRows % 2 != 0;
        const bool whole = diffusion.rows % kFlightRows == 0 && count - i >= kFlightRows;
        if (whole) {
            diffuseFlight(diffusion, backward, rgb + i, indices + i);
        } else {
            diffuseRow(diffusion, backward, rgb[i], indices[i]);
        }
        const uint32_t done = whole ? kFlightRows : 1;
        diffusion.rows += done;
        i += done;
    }
}

}  // namespace tivar
