// The debug levels that the host may set.
#pragma once

#include <tivar/color.h>

namespace tivar {

inline bool printsSummaries() {
    return _debug_color_res != 0;
}
inline bool printsDots() {
    return _debug_color_res != 0 && _debug_color_res < 3;
}
inline bool tracesPixels() {
    return _debug_color_res > 3;
}

}  // namespace tivar
