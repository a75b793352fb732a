#include "bmp/fields.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "bmp/little_endian.h"

namespace tool {
namespace {

constexpr int kLinearOne = 1 << 13;

Field fieldIn(uint32_t mask) {
    if (mask == 0) return {};
    const auto shift = static_cast<unsigned>(std::countr_zero(mask));
    return {shift, static_cast<unsigned>(std::popcount(mask))};
}

bool hasGaps(uint32_t mask) {
    const uint32_t low = mask == 0 ? 0 : mask >> std::countr_zero(mask);
    return (low & (low + 1)) != 0;
}

bool areUsable(const std::array<uint32_t, 4>& masks, unsigned bits) {
    uint32_t taken = 0;
    for (const uint32_t mask : masks) {
        const bool beyond = bits < 32 && mask >> bits != 0;
        if (hasGaps(mask) || beyond || (taken & mask) != 0) return false;
        taken |= mask;
    }
    return taken != 0;
}

// The share of the largest value that the field holds, as 0 to 255.
uint8_t scaled(uint32_t pixel, Field field) {
    if (field.bits == 0) return 0;
    const uint64_t highest = (uint64_t{1} << field.bits) - 1;
    const uint64_t value = pixel >> field.shift & highest;
    return static_cast<uint8_t>((value * 255 + highest / 2) / highest);
}

// What sRGB stores for every value of linear light from 0 to 1.
std::vector<uint8_t> curveTable() {
    std::vector<uint8_t> table;
    for (int i = 0; i <= kLinearOne; ++i) {
        const double light = static_cast<double>(i) / kLinearOne;
        const double stored =
            light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
        table.push_back(static_cast<uint8_t>(std::lround(stored * 255)));
    }
    return table;
}

int linearAt(const uint8_t* from) {
    return std::clamp<int>(static_cast<int16_t>(little16(from)), 0, kLinearOne);
}

}  // namespace

Fields fieldsOf(const BmpHeaders& headers) {
    std::array<uint32_t, 4> masks = headers.masks;
    if (!hasFields(headers)) {
        masks = headers.bits == 16 ? std::array<uint32_t, 4>{0x7C00, 0x03E0, 0x001F, 0}
                                   : std::array<uint32_t, 4>{0xFF0000, 0x00FF00, 0x0000FF, 0};
    }
    Fields fields;
    std::transform(masks.begin(), masks.end(), fields.of.begin(), fieldIn);
    fields.usable = areUsable(masks, headers.bits);
    return fields;
}

bool hasAlpha(const BmpHeaders& headers) {
    return headers.bits == 64 || (hasFields(headers) && headers.masks[3] != 0);
}

void readFields(const Fields& fields, unsigned bits, const uint8_t* from, uint8_t* to,
                size_t width) {
    const size_t channels = fields.of[3].bits == 0 ? 3 : 4;
    const size_t step = bits / 8;
    for (size_t x = 0; x < width; ++x, from += step) {
        const uint32_t pixel = bits == 16 ? little16(from) : little32(from);
        for (size_t i = 0; i < channels; ++i) *to++ = scaled(pixel, fields.of[i]);
    }
}

void readLinear(const uint8_t* from, uint8_t* to, size_t width) {
    static const std::vector<uint8_t> curve = curveTable();
    for (size_t x = 0; x < width; ++x, from += 8, to += 4) {
        for (size_t i = 0; i < 3; ++i) {
            to[i] = curve[static_cast<size_t>(linearAt(from + 2 * (2 - i)))];
        }
        to[3] = static_cast<uint8_t>((linearAt(from + 6) * 255 + kLinearOne / 2) / kLinearOne);
    }
}

}  // namespace tool
