// What a call of the direct interface asks for, checked, with every default filled in.
#pragma once

#include <tivar/write.h>

#include <cstdint>

namespace tivar {

constexpr uint32_t kMostSide = 0x7FFFFFFF;
constexpr uint64_t kMostFileBytes = 0xFFFFFFFF;

// What is wrong, where and why; result is TIVAR_RESULT_OK when nothing is.
struct Refusal {
    int32_t result;
    const char* field;
    const char* why;
};
constexpr Refusal kAccepted = {TIVAR_RESULT_OK, "", ""};

// Where the file's pixels come from.
enum class PixelSource {
    kColors,   // the picture's colours, as they are: 24 and 32 bits
    kHigh,     // the same in 16 bits
    kIndices,  // the picture's indices and palette
    kReduced   // indices into a palette that is chosen or given
};

struct Job {
    TivarPicture picture;
    TivarOptions options;  // without defaults: they say what is done
    PixelSource source;
    bool keepsAlpha;
    bool encoded;  // run-length encoded, or may be
};

// Fills job from the caller's records; options may be null.
Refusal checkJob(const TivarPicture* picture, const TivarOptions* options, Job& job);

// Bits of a pixel in memory.
uint32_t formatBits(int32_t format);

inline bool hasAlpha(int32_t format) {
    return format == TIVAR_RGBA || format == TIVAR_BGRA;
}
inline bool hasIndices(int32_t format) {
    return format >= TIVAR_INDEX1;
}

// Bytes of a row in memory, without padding.
inline uint64_t packedRowBytes(uint32_t width, uint32_t bits) {
    return (uint64_t{width} * bits + 7) / 8;
}

}  // namespace tivar
