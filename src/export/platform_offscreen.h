// What the offscreen surface and the drawing call-backs say to each other.
#pragma once

#include <tivar/types.h>

namespace tivar {

// The words that DRAW_INITIALISE carries.
struct OffscreenWords {
    HostWord width;
    HostWord height;
    HostWord bits;
    HostWord colorCount;
    HostWord colorTable;
};
static_assert(sizeof(OffscreenWords) == 5 * sizeof(HostWord));

}  // namespace tivar
