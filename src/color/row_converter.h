// Conversion of whole rows. What depends on the tables alone is worked out once per bitmap; rows
// then go through byte tables or the nearest-entry finder. Depth pairs without a faster way, and
// bitmaps for which there is no memory, go pixel by pixel.
#pragma once

#include <cstdint>
#include <optional>

#include "base/memory.h"
#include "color/nearest_bytes.h"
#include "color/pixel.h"

namespace tivar {

// The plain rule, pixel by pixel.
void convertRowPlainly(const uint8_t* source, int16_t sourceBits, uint8_t* dest,
                       const PixelTarget& target, uint32_t width);

struct RowConverter {
    // What target points at must outlive the converter.
    RowConverter(int16_t sourceBits, const PixelTarget& target, uint32_t width);

    // Converts one row into a zeroed one.
    void convert(const uint8_t* source, uint8_t* dest);

  private:
    const uint8_t* unpack(const uint8_t* source);
    void convertIndices(const uint8_t* source, uint8_t* dest);
    void expandIndices(const uint8_t* source, uint8_t* dest);
    void matchColors(const uint8_t* source, uint8_t* dest);

    int16_t sourceBits;
    PixelTarget target;
    uint32_t width;
    OwnedBlock indexBlock;  // one row, an index a byte
    uint8_t mapped[256];    // stored index of each source index
    uint32_t colors[256];   // stored colour of each source index
    std::optional<NearestBytes> nearest;
    void (RowConverter::*step)(const uint8_t* source, uint8_t* dest) = nullptr;
};

}  // namespace tivar
