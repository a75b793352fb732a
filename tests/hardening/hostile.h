// Arguments that no sane host gives. A test of suite HostileArguments bears the name of the symbol
// that it is about; every exported symbol must have one.
#pragma once

#include <gtest/gtest.h>
#include <tivar/tivar.h>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>

#include "support/captured_text.h"
#include "support/color_bitmaps.h"
#include "support/current_settings.h"
#include "support/memory_block.h"

namespace hardening {

using support::Block;
using support::Bytes;
using support::sameBytes;

constexpr uint32_t kHuge = UINT32_MAX;
constexpr int32_t kNumbers[] = {0, 1, -1, INT32_MAX, INT32_MIN};
constexpr int16_t kShorts[] = {0, 1, -1, INT16_MAX, INT16_MIN};
constexpr int16_t kStrangeDepths[] = {0, -1, 2, 3, 7, 16, 23, 25, 33, 64, INT16_MAX, INT16_MIN};
constexpr double kStrangeDoubles[] = {0.0,
                                      -0.0,
                                      -1.0,
                                      1e-300,
                                      1e300,
                                      -1e300,
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity(),
                                      std::numeric_limits<double>::quiet_NaN()};

// Strings around the length of a field of 144 bytes, and far beyond.
inline std::vector<std::string> longStrings() {
    std::vector<std::string> strings;
    for (const size_t length : {size_t{142}, size_t{143}, size_t{144}, size_t{145}, size_t{70000}})
        strings.emplace_back(length, 'x');
    return strings;
}

// From here on no record is the current one.
inline void forgetCurrentRecord() {
    lpRaster = nullptr;
    hRaster = 0;
}

// Rows of a bitmap that shows neither zeros nor repetitions.
inline Bytes someRows(uint32_t rowBytes, uint32_t rows) {
    Bytes bytes;
    for (uint32_t i = 0; i < rowBytes * rows; ++i) bytes.push_back(static_cast<uint8_t>(i * 37));
    return bytes;
}

}  // namespace hardening
