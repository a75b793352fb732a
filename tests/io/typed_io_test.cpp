#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <limits>

#include "support/memory_stream.h"
#include "support/recording_document.h"
#include "support/source_stream.h"

namespace {

using support::Bytes;
using support::FileSource;
using support::kDocWrite;
using support::MemorySource;
using support::MemoryStream;
using support::RecordingDocument;
using support::TempDirectory;

constexpr int16_t kLittle = 0;
constexpr int16_t kBig = 1;
constexpr int16_t kIeee = 0;
constexpr int16_t kFixed = 1;

// The bytes that one item leaves in a stream of the data format.
template <class Item>
Bytes written(int32_t (*write)(OxlStream, const Item*, int32_t), Item item, int16_t byteOrder,
              int16_t floatFormat = kIeee) {
    MemoryStream target;
    oxlSetDataFormat(target.stream, byteOrder, floatFormat);
    EXPECT_EQ(write(target.stream, &item, 1), 1);
    return target.finish();
}

// The item that the bytes make in a stream of the data format.
template <class Item>
Item readBack(int32_t (*read)(OxlStream, Item*, int32_t), const Bytes& bytes, int16_t byteOrder,
              int16_t floatFormat = kIeee) {
    MemorySource source(bytes);
    oxlSetDataFormat(source.stream, byteOrder, floatFormat);
    Item item = {};
    EXPECT_EQ(read(source.stream, &item, 1), 1);
    return item;
}

template <class Item>
void expectBothWays(int32_t (*write)(OxlStream, const Item*, int32_t),
                    int32_t (*read)(OxlStream, Item*, int32_t), Item item, const Bytes& big) {
    const Bytes little(big.rbegin(), big.rend());
    EXPECT_EQ(written(write, item, kBig), big);
    EXPECT_EQ(readBack(read, big, kBig), item);
    // Whatever is not 1 is least significant first.
    for (const int byteOrder : {0, 2, -1, 256, 257}) {
        EXPECT_EQ(written(write, item, static_cast<int16_t>(byteOrder)), little) << byteOrder;
        EXPECT_EQ(readBack(read, little, static_cast<int16_t>(byteOrder)), item) << byteOrder;
    }
}

TEST(TypedIo, BytesGoAsTheyAreInEitherByteOrder) {
    for (const int16_t byteOrder : {kLittle, kBig}) {
        const uint8_t items[] = {1, 2, 3, 0, 255};
        MemoryStream target;
        oxlSetDataFormat(target.stream, byteOrder, kIeee);
        EXPECT_EQ(oxlWriteChar(target.stream, items, 5), 5);
        EXPECT_EQ(target.finish(), (Bytes{1, 2, 3, 0, 255}));
        MemorySource source(Bytes{1, 2, 3, 0, 255});
        oxlSetDataFormat(source.stream, byteOrder, kIeee);
        uint8_t back[8] = {};
        // Bytes are counted, so fewer are no failure.
        EXPECT_EQ(oxlReadChar(source.stream, back, 8), 5);
        EXPECT_EQ(std::memcmp(back, items, 5), 0);
        EXPECT_EQ(oxlReadChar(source.stream, back, 8), 0);
    }
}

TEST(TypedIo, ShortsFollowTheByteOrder) {
    expectBothWays<uint16_t>(oxlWriteShort, oxlReadShort, 258, {1, 2});
    expectBothWays<uint16_t>(oxlWriteShort, oxlReadShort, 0xFF80, {0xFF, 0x80});
}

TEST(TypedIo, LongsFollowTheByteOrder) {
    expectBothWays<uint32_t>(oxlWriteLong, oxlReadLong, 0x01020304, {1, 2, 3, 4});
    expectBothWays<uint32_t>(oxlWriteLong, oxlReadLong, 0xFFFEFDFC, {0xFF, 0xFE, 0xFD, 0xFC});
}

TEST(TypedIo, IeeeFloatsFollowTheByteOrderLikeLongs) {
    expectBothWays<float>(oxlWriteFloat, oxlReadFloat, 1.0f, {0x3F, 0x80, 0, 0});
    // -118.625 is -1.110110101 (binary) times 2 to the 6th.
    expectBothWays<float>(oxlWriteFloat, oxlReadFloat, -118.625f, {0xC2, 0xED, 0x40, 0});
}

TEST(TypedIo, AFloatFormatOtherThanOneIsIeee) {
    for (const int format : {0, 2, -1, 256, 257}) {
        const auto floatFormat = static_cast<int16_t>(format);
        EXPECT_EQ(written(oxlWriteFloat, 1.0f, kBig, floatFormat), (Bytes{0x3F, 0x80, 0, 0}));
        EXPECT_EQ(readBack(oxlReadFloat, {0x3F, 0x80, 0, 0}, kBig, floatFormat), 1.0f);
    }
}

TEST(TypedIo, NotANumberKeepsItsBits) {
    const uint32_t bits = 0x7FA12345;
    float item = 0;
    std::memcpy(&item, &bits, sizeof item);
    MemoryStream target;
    EXPECT_EQ(oxlWriteFloat(target.stream, &item, 1), 1);
    EXPECT_EQ(target.finish(), (Bytes{0x45, 0x23, 0xA1, 0x7F}));
    MemorySource source(Bytes{0x45, 0x23, 0xA1, 0x7F});
    float back = 0;
    EXPECT_EQ(oxlReadFloat(source.stream, &back, 1), 1);
    EXPECT_EQ(std::memcmp(&back, &bits, sizeof back), 0);
}

struct Fixed {
    float value;
    Bytes bytes;
};

TEST(TypedIo, FixedPointIsWrittenFractionFirstWhateverTheByteOrder) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const Fixed items[] = {
        {0.0f, {0, 0, 0, 0}},
        {1.0f, {0, 0, 0, 1}},
        {1.5f, {0x80, 0, 0, 1}},
        {258.25f, {0x40, 0, 1, 2}},
        {-1.0f, {0, 0, 0xFF, 0xFF}},
        // The integer part is cut towards zero, so the fraction is -0.5, or -0x8000.
        {-1.5f, {0x80, 0, 0xFF, 0xFF}},
        {-0.25f, {0xC0, 0, 0, 0}},
        {32767.0f, {0, 0, 0x7F, 0xFF}},
        {-32768.0f, {0, 0, 0x80, 0}},
        // 65536 is 0 in 16 bits, and the whole value becomes fraction: past 32 bits, so the
        // largest.
        {65536.0f, {0xFF, 0xFF, 0, 0}},
        // 40000 is -25536 in 16 bits; what is missing to it, 65536, is the fraction.
        {40000.0f, {0xFF, 0xFF, 0x9C, 0x40}},
        {-40000.0f, {0, 0, 0x63, 0xC0}},
        {std::numeric_limits<float>::quiet_NaN(), {0, 0, 0, 0}},
        {kInfinity, {0xFF, 0xFF, 0xFF, 0xFF}},
        {-kInfinity, {0, 0, 0, 0}},
    };
    for (const Fixed& item : items) {
        for (const int16_t byteOrder : {kLittle, kBig})
            EXPECT_EQ(written(oxlWriteFloat, item.value, byteOrder, kFixed), item.bytes)
                << item.value;
    }
}

TEST(TypedIo, FixedPointIsReadAsOneNumberInTheByteOrder) {
    const Fixed big[] = {
        {1.5f, {0, 1, 0x80, 0}},
        {-1.5f, {0xFF, 0xFE, 0x80, 0}},
        {0.0f, {0, 0, 0, 0}},
        {-32768.0f, {0x80, 0, 0, 0}},
        {258.25f, {1, 2, 0x40, 0}},
        // The quotient of 0x7FFFFFFF is not a float; the nearest is.
        {32768.0f, {0x7F, 0xFF, 0xFF, 0xFF}},
    };
    for (const Fixed& item : big) {
        EXPECT_EQ(readBack(oxlReadFloat, item.bytes, kBig, kFixed), item.value);
        const Bytes little(item.bytes.rbegin(), item.bytes.rend());
        EXPECT_EQ(readBack(oxlReadFloat, little, kLittle, kFixed), item.value);
    }
}

TEST(TypedIo, FixedPointDoesNotReadBackAsWritten) {
    // 80 00 00 01 is 0x01000080 least significant first: 16777344 / 65536.
    const Bytes bytes = written(oxlWriteFloat, 1.5f, kLittle, kFixed);
    EXPECT_EQ(readBack(oxlReadFloat, bytes, kLittle, kFixed), 256.001953125f);
    // Most significant first it is -0x7FFFFFFF.
    EXPECT_EQ(readBack(oxlReadFloat, bytes, kBig, kFixed), -32768.0f);
}

// Every byte is another one.
constexpr uint64_t kDoubleBits = 0x0102030405060708u;
const Bytes kDoubleBig = {1, 2, 3, 4, 5, 6, 7, 8};
const Bytes kDoubleLittle = {8, 7, 6, 5, 4, 3, 2, 1};

TEST(TypedIo, DoublesAreReadInTheByteOrder) {
    const auto item = std::bit_cast<double>(kDoubleBits);
    EXPECT_EQ(readBack(oxlReadDouble, kDoubleBig, kBig), item);
    for (const int16_t byteOrder : {kLittle, int16_t{2}})
        EXPECT_EQ(readBack(oxlReadDouble, kDoubleLittle, byteOrder), item);
    EXPECT_EQ(readBack(oxlReadDouble, {0x3F, 0xF0, 0, 0, 0, 0, 0, 0}, kBig), 1.0);
}

TEST(TypedIo, DoublesAreWrittenLeastSignificantFirstOrWithTheirHalvesInTwoOrders) {
    const auto item = std::bit_cast<double>(kDoubleBits);
    EXPECT_EQ(written(oxlWriteDouble, item, kLittle), kDoubleLittle);
    EXPECT_EQ(written(oxlWriteDouble, item, int16_t{-1}), kDoubleLittle);
    EXPECT_EQ(written(oxlWriteDouble, item, kBig), (Bytes{5, 6, 7, 8, 4, 3, 2, 1}));
}

TEST(TypedIo, TheFloatFormatLeavesDoublesAlone) {
    const auto item = std::bit_cast<double>(kDoubleBits);
    EXPECT_EQ(written(oxlWriteDouble, item, kLittle, kFixed), kDoubleLittle);
    EXPECT_EQ(readBack(oxlReadDouble, kDoubleLittle, kLittle, kFixed), item);
    EXPECT_EQ(readBack(oxlReadDouble, kDoubleBig, kBig, kFixed), item);
}

TEST(TypedIo, ArraysGoItemByItem) {
    MemoryStream target;
    const uint16_t shorts[] = {1, 2, 3};
    const uint32_t longs[] = {4, 5};
    const double doubles[] = {1.0, -2.0};
    EXPECT_EQ(oxlWriteShort(target.stream, shorts, 3), 3);
    EXPECT_EQ(oxlWriteLong(target.stream, longs, 2), 2);
    EXPECT_EQ(oxlWriteDouble(target.stream, doubles, 2), 2);
    const Bytes bytes = target.finish();
    EXPECT_EQ(bytes, (Bytes{1, 0, 2, 0, 3, 0,    4,    0, 0, 0, 5, 0, 0, 0, 0,
                            0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0xC0}));
    MemorySource source(bytes);
    uint16_t shortsBack[3];
    uint32_t longsBack[2];
    double doublesBack[2];
    EXPECT_EQ(oxlReadShort(source.stream, shortsBack, 3), 3);
    EXPECT_EQ(oxlReadLong(source.stream, longsBack, 2), 2);
    EXPECT_EQ(oxlReadDouble(source.stream, doublesBack, 2), 2);
    EXPECT_EQ(std::memcmp(shortsBack, shorts, sizeof shorts), 0);
    EXPECT_EQ(std::memcmp(longsBack, longs, sizeof longs), 0);
    EXPECT_EQ(std::memcmp(doublesBack, doubles, sizeof doubles), 0);
}

TEST(TypedIo, ArraysMayBeLongerThanAFileBuffer) {
    const TempDirectory directory;
    const std::string path = directory.path("numbers");
    std::vector<uint32_t> items;
    for (uint32_t i = 0; i < 10001; ++i) items.push_back(i * 0x01234567u);
    const auto count = static_cast<int32_t>(items.size());
    for (const int16_t byteOrder : {kLittle, kBig}) {
        const OxlStream target = oxlOpen(path.c_str(), nullptr, 4097);
        oxlSetDataFormat(target, byteOrder, kIeee);
        EXPECT_EQ(oxlWriteLong(target, items.data(), count), count);
        oxlClose(target);
        const std::string bytes = directory.read("numbers");
        ASSERT_EQ(bytes.size(), items.size() * 4);
        // 0x01234567 stands in bytes 4 to 7.
        EXPECT_EQ(bytes.substr(4, 4), byteOrder == kBig ? "\x01\x23\x45\x67" : "\x67\x45\x23\x01");
        const OxlStream source = oxlOpen(path.c_str(), nullptr, OXL_READ);
        oxlSetDataFormat(source, byteOrder, kIeee);
        std::vector<uint32_t> back(items.size());
        EXPECT_EQ(oxlReadLong(source, back.data(), count), count);
        EXPECT_EQ(back, items);
        oxlClose(source);
    }
}

TEST(TypedIo, ItemsNeedNotBeAligned) {
    uint8_t memory[9] = {0, 4, 3, 2, 1, 0, 0, 0, 0};
    // Only the address matters; no reference to the misplaced item is made.
    auto* items = reinterpret_cast<uint32_t*>(reinterpret_cast<uintptr_t>(memory) + 1);
    MemoryStream target;
    EXPECT_EQ(oxlWriteLong(target.stream, items, 1), 1);
    const Bytes bytes = target.finish();
    EXPECT_EQ(bytes.size(), 4u);
    MemorySource source(bytes);
    auto* place = reinterpret_cast<uint32_t*>(reinterpret_cast<uintptr_t>(memory) + 5);
    EXPECT_EQ(oxlReadLong(source.stream, place, 1), 1);
    EXPECT_EQ(std::memcmp(memory + 1, memory + 5, 4), 0);
}

TEST(TypedIo, AShortReadGivesZeroAndLeavesTheBytesAsTheyCame) {
    const Bytes bytes = {1, 2, 3, 4, 5, 6, 7};
    const auto expectLeft = [&](auto read, auto items, size_t came) {
        MemorySource source(bytes);
        oxlSetDataFormat(source.stream, kBig, kIeee);
        std::memset(items.data(), 0xEE, sizeof items);
        EXPECT_EQ(read(source.stream, items.data(), static_cast<int32_t>(items.size())), 0);
        uint8_t memory[sizeof items];
        std::memcpy(memory, items.data(), sizeof items);
        for (size_t i = 0; i < sizeof items; ++i)
            EXPECT_EQ(memory[i], i < came ? bytes[i] : 0xEE) << i;
        // All of it was taken.
        EXPECT_EQ(oxlRead(source.stream, memory, 1), 0);
    };
    expectLeft(oxlReadShort, std::array<uint16_t, 4>{}, 7);
    expectLeft(oxlReadLong, std::array<uint32_t, 2>{}, 7);
    expectLeft(oxlReadFloat, std::array<float, 2>{}, 7);
    expectLeft(oxlReadDouble, std::array<double, 1>{}, 7);
}

TEST(TypedIo, AFailedReadGivesZero) {
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.path().c_str(), nullptr, OXL_READ);
    ASSERT_NE(stream, 0u);
    uint32_t item = 7;
    EXPECT_EQ(oxlReadLong(stream, &item, 1), 0);
    EXPECT_EQ(item, 7u);
    EXPECT_EQ(oxlReadChar(stream, reinterpret_cast<uint8_t*>(&item), 1), -1);
    oxlClose(stream);
}

struct FailedWrite {
    std::deque<intptr_t> answers;
    int32_t result;
    std::string written;
};

TEST(TypedIo, WritingStopsBehindTheWriteThatFailed) {
    // Five items; a write that gives 1 or more has not failed, however short it was.
    const FailedWrite writes[] = {{{-1}, -1, "a"},
                                  {{0}, 0, "a"},
                                  {{4, 4, -1}, -1, "abc"},
                                  {{4, 0}, 0, "ab"},
                                  {{4, 4, 4, 4, -1}, -1, "abcde"},
                                  {{1, 1, 1}, 5, "abcde"}};
    for (const FailedWrite& write : writes) {
        SCOPED_TRACE(testing::PrintToString(write.answers));
        RecordingDocument document;
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("doc", &descriptor, 4097);
        const uint32_t items[] = {0x61616161, 0x62626262, 0x63636363, 0x64646464, 0x65656565};
        document.takeLog();
        document.answers[kDocWrite] = write.answers;
        EXPECT_EQ(oxlWriteLong(stream, items, 5), write.result);
        std::string expected;
        for (const char c : write.written) expected += "write 5 " + std::string(4, c) + " 4\n";
        EXPECT_EQ(document.takeLog(), expected);
        document.answers.clear();
        oxlClose(stream);
    }
}

TEST(TypedIo, ABlockThatCannotGrowFailsTheItemThatDoesNotFit) {
    MemoryStream target(10);
    const uint32_t items[] = {1, 2, 3};
    EXPECT_EQ(oxlWriteLong(target.stream, items, 3), -1);
    EXPECT_EQ(oxlWriteLong(target.stream, items, 1), 0);
    EXPECT_EQ(target.finish(), (Bytes{1, 0, 0, 0, 2, 0, 0, 0, 3, 0}));
}

template <class Item>
void expectHarmless(int32_t (*write)(OxlStream, const Item*, int32_t),
                    int32_t (*read)(OxlStream, Item*, int32_t)) {
    Item item;
    std::memset(&item, 0x5A, sizeof item);
    EXPECT_LT(write(0, &item, 1), 1);
    EXPECT_LT(read(0, &item, 1), 1);
    MemoryStream target;
    EXPECT_LT(write(target.stream, nullptr, 1), 1);
    for (const int32_t count : {0, -1, INT32_MIN}) EXPECT_LT(write(target.stream, &item, count), 1);
    EXPECT_EQ(target.finish(), Bytes{});
    MemorySource source("0123456789");
    EXPECT_LT(read(source.stream, nullptr, 1), 1);
    for (const int32_t count : {0, -1, INT32_MIN}) EXPECT_LT(read(source.stream, &item, count), 1);
    // Counts whose bytes pass 32 bits.
    for (const int32_t count : {INT32_MAX, 0x40000001, 0x20000001}) {
        if (count <= INT32_MAX / static_cast<int32_t>(sizeof item)) continue;
        EXPECT_EQ(read(source.stream, &item, count), 0) << count;
    }
    uint8_t bytes[sizeof item];
    std::memcpy(bytes, &item, sizeof item);
    for (const uint8_t byte : bytes) EXPECT_EQ(byte, 0x5A);
    EXPECT_EQ(oxlSeek(source.stream, 0, SEEK_CUR), 0);
}

TEST(TypedIo, WithoutStreamItemsOrCountNothingHappens) {
    expectHarmless(oxlWriteChar, oxlReadChar);
    expectHarmless(oxlWriteShort, oxlReadShort);
    expectHarmless(oxlWriteLong, oxlReadLong);
    expectHarmless(oxlWriteFloat, oxlReadFloat);
    expectHarmless(oxlWriteDouble, oxlReadDouble);
}

TEST(DataFormat, IsKeptPerStreamAndZeroAtOpen) {
    MemoryStream one;
    FileSource two("");
    int16_t byteOrder = 9;
    int16_t floatFormat = 9;
    for (const OxlStream stream : {one.stream, two.stream}) {
        EXPECT_EQ(oxlGetDataFormat(stream, &byteOrder, &floatFormat), 0);
        EXPECT_EQ(byteOrder, 0);
        EXPECT_EQ(floatFormat, 0);
        byteOrder = floatFormat = 9;
    }
    EXPECT_EQ(oxlSetDataFormat(one.stream, 1, -7), 0);
    EXPECT_EQ(oxlGetDataFormat(one.stream, &byteOrder, &floatFormat), 0);
    EXPECT_EQ(byteOrder, 1);
    EXPECT_EQ(floatFormat, -7);
    EXPECT_EQ(oxlGetDataFormat(two.stream, &byteOrder, &floatFormat), 0);
    EXPECT_EQ(byteOrder, 0);
    EXPECT_EQ(floatFormat, 0);
}

TEST(DataFormat, StreamZeroAndNullAddressesAreRefused) {
    int16_t value = 9;
    EXPECT_EQ(oxlSetDataFormat(0, 1, 1), -1);
    EXPECT_EQ(oxlGetDataFormat(0, &value, &value), -1);
    MemoryStream target;
    EXPECT_EQ(oxlGetDataFormat(target.stream, nullptr, &value), -1);
    EXPECT_EQ(oxlGetDataFormat(target.stream, &value, nullptr), -1);
    EXPECT_EQ(value, 9);
}

TEST(NativeTo, TheLeastSignificantBytesAreStoredInTheOrderOfTheName) {
    const Bytes little[] = {{}, {4}, {4, 3}, {4, 3, 2}, {4, 3, 2, 1}};
    const Bytes big[] = {{}, {4}, {3, 4}, {2, 3, 4}, {1, 2, 3, 4}};
    for (int32_t n = 0; n <= 4; ++n) {
        Bytes expected = little[n];
        expected.resize(6, 0xEE);
        Bytes bytes(6, 0xEE);
        oxlNativeToLE(bytes.data(), 0x01020304, n);
        EXPECT_EQ(bytes, expected) << n;
        expected = big[n];
        expected.resize(6, 0xEE);
        bytes.assign(6, 0xEE);
        oxlNativeToBE(bytes.data(), 0x01020304, n);
        EXPECT_EQ(bytes, expected) << n;
    }
}

TEST(NativeTo, NoMoreThanAValueHoldsIsStored) {
    for (const int32_t n : {5, 100, INT32_MAX, -1, INT32_MIN}) {
        Bytes bytes(6, 0xEE);
        oxlNativeToLE(bytes.data(), 0x01020304, n);
        EXPECT_EQ(bytes, n < 0 ? Bytes(6, 0xEE) : (Bytes{4, 3, 2, 1, 0xEE, 0xEE})) << n;
        bytes.assign(6, 0xEE);
        oxlNativeToBE(bytes.data(), 0x01020304, n);
        EXPECT_EQ(bytes, n < 0 ? Bytes(6, 0xEE) : (Bytes{1, 2, 3, 4, 0xEE, 0xEE})) << n;
    }
    oxlNativeToLE(nullptr, 1, 4);
    oxlNativeToBE(nullptr, 1, 4);
}

}  // namespace
