#include <cstring>

#include "io/stream_kit.h"
#include "support/byte_list.h"
#include "support/failing_call.h"
#include "support/source_stream.h"

namespace {

using namespace stream_kit;
using support::bytesOfText;
using support::FailingCall;
using support::MemorySource;
using support::slice;

TEST(MemoryStream, ReopenedForReadingItGivesWhatWasWritten) {
    const Bytes contents[] = {{},
                              {1},
                              {0},
                              {0, 0, 0},
                              {0xFF},
                              {0xFF, 0xFF, 0},
                              bytesOfText("text"),
                              bytesOfText(pattern(5000))};
    for (const Bytes& written : contents) {
        BlockStream block({0}, 0, 64, kCreateToWrite);
        EXPECT_EQ(writeText(block.stream, std::string(written.begin(), written.end())),
                  static_cast<int32_t>(written.size()));
        EXPECT_EQ(block.close(), 0);
        const Bytes closed = block.block();
        EXPECT_EQ(closed[written.size()], 0xFF);
        EXPECT_EQ(slice(closed, written.size() + 1), Bytes(closed.size() - written.size() - 1));
        block.descriptor.size = closed.size();
        block.stream = oxlOpen("", &block.descriptor, OXL_READ);
        EXPECT_EQ(block.descriptor.size, written.size());
        EXPECT_EQ(readText(block.stream, 6000), std::string(written.begin(), written.end()));
        EXPECT_EQ(readText(block.stream, 1), "");
        EXPECT_EQ(block.close(), 0);
        EXPECT_EQ(block.block(), closed);
        EXPECT_EQ(block.descriptor.size, written.size());
    }
}

TEST(MemoryStream, OnlyTheWriteBitsPutTheEndMark) {
    for (const auto& [mode, marked] : std::vector<std::pair<int32_t, bool>>{{0, false},
                                                                            {1, true},
                                                                            {2, true},
                                                                            {3, true},
                                                                            {4096, false},
                                                                            {4097, true},
                                                                            {4098, true},
                                                                            {0x100, false}}) {
        BlockStream block(bytesOfText("abcd"), 4, 8, mode);
        EXPECT_EQ(block.close(), 0);
        // A created block starts empty; else the last byte that is not 0 counts as an old mark.
        Bytes expected = bytesOfText("abcd");
        if (marked) expected[(mode & OXL_CREATE) != 0 ? 0 : 3] = 0xFF;
        if (marked && (mode & OXL_CREATE) == 0) expected.resize(3 + 8);
        EXPECT_EQ(block.block(), expected) << mode;
    }
}

TEST(MemoryStream, ADescriptorSizeIsTrimmedForReadingAndKeptForCreating) {
    const Bytes bytes = {7, 0, 0, 0xFF, 0, 0};
    for (const int32_t mode : {0, 1, 2}) {
        BlockStream block(bytes, 6, 4, mode);
        EXPECT_EQ(block.descriptor.size, 3u);
    }
    for (const int32_t mode : {4096, 4097}) {
        BlockStream block(bytes, 6, 4, mode);
        writeText(block.stream, "0123456789");
        EXPECT_EQ(block.close(), 0);
        EXPECT_EQ(block.descriptor.size, 6u);
    }
}

TEST(MemoryStream, ADescriptorMayShowLessThanTheBlock) {
    BlockStream block(bytesOfText("ab\xFF"
                                  "defgh"),
                      3, 4, OXL_READ);
    EXPECT_EQ(block.descriptor.size, 2u);
    EXPECT_EQ(readText(block.stream, 8), "ab");
}

TEST(MemoryStream, ADescriptorThatShowsMoreThanTheBlockIsHeldToIt) {
    for (const HostWord size :
         {HostWord{7}, HostWord{100000}, HostWord{INT32_MAX}, HostWord{UINT32_MAX}}) {
        BlockStream reader(bytesOfText("abcde\xFF"), size, 4, OXL_READ);
        EXPECT_EQ(readText(reader.stream, 100), "abcde");
        BlockStream writer(bytesOfText("abcdef"), size, 4, kCreateToWrite);
        EXPECT_EQ(writeText(writer.stream, "0123"), 4);
        EXPECT_EQ(writer.close(), 0);
        EXPECT_EQ(slice(writer.block(), 0, 5), bytesOfText("0123\xFF"));
    }
}

TEST(MemoryStream, ABlockOfZerosHoldsNothing) {
    for (const size_t size : {0u, 1u, 5u}) {
        for (const int32_t mode : {OXL_READ, OXL_WRITE, OXL_UPDATE}) {
            BlockStream block(Bytes(size), size, 4, mode);
            EXPECT_EQ(block.descriptor.size, 0u);
            EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_END), 0);
            EXPECT_EQ(readText(block.stream, 3), "");
            EXPECT_EQ(block.close(), 0);
            if (mode == OXL_READ) {
                EXPECT_EQ(block.block(), Bytes(size));
            } else {
                EXPECT_EQ(block.block()[0], 0xFF);
            }
        }
    }
}

TEST(MemoryStream, AReadersSeekReachesItsLastByteAndItsEndFromTheEndOnly) {
    MemorySource source("0123456789");
    // Kept: its length is the place of its last byte, so that the place behind that is out.
    expectSeeks(source.stream, {{0, 0, 0, 0},
                                {9, 0, 9, 9},
                                {10, 0, -1, 4},
                                {-1, 0, -1, 4},
                                {0, 1, 4, 4},
                                {5, 1, 9, 9},
                                {6, 1, -1, 4},
                                {-4, 1, 0, 0},
                                {-5, 1, -1, 4},
                                {0, 2, 10, 10},
                                {-3, 2, 7, 7},
                                {-10, 2, 0, 0},
                                {3, 2, 13, 13},
                                {0, 3, -1, 4},
                                {0, -1, -1, 4},
                                {INT32_MAX, 0, -1, 4},
                                {INT32_MIN, 0, -1, 4},
                                {INT32_MAX, 1, -1, 4}});
    EXPECT_EQ(errorOf(source.stream), -1);
    oxlSeek(source.stream, 3, SEEK_END);
    EXPECT_EQ(readText(source.stream, 3), "");
}

TEST(MemoryStream, CreatedWithoutAWriteBitItCannotSeekFromItsStart) {
    BlockStream block(Bytes(10), 10, 4, OXL_CREATE);
    EXPECT_EQ(writeText(block.stream, "abc"), 3);
    EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_SET), -1);
    EXPECT_EQ(oxlSeek(block.stream, -3, SEEK_END), 0);
    EXPECT_EQ(readText(block.stream, 10), "abc");
}

TEST(MemoryStream, ReadingEndsBehindTheLastByteWritten) {
    BlockStream block(bytesOfText("abcdefgh"), 8, 4, kCreateToWrite);
    EXPECT_EQ(readText(block.stream, 8), "");
    EXPECT_EQ(writeText(block.stream, "AB"), 2);
    EXPECT_EQ(readText(block.stream, 8), "");
    EXPECT_EQ(oxlSeek(block.stream, 1, SEEK_SET), 1);
    EXPECT_EQ(readText(block.stream, 8), "B");
    // Inside the block a seek moves, and what it passes over is what the block holds.
    EXPECT_EQ(oxlSeek(block.stream, 5, SEEK_SET), 5);
    EXPECT_EQ(readText(block.stream, 8), "");
    EXPECT_EQ(writeText(block.stream, "X"), 1);
    EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(readText(block.stream, 8), "ABcdeX");
    EXPECT_EQ(block.close(), 0);
    EXPECT_EQ(block.block(), bytesOfText("ABcdeX\xFFh"));
}

TEST(MemoryStream, ASeekBehindTheBlockGrowsItByTheStepBeyondThePlace) {
    for (const HostWord step : {HostWord{0}, HostWord{1}, HostWord{8}}) {
        BlockStream block(bytesOfText("abcd"), 4, step, kCreateToWrite);
        EXPECT_EQ(oxlSeek(block.stream, 3, SEEK_SET), 3);
        EXPECT_EQ(tivar::Locked<tivar::StreamRecord>(block.stream)->limit, 3);
        EXPECT_EQ(oxlSeek(block.stream, 20, SEEK_SET), 20);
        EXPECT_EQ(tivar::Locked<tivar::StreamRecord>(block.stream)->limit,
                  20 + static_cast<int32_t>(step));
        EXPECT_EQ(writeText(block.stream, "x"), 1);
        EXPECT_EQ(block.close(), step == 0 ? -1 : 0);
        Bytes expected = bytesOfText("abcd");
        expected.resize(20);
        expected.push_back('x');
        if (step != 0) expected.push_back(0xFF);
        expected.resize(21 + step);
        EXPECT_EQ(block.block(), expected);
    }
}

TEST(MemoryStream, WhatLaysBehindTheShownSizeSurvivesTheFirstGrowth) {
    // The old end mark is part of the block, and a seek beyond it passes over it.
    BlockStream update(bytesOfText("abc\xFF"), 4, 4, OXL_UPDATE);
    EXPECT_EQ(oxlSeek(update.stream, 6, SEEK_SET), 6);
    EXPECT_EQ(writeText(update.stream, "x"), 1);
    EXPECT_EQ(oxlSeek(update.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(readText(update.stream, 20), std::string("abc\xFF\0\0x", 7));
    EXPECT_EQ(update.close(), 0);
    EXPECT_EQ(update.block(), (Bytes{'a', 'b', 'c', 0xFF, 0, 0, 'x', 0xFF, 0, 0, 0}));
    // The first growth cuts what it does not cover, for good.
    BlockStream shown(bytesOfText("0123456789"), 2, 3, kCreateToWrite);
    EXPECT_EQ(writeText(shown.stream, "abc"), 3);
    EXPECT_EQ(oxlSeek(shown.stream, 8, SEEK_SET), 8);
    EXPECT_EQ(shown.close(), 0);
    EXPECT_EQ(shown.block(), (Bytes{'a', 'b', 'c', 0xFF, '4', 0, 0, 0, 0, 0, 0, 0}));
}

TEST(MemoryStream, OfWhatLaysBehindTheShownSizeOnlyTheFirstStepSurvives) {
    // Two bytes shown, and a place that takes three steps of three.
    BlockStream block(bytesOfText("0123456789ABCDEF"), 2, 3, kCreateToWrite);
    EXPECT_EQ(oxlSeek(block.stream, 9, SEEK_END), 9);
    EXPECT_EQ(writeText(block.stream, "x"), 1);
    EXPECT_EQ(recordOf(block.stream).limit, 10);
    EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(readText(block.stream, 20), std::string("01234\0\0\0\0x", 10));
    EXPECT_EQ(block.close(), 0);
    EXPECT_EQ(block.block(), (Bytes{'0', '1', '2', '3', '4', 0, 0, 0, 0, 'x', 0xFF}));
}

TEST(MemoryStream, ThatCannotGrowStopsAtItsLimit) {
    for (const std::string& text : {std::string("abcde"), pattern(40000)}) {
        BlockStream block(Bytes(4, '#'), 4, 0, kCreateToWrite);
        EXPECT_EQ(writeText(block.stream, text), -1);
        EXPECT_EQ(errorOf(block.stream), -1);
        EXPECT_EQ(writeText(block.stream, text), 0);
        EXPECT_EQ(positionOf(block.stream), 4);
        // There is no room for the end mark either.
        EXPECT_EQ(block.close(), -1);
        EXPECT_EQ(block.block(), bytesOfText(text.substr(0, 4)));
    }
    BlockStream exact(Bytes(4, '#'), 4, 0, kCreateToWrite);
    EXPECT_EQ(writeText(exact.stream, "abc"), 3);
    EXPECT_EQ(exact.close(), 0);
    EXPECT_EQ(exact.block(), bytesOfText("abc\xFF"));
}

TEST(MemoryStream, AGrowthWithoutMemoryLeavesTheCallersBlock) {
    BlockStream block({'#'}, 1, 4096, kCreateToWrite);
    void* const before = block.data;
    EXPECT_EQ(writeText(block.stream, "a"), 1);
    {
        const FailingCall noMemory("realloc");
        EXPECT_EQ(oxlSeek(block.stream, 100, SEEK_SET), -1);
        EXPECT_TRUE(noMemory.happened());
    }
    // A seek that could not grow is no error of the stream, a write that could not is.
    EXPECT_EQ(errorOf(block.stream), 0);
    {
        const FailingCall noMemory("realloc");
        EXPECT_EQ(writeText(block.stream, "bc"), -1);
        EXPECT_TRUE(noMemory.happened());
    }
    EXPECT_EQ(errorOf(block.stream), -1);
    EXPECT_EQ(writeText(block.stream, "bc"), 0);
    EXPECT_EQ(block.data, before);
    EXPECT_EQ(block.close(), -1);
    EXPECT_EQ(block.block(), bytesOfText("a"));
}

TEST(MemoryStream, ThatCannotGrowPrintsNothing) {
    testing::internal::CaptureStdout();
    {
        BlockStream block({'#'}, 1, 4096, kCreateToWrite);
        const FailingCall noMemory("realloc", 1, support::Failure::kFromThenOn);
        EXPECT_EQ(writeText(block.stream, "abc"), -1);
        EXPECT_EQ(oxlSeek(block.stream, 100, SEEK_SET), -1);
        EXPECT_EQ(FlushOxlIO(block.stream), -1);
        EXPECT_EQ(block.close(), -1);
    }
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(MemoryStream, ASizeBeyond31BitsIsNoRoom) {
    BlockStream block(bytesOfText("abcdefgh"), 8, INT32_MAX, kCreateToWrite);
    EXPECT_EQ(oxlSeek(block.stream, 8, SEEK_SET), -1);
    EXPECT_EQ(writeText(block.stream, "012345678"), -1);
    EXPECT_EQ(block.close(), -1);
    EXPECT_EQ(block.block(), bytesOfText("01234567"));
}

TEST(MemoryStream, PlacesInFrontOfItsStartAreNeverTouched) {
    BlockStream block(bytesOfText("abcd\xFF"), 5, 4, OXL_UPDATE);
    for (const int32_t offset : {-5, -100, INT32_MIN}) {
        EXPECT_EQ(oxlSeek(block.stream, offset, SEEK_END), -1);
        EXPECT_EQ(errorOf(block.stream), -1);
        readText(block.stream, 10);
        oxlSeek(block.stream, offset, SEEK_END);
        writeText(block.stream, "");
    }
    EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(readText(block.stream, 10), "abcd");
}

TEST(MemoryStream, PlacesFarBehindItsEndAreHarmless) {
    BlockStream block(bytesOfText("abcd\xFF"), 5, 4, OXL_UPDATE);
    EXPECT_EQ(oxlSeek(block.stream, 100, SEEK_END), 104);
    EXPECT_EQ(readText(block.stream, 10), "");
    EXPECT_EQ(writeText(block.stream, "x"), 1);
    EXPECT_EQ(positionOf(block.stream), 105);
    EXPECT_EQ(oxlSeek(block.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(readText(block.stream, 4), "abcd");
}

}  // namespace
