// The distinct colours of a picture and their numbers, as long as there are not too many.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/block.h"

namespace tivar {

inline uint32_t packColor(const uint8_t* rgb) {
    return static_cast<uint32_t>(rgb[0]) << 16 | static_cast<uint32_t>(rgb[1]) << 8 | rgb[2];
}

struct ColorSet {
    struct Slot {
        uint32_t color;  // red << 16 | green << 8 | blue
        uint32_t count;  // 0 = free; what is more stays the most
    };

    // Room for so many colours; false without memory.
    bool obtain(uint32_t mostColors);

    // Adds pixels from the left until one would be a colour too many, and returns how many it took.
    uint32_t addRow(const uint8_t* rgb, uint32_t width);

    // Adds count pixels of one colour; false when it would be a colour too many.
    bool add(uint32_t color, uint64_t count);

    // Calls visit(color, count) for every colour, in no useful order.
    template <class Visit>
    void forEach(Visit&& visit) const {
        if (!slots) return;
        for (uint32_t i = 0; i <= mask; ++i) {
            if (slots[i].count != 0) visit(slots[i].color, slots[i].count);
        }
    }

    Block<Slot> slots;
    uint32_t mask = 0;  // slots less 1, a power of two
    uint32_t most = 0;
    uint32_t colors = 0;
};

}  // namespace tivar
