// Vector code of one family of processors, behind the switch of all vector code.
#pragma once

#include "base/simd.h"

#if TIVAR_SIMD && defined(__SSE2__)
#define TIVAR_SSE2
#include <emmintrin.h>

#include <cstdint>

namespace tivar {

inline __m128i loadLanes(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
inline void storeLanes(void* to, __m128i lanes) {
    _mm_storeu_si128(static_cast<__m128i*>(to), lanes);
}

// The low byte of each 16-bit lane, the first lane's lowest.
inline uint64_t lowBytes(__m128i lanes) {
    uint64_t bytes = 0;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&bytes), _mm_packus_epi16(lanes, lanes));
    return bytes;
}

}  // namespace tivar
#endif
