#include "write/color_set.h"

#include "base/hash_factor.h"

namespace tivar {
namespace {

uint32_t homeOf(uint32_t color) {
    return color * kHashFactor >> 12;
}

}  // namespace

bool ColorSet::obtain(uint32_t mostColors) {
    uint32_t size = 4;
    while (size < mostColors * 2) size *= 2;
    mask = size - 1;
    most = mostColors;
    colors = 0;
    return slots.obtainZeroed(size);
}

bool ColorSet::add(uint32_t color, uint64_t count) {
    uint32_t at = homeOf(color) & mask;
    while (slots[at].count != 0 && slots[at].color != color) at = (at + 1) & mask;
    Slot& slot = slots[at];
    if (slot.count == 0) {
        if (colors == most) return false;
        ++colors;
        slot.color = color;
    }
    slot.count = static_cast<uint32_t>(std::min<uint64_t>(slot.count + count, UINT32_MAX));
    return true;
}

uint32_t ColorSet::addRow(const uint8_t* rgb, uint32_t width) {
    for (uint32_t x = 0; x < width;) {
        const uint32_t color = packColor(rgb + size_t{x} * 3);
        uint32_t end = x + 1;
        while (end < width && packColor(rgb + size_t{end} * 3) == color) ++end;
        if (!add(color, end - x)) return x;
        x = end;
    }
    return width;
}

}  // namespace tivar
