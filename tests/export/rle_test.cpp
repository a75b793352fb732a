#include <array>
#include <utility>

#include "model/plain_model.h"
#include "support/current_settings.h"
#include "support/memory_block.h"
#include "support/memory_stream.h"
#include "support/random_numbers.h"

namespace {

using support::Block;
using support::Bytes;
using support::CurrentSettings;
using support::MemoryStream;

using Encoder = decltype(&EncodeRLE8Row);

Bytes encode(Encoder encoder, const Bytes& row) {
    Bytes encoded(row.size() * 2 + 2, 0xEE);
    uint32_t length = 99;
    encoder(static_cast<uint32_t>(row.size()), &length, row.data(), encoded.data());
    EXPECT_EQ(encoded[length], 0xEE) << "nothing is written behind the pairs";
    encoded.resize(length);
    return encoded;
}

Bytes encode8(const Bytes& row) {
    return encode(EncodeRLE8Row, row);
}
Bytes encode4(const Bytes& row) {
    return encode(EncodeRLE4Row, row);
}

Bytes joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(RleRow, EmptyRowGivesNoPairs) {
    EXPECT_EQ(encode8({}), Bytes());
    EXPECT_EQ(encode4({}), Bytes());
}

TEST(RleRow, SingleByteIsARunOfOne) {
    EXPECT_EQ(encode8({7}), (Bytes{1, 7}));
    EXPECT_EQ(encode4({7}), (Bytes{2, 7}));
}

TEST(RleRow, RunThatReachesTheEndIsSplit) {
    EXPECT_EQ(encode8({0, 0, 0, 0}), (Bytes{3, 0, 1, 0}));
    EXPECT_EQ(encode8({9, 5, 5, 5}), (Bytes{1, 9, 2, 5, 1, 5}));
    EXPECT_EQ(encode8({5, 5}), (Bytes{1, 5, 1, 5}));
}

TEST(RleRow, RunBrokenByAnotherByteIsNotSplit) {
    EXPECT_EQ(encode8({1, 1, 2}), (Bytes{2, 1, 1, 2}));
    EXPECT_EQ(encode4({1, 1, 2}), (Bytes{4, 1, 2, 2}));
}

TEST(RleRow, AlternatingBytesAreRunsOfOne) {
    EXPECT_EQ(encode8({1, 2, 1, 2}), (Bytes{1, 1, 1, 2, 1, 1, 1, 2}));
    EXPECT_EQ(encode4({1, 2, 1, 2}), (Bytes{2, 1, 2, 2, 2, 1, 2, 2}));
}

TEST(RleRow, ThreeHundredEqualBytesStopAt254) {
    EXPECT_EQ(encode8(Bytes(300, 6)), (Bytes{254, 6, 45, 6, 1, 6}));
}

TEST(RleRow, EightEqualBytesOfFourBitPixelsCountPixels) {
    EXPECT_EQ(encode4(Bytes(8, 0x11)), (Bytes{14, 0x11, 2, 0x11}));
}

TEST(RleRow, LongestRunIs254BytesAtEightBits) {
    EXPECT_EQ(encode8(joined(Bytes(253, 6), {7})), (Bytes{253, 6, 1, 7}));
    EXPECT_EQ(encode8(joined(Bytes(254, 6), {7})), (Bytes{254, 6, 1, 7}));
    EXPECT_EQ(encode8(joined(Bytes(255, 6), {7})), (Bytes{254, 6, 1, 6, 1, 7}));
    EXPECT_EQ(encode8(Bytes(254, 6)), (Bytes{253, 6, 1, 6}));
    EXPECT_EQ(encode8(Bytes(255, 6)), (Bytes{254, 6, 1, 6}));
    EXPECT_EQ(encode8(Bytes(256, 6)), (Bytes{254, 6, 1, 6, 1, 6}));
}

TEST(RleRow, LongestRunIs126BytesAtFourBits) {
    EXPECT_EQ(encode4(joined(Bytes(125, 6), {7})), (Bytes{250, 6, 2, 7}));
    EXPECT_EQ(encode4(joined(Bytes(126, 6), {7})), (Bytes{252, 6, 2, 7}));
    EXPECT_EQ(encode4(joined(Bytes(127, 6), {7})), (Bytes{252, 6, 2, 6, 2, 7}));
    EXPECT_EQ(encode4(Bytes(127, 6)), (Bytes{252, 6, 2, 6}));
    EXPECT_EQ(encode4(Bytes(128, 6)), (Bytes{252, 6, 2, 6, 2, 6}));
}

TEST(RleRow, RandomRowsAgreeWithTheModelAndStayWithinTwoBytesForOne) {
    support::Random random(4711);
    for (int round = 0; round < 3000; ++round) {
        Bytes row(random() % 700);
        const uint32_t change = random() % 300 + 1;
        uint8_t value = 0;
        for (uint8_t& byte : row) {
            if (random() % change == 0) value = static_cast<uint8_t>(random() % 3 * 100);
            byte = value;
        }
        ASSERT_EQ(encode8(row), model::encodeRle(row, 1));
        ASSERT_EQ(encode4(row), model::encodeRle(row, 2));
        ASSERT_EQ(encode8(row).size() % 2, 0u);
        ASSERT_LE(encode8(row).size(), row.size() * 2);
    }
}

TEST(RleRow, NullPointersEncodeNothing) {
    for (const Encoder encoder : {&EncodeRLE8Row, &EncodeRLE4Row}) {
        const uint8_t row[2] = {1, 1};
        uint8_t out[4] = {9, 9, 9, 9};
        uint32_t length = 5;
        encoder(2, &length, nullptr, out);
        EXPECT_EQ(length, 0u);
        length = 5;
        encoder(2, &length, row, nullptr);
        EXPECT_EQ(length, 0u);
        encoder(2, nullptr, row, out);
        EXPECT_EQ(out[0], 9);
    }
}

// Settings with a work buffer, as the file's begin leaves them.
struct WorkBuffer {
    explicit WorkBuffer(size_t bytes) : buffer(Bytes(bytes, 0)) {
        settings->hRLEBuffer = buffer.handle;
        settings->lpRLEBuffer = static_cast<uint8_t*>(GlobalLock(buffer.handle));
    }
    CurrentSettings settings;
    Block buffer;
};

TEST(RleWrite, RowsAreEncodedOneByOneAndCounted) {
    WorkBuffer work(8);
    MemoryStream target;
    const Bytes rows = {1, 1, 1, 1, 1, 1, 2, 2};
    uint32_t counter = 100;
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 2, 4, 4, &counter, 1), 0);
    EXPECT_EQ(counter, 110u);
    EXPECT_EQ(target.finish(), (Bytes{3, 1, 1, 1, 2, 1, 1, 2, 1, 2}));
}

TEST(RleWrite, EveryModeButTwoIsEightBit) {
    for (const uint32_t mode : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
        WorkBuffer work(8);
        MemoryStream target;
        const Bytes row = {1, 1, 2};
        uint32_t counter = 0;
        EXPECT_EQ(RLEWrite(target.stream, row.data(), 1, 3, 3, &counter, mode), 0);
        EXPECT_EQ(target.finish(), mode == 2 ? Bytes({4, 1, 2, 2}) : Bytes({2, 1, 1, 2})) << mode;
    }
}

TEST(RleWrite, BytesBetweenLengthAndStrideAreLeftOut) {
    WorkBuffer work(8);
    MemoryStream target;
    const Bytes rows = {1, 2, 99, 99, 3, 4};
    uint32_t counter = 0;
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 2, 2, 4, &counter, 1), 0);
    EXPECT_EQ(target.finish(), (Bytes{1, 1, 1, 2, 1, 3, 1, 4}));
}

TEST(RleWrite, NoRowsWriteNothing) {
    WorkBuffer work(8);
    MemoryStream target;
    const uint8_t row = 1;
    uint32_t counter = 3;
    EXPECT_EQ(RLEWrite(target.stream, &row, 0, 1, 1, &counter, 1), 0);
    EXPECT_EQ(counter, 3u);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(RleWrite, ShortWriteStopsWith303AndTheRowCounts) {
    WorkBuffer work(8);
    MemoryStream target(uint32_t{9});
    const Bytes rows = {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4};
    uint32_t counter = 0;
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 4, 4, 4, &counter, 1), 303);
    EXPECT_EQ(counter, 12u) << "two rows written, one tried, one not";
}

TEST(RleWrite, MissingStreamFailsWith303) {
    WorkBuffer work(8);
    const Bytes rows = {1, 1, 1, 1};
    uint32_t counter = 0;
    EXPECT_EQ(RLEWrite(0, rows.data(), 1, 4, 4, &counter, 1), 303);
}

TEST(RleWrite, NullPointersFailWith303) {
    WorkBuffer work(8);
    MemoryStream target;
    const Bytes rows = {1, 1, 1, 1};
    uint32_t counter = 5;
    EXPECT_EQ(RLEWrite(target.stream, nullptr, 1, 4, 4, &counter, 1), 303);
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 1, 4, 4, nullptr, 1), 303);
    SetupRecord* current = std::exchange(lpRaster, nullptr);
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 1, 4, 4, &counter, 1), 303);
    lpRaster = current;
    EXPECT_EQ(counter, 5u);
    EXPECT_EQ(target.finish(), Bytes());
}

TEST(RleWrite, WorkBufferThatIsMissingOrTooSmallFailsWith303) {
    const Bytes rows = {1, 2, 3, 4};
    uint32_t counter = 0;
    MemoryStream target;
    {
        WorkBuffer small(7);
        EXPECT_EQ(RLEWrite(target.stream, rows.data(), 1, 4, 4, &counter, 1), 303);
    }
    CurrentSettings none;
    EXPECT_EQ(RLEWrite(target.stream, rows.data(), 1, 4, 4, &counter, 1), 303);
    EXPECT_EQ(target.finish(), Bytes());
}

}  // namespace
