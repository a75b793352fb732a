// Eight rows of eight bytes as eight columns.
#pragma once

#include <cstdint>

#include "base/simd.h"

#if TIVAR_SIMD

namespace tivar {

typedef uint8_t TwoRows __attribute__((vector_size(16)));  // of eight bytes each

// Rows in pairs become columns in pairs.
inline void turnBytes(const TwoRows (&rows)[4], TwoRows (&columns)[4]) {
    typedef uint16_t Pairs __attribute__((vector_size(16)));  // of a column, from two rows
    typedef uint32_t Fours __attribute__((vector_size(16)));
    typedef uint64_t Words __attribute__((vector_size(16)));
    const auto zip = [](TwoRows two) {
        const auto words = reinterpret_cast<Words>(two);
        const auto second = reinterpret_cast<TwoRows>(__builtin_shufflevector(words, words, 1, 1));
        return reinterpret_cast<Pairs>(__builtin_shufflevector(two, second, 0, 16, 1, 17, 2, 18, 3,
                                                               19, 4, 20, 5, 21, 6, 22, 7, 23));
    };
    const Pairs rows01 = zip(rows[0]), rows23 = zip(rows[1]);
    const Pairs rows45 = zip(rows[2]), rows67 = zip(rows[3]);
    const auto firstOf = [](Pairs a, Pairs b) {
        return reinterpret_cast<Fours>(__builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11));
    };
    const auto lastOf = [](Pairs a, Pairs b) {
        return reinterpret_cast<Fours>(__builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15));
    };
    const auto join = [&](Fours upper, Fours lower, int at) {
        columns[at] = reinterpret_cast<TwoRows>(__builtin_shufflevector(upper, lower, 0, 4, 1, 5));
        columns[at + 1] =
            reinterpret_cast<TwoRows>(__builtin_shufflevector(upper, lower, 2, 6, 3, 7));
    };
    join(firstOf(rows01, rows23), firstOf(rows45, rows67), 0);
    join(lastOf(rows01, rows23), lastOf(rows45, rows67), 2);
}

}  // namespace tivar

#endif
