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
    Block<uint8_t> asked;  // the call-back's last rows, a slot each
};

// False without memory. slots: how many rows of the call-back are in use at the same time.
bool prepareSource(Source& source, const TivarPicture& picture, uint32_t slots);

// Asks the call-back for every row, from the top, and keeps them: enum TivarResult.
int32_t keepPicture(Source& source, Watch& watch);

// Row y; null when the call-back failed. What it gave lasts until the next row in that slot, and
// its rows are asked for once each.
const uint8_t* rowOf(Source& source, uint32_t y, uint32_t slot);

// The same of rows in memory, which any number of threads may ask for.
inline const uint8_t* memoryRow(const Source& source, uint32_t y) {
    return source.top + source.stride * int64_t{y};
}

}  // namespace tivar
