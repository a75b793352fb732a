#include "write/index_rows.h"

#include <cstring>

namespace tivar {
namespace {

int lightOf(const ColorTable& table, uint32_t i) {
    const uint8_t* entry = table.entries[i];
    return entry[0] * entry[0] + entry[1] * entry[1] + entry[2] * entry[2];
}

uint32_t darkestOf(const ColorTable& table) {
    uint32_t darkest = 0;
    for (uint32_t i = 1; i < table.count; ++i)
        if (lightOf(table, i) < lightOf(table, darkest)) darkest = i;
    return darkest;
}

// The entry of indices beyond the palette, which are black: one is added if there is none and room.
uint32_t entryBeyond(uint32_t room, ColorTable& table) {
    const uint32_t darkest = darkestOf(table);
    if (lightOf(table, darkest) == 0 || table.count >= room) return darkest;
    return table.count++;
}

void packBits(const uint8_t* indices, uint32_t width, uint8_t* out) {
    uint32_t x = 0;
    for (; x + 8 <= width; x += 8, indices += 8) {
        unsigned byte = 0;
        for (int i = 0; i < 8; ++i) byte = byte << 1 | indices[i];
        *out++ = static_cast<uint8_t>(byte);
    }
    if (x == width) return;
    unsigned byte = 0;
    for (uint32_t i = 0; i < width - x; ++i) byte |= static_cast<unsigned>(indices[i]) << (7 - i);
    *out = static_cast<uint8_t>(byte);
}

void packHalves(const uint8_t* indices, uint32_t width, uint8_t* out) {
    for (uint32_t x = 0; x + 2 <= width; x += 2)
        *out++ = static_cast<uint8_t>(indices[x] << 4 | indices[x + 1]);
    if (width % 2 != 0) *out = static_cast<uint8_t>(indices[width - 1] << 4);
}

}  // namespace

void prepareKeptIndices(KeptIndices& kept, const Job& job, ColorTable& table) {
    table = {};
    table.count = job.picture.palette_count;
    std::memcpy(table.entries, job.picture.palette, size_t{table.count} * 3);
    kept.plain = table.count == 1u << formatBits(job.picture.format);
    kept.blackBeyond = true;
    if (kept.plain) return;
    const uint32_t beyond = entryBeyond(job.options.max_colors, table);
    kept.blackBeyond = lightOf(table, beyond) == 0;
    for (uint32_t i = 0; i < 256; ++i)
        kept.translated[i] = static_cast<uint8_t>(i < job.picture.palette_count ? i : beyond);
}

const uint8_t* keptIndicesOf(const KeptIndices& kept, const RowColors& how, const uint8_t* row,
                             uint8_t* indices) {
    const uint8_t* own = indicesOf(how, row, indices);
    if (kept.plain) return own;
    for (uint32_t x = 0; x < how.width; ++x) indices[x] = kept.translated[own[x]];
    return indices;
}

void packIndices(const uint8_t* indices, uint32_t width, uint32_t bits, uint8_t* out) {
    if (bits == 8) {
        std::memcpy(out, indices, width);
    } else if (bits == 4) {
        packHalves(indices, width, out);
    } else {
        packBits(indices, width, out);
    }
}

}  // namespace tivar
