#include "color/red_blue.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/memory_block.h"
#include "support/random_numbers.h"

namespace {

using support::Bytes;

TEST(ExchangeRowRedBlue, EveryWidthAgreesWithAnExchangePixelByPixel) {
    support::Random random(815);
    for (uint32_t width = 0; width < 100; ++width) {
        Bytes row(width * 3 + 5);
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(random());
        Bytes wanted = row;
        for (uint32_t x = 0; x < width; ++x) std::swap(wanted[x * 3], wanted[x * 3 + 2]);
        tivar::exchangeRowRedBlue(row.data(), width);
        ASSERT_EQ(row, wanted) << width << " pixels, and the bytes behind them as they were";
    }
}

}  // namespace
