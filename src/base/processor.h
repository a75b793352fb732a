// Versions for newer processors. A function is written once, as an inline body; one function wraps
// it for every processor and another, marked TIVAR_V3, for those with 256-bit integer vectors:
//
//     void addRows(Row row) { addRowsBody(row); }
//     TIVAR_V3 void addRowsV3(Row row) { addRowsBody(row); }
//     ... hasV3() ? addRowsV3(row) : addRows(row) ...
//
// TIVAR_BASELINE leaves the marked ones out.
#pragma once

#include "base/simd.h"

#if TIVAR_SIMD && defined(__x86_64__) && !defined(TIVAR_BASELINE)
#define TIVAR_HAS_V3 1
// Everything that is called is compiled into the function, for the instructions that it may use.
// Nothing that rounds differently: no fused multiplications.
#define TIVAR_V3 __attribute__((target("avx2,bmi,bmi2"), flatten))
// Part of marked functions alone.
#define TIVAR_V3_PART __attribute__((target("avx2,bmi,bmi2"), always_inline)) inline
#else
#define TIVAR_HAS_V3 0
#endif

namespace tivar {

// Whether this processor runs marked functions.
inline bool hasV3() {
#if TIVAR_HAS_V3
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

}  // namespace tivar
