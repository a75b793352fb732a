// What a target asks of the library: a broken promise ends the process, which the fuzzer and the
// replay both take for a finding.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "harness/input.h"

namespace fuzz {

[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

inline void require(bool holds, const char* what) {
    if (!holds) fail(what);
}

template <class Number>
void requireEqual(Number actual, Number expected, const char* what) {
    if (actual == expected) return;
    std::fprintf(stderr, "%lld, expected %lld\n", static_cast<long long>(actual),
                 static_cast<long long>(expected));
    fail(what);
}

inline void requireSame(const Bytes& actual, const Bytes& expected, const char* what) {
    if (actual == expected) return;
    std::fprintf(stderr, "%zu bytes, expected %zu\n", actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size() && i < expected.size(); ++i) {
        if (actual[i] == expected[i]) continue;
        std::fprintf(stderr, "byte %zu is %d, expected %d\n", i, actual[i], expected[i]);
        break;
    }
    fail(what);
}

}  // namespace fuzz
