// Four numbers at a time. All of them are whole numbers below 2^24 or quarters of those, in which
// floats are exact.
#pragma once

#include <cstdint>

#include "base/simd.h"

namespace tivar {

#if TIVAR_SIMD

using FourFloats __attribute__((vector_size(16))) = float;
using FourInts __attribute__((vector_size(16))) = int32_t;

inline FourFloats fourOf(float value) {
    return FourFloats{value, value, value, value};
}
inline FourInts fourOf(int32_t value) {
    return FourInts{value, value, value, value};
}

inline FourFloats lesser(FourFloats a, FourFloats b) {
    return a < b ? a : b;
}
inline FourFloats greater(FourFloats a, FourFloats b) {
    return a > b ? a : b;
}

// Of each place the one number where a is less than b, the other elsewhere.
inline FourInts whereLess(FourFloats a, FourFloats b, FourInts one, FourInts other) {
    return a < b ? one : other;
}

#else

template <class T>
struct FourNumbers {
    T& operator[](uint32_t i) { return at[i]; }
    const T& operator[](uint32_t i) const { return at[i]; }

    T at[4];
};
using FourFloats = FourNumbers<float>;
using FourInts = FourNumbers<int32_t>;

template <class T>
FourNumbers<T> fourOf(T value) {
    return {{value, value, value, value}};
}

// rule(i) for each of the four places.
template <class T, class Rule>
FourNumbers<T> fourBy(Rule&& rule) {
    return {{rule(0), rule(1), rule(2), rule(3)}};
}

inline FourFloats operator+(const FourFloats& a, const FourFloats& b) {
    return fourBy<float>([&](uint32_t i) { return a[i] + b[i]; });
}
inline FourFloats operator-(const FourFloats& a, const FourFloats& b) {
    return fourBy<float>([&](uint32_t i) { return a[i] - b[i]; });
}
inline FourFloats operator*(const FourFloats& a, const FourFloats& b) {
    return fourBy<float>([&](uint32_t i) { return a[i] * b[i]; });
}

inline FourFloats lesser(const FourFloats& a, const FourFloats& b) {
    return fourBy<float>([&](uint32_t i) { return a[i] < b[i] ? a[i] : b[i]; });
}
inline FourFloats greater(const FourFloats& a, const FourFloats& b) {
    return fourBy<float>([&](uint32_t i) { return a[i] > b[i] ? a[i] : b[i]; });
}
inline FourInts whereLess(const FourFloats& a, const FourFloats& b, const FourInts& one,
                          const FourInts& other) {
    return fourBy<int32_t>([&](uint32_t i) { return a[i] < b[i] ? one[i] : other[i]; });
}

#endif

}  // namespace tivar
