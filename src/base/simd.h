// One switch for all code that works on several values at a time. Each piece of it stands beside
// the plain rule that it follows; with TIVAR_NO_SIMD, and where the lowest byte does not come
// first, the plain rules do the work.
#pragma once

#if !defined(TIVAR_NO_SIMD) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define TIVAR_SIMD 1
#else
#define TIVAR_SIMD 0
#endif
