// The rows of the caller's picture: from memory, from the call-back, or kept from it.
#pragma once

#include <cstdint>

#include "base/block.h"
#include "write/job.h"
#include "write/watch.h"

namespace tivar {

struct Source {
    const TivarPicture* picture;
    uint64_t rowBytes;   // without padding
    const uint8_t* top;  // of rows that lie in memory, else null
    int64_t stride;
    Block<uint8_t> kept;
    Block<uint8_t> row;  // the call-back's last
};

// False without memory.
bool prepareSource(Source& source, const TivarPicture& picture);

// Asks the call-back for every row, from the top, and keeps them: enum TivarResult.
int32_t keepPicture(Source& source, Watch& watch);

// Row y; null when the call-back failed. What a call-back gave lasts until the next row, and such
// rows are asked for once each.
const uint8_t* rowOf(Source& source, uint32_t y);

// The same of rows in memory, which any number of threads may ask for.
inline const uint8_t* memoryRow(const Source& source, uint32_t y) {
    return source.top + source.stride * int64_t{y};
}

}  // namespace tivar
