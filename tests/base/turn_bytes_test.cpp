#include "base/turn_bytes.h"

#include <gtest/gtest.h>

#if TIVAR_SIMD

namespace tivar {
namespace {

TEST(TurnedBytes, HaveRowsAsColumns) {
    TwoRows rows[4];
    for (uint8_t row = 0; row < 8; ++row) {
        for (uint8_t column = 0; column < 8; ++column)
            rows[row / 2][row % 2 * 8 + column] = static_cast<uint8_t>(row * 16 + column);
    }
    TwoRows columns[4];
    turnBytes(rows, columns);
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            EXPECT_EQ(columns[column / 2][column % 2 * 8 + row], row * 16 + column);
    }
}

}  // namespace
}  // namespace tivar

#endif
