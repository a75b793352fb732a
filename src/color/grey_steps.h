// What becomes of each grey level, worked out once.
#pragma once

#include <cstdint>

#include "color/error_shares.h"

namespace tivar {

struct GreyStep {
    Shares<int16_t> shares;  // of the error
    uint8_t entry;           // the level of the table's entry
    uint8_t stored;          // the index stored for it
};

constexpr int kGreyLevels = 256;

}  // namespace tivar
