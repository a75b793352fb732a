#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstring>

#include "io/stream_kit.h"
#include "support/byte_list.h"
#include "support/child_process.h"
#include "support/failing_call.h"
#include "support/source_stream.h"

namespace {

using namespace stream_kit;
using support::bytesOfText;
using support::FailingCall;
using support::FileSource;
using support::MemorySource;
using support::slice;

TEST(FillBuffer, BringsTheNextBufferOfTheFile) {
    FileSource source(pattern(30000));
    EXPECT_EQ(FillOxlIOBuf(source.stream), kBuffer);
    EXPECT_EQ(positionOf(source.stream), 0);
    // What is left of a buffer is passed over.
    EXPECT_EQ(readText(source.stream, 5), pattern(5));
    EXPECT_EQ(FillOxlIOBuf(source.stream), kBuffer);
    EXPECT_EQ(positionOf(source.stream), kBuffer);
    EXPECT_EQ(readText(source.stream, 5), pattern(30000).substr(kBuffer, 5));
    EXPECT_EQ(FillOxlIOBuf(source.stream), 30000 - 2 * kBuffer);
    EXPECT_EQ(FillOxlIOBuf(source.stream), 0);
    EXPECT_EQ(positionOf(source.stream), 30000);
    EXPECT_EQ(FillOxlIOBuf(source.stream), 0);
}

TEST(FillBuffer, WritesADirtyBufferFirst) {
    const TempDirectory directory;
    const std::string path = directory.write("file", pattern(100));
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_UPDATE);
    EXPECT_EQ(writeText(stream, "XYZ"), 3);
    EXPECT_EQ(FillOxlIOBuf(stream), 97);
    EXPECT_EQ(positionOf(stream), 3);
    EXPECT_EQ(directory.read("file"), "XYZ" + pattern(100).substr(3));
    EXPECT_EQ(recordOf(stream).dirty, 0);
    oxlClose(stream);
}

TEST(FillBuffer, ThatCannotBeWrittenFirstFails) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "abc");
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_READ);
    EXPECT_EQ(writeText(stream, "XYZ"), 3);
    EXPECT_EQ(FillOxlIOBuf(stream), -1);
    EXPECT_EQ(recordOf(stream).error, -1);
    EXPECT_EQ(readText(stream, 1), "");
    EXPECT_EQ(oxlClose(stream), -1);
}

// What goes into the file past the buffer counts as much as what goes through it.
TEST(DirectWrite, ThatFailsIsToldAtClosingToo) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_CREATE | OXL_WRITE);
    const FailingCall full("fwrite", 2, support::Failure::kFromThenOn);
    EXPECT_EQ(writeText(stream, pattern(60000)), -1);
    EXPECT_EQ(writeText(stream, "more"), 0) << "the stream is in error";
    EXPECT_EQ(oxlClose(stream), -1);
    EXPECT_EQ(directory.read("file"), pattern(kBuffer));
}

TEST(DirectWrite, ThatFailsOnceLosesNothingOfItsBuffer) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_CREATE | OXL_WRITE);
    const FailingCall once("fwrite", 2);
    EXPECT_EQ(writeText(stream, pattern(60000)), -1);
    EXPECT_EQ(writeText(stream, "more"), 0);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(directory.read("file"), pattern(60000).substr(0, 2 * kBuffer));
}

// The disk takes two buffers and a half of the four that go at once.
TEST(DirectWrite, ThatIsCutShortKeepsTheBuffersThatWentThrough) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const std::string text = pattern(5 * kBuffer);
    const std::vector<int32_t> results = support::inChild([&]() -> std::vector<int32_t> {
        const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_CREATE | OXL_WRITE);
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = 3 * kBuffer + kBuffer / 2;
        setrlimit(RLIMIT_FSIZE, &limit);
        const int32_t written = oxlWrite(stream, text.data(), 5 * kBuffer);
        const int32_t base = recordOf(stream).base;
        const int32_t length = recordOf(stream).length;
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_FSIZE, &limit);
        return {written, base, length, oxlClose(stream)};
    });
    EXPECT_EQ(results, (std::vector<int32_t>{-1, 3 * kBuffer, 3 * kBuffer + kBuffer / 2, 0}));
    EXPECT_EQ(directory.read("file"), text.substr(0, 4 * kBuffer));
}

TEST(WriteBuffers, OneBehindTheOtherNeedNoSeek) {
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.path("file").c_str(), nullptr, kCreateToWrite);
    const std::string text = pattern(20 * kBuffer);
    {
        const FailingCall noSeek("fseek");
        size_t done = 0;
        for (const size_t part : {size_t{100}, size_t{kBuffer}, size_t{5 * kBuffer}, size_t{1}})
            for (int i = 0; i < 3; ++i, done += part)
                ASSERT_EQ(writeText(stream, text.substr(done, part)), static_cast<int32_t>(part));
        EXPECT_FALSE(noSeek.happened());
    }
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(directory.read("file"), text.substr(0, 303 + 18 * kBuffer));
}

TEST(FillBuffer, BehindAMemoryBlockThereIsNothing) {
    MemorySource source("abc");
    EXPECT_EQ(FillOxlIOBuf(source.stream), 0);
    EXPECT_EQ(readText(source.stream, 5), "abc");
    EXPECT_EQ(FillOxlIOBuf(source.stream), 0);
    EXPECT_EQ(recordOf(source.stream).error, 0);
}

TEST(FlushBuffer, WritesTheDirtyBytesAndStartsABuffer) {
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.path("file").c_str(), nullptr, kCreateToWrite);
    EXPECT_EQ(FlushOxlIO(stream), 0);
    EXPECT_EQ(writeText(stream, "abcdef"), 6);
    EXPECT_EQ(FlushOxlIO(stream), 6);
    EXPECT_EQ(directory.read("file"), "abcdef");
    const tivar::StreamRecord record = recordOf(stream);
    EXPECT_EQ(record.index, 0);
    EXPECT_EQ(record.high, -1);
    EXPECT_EQ(record.limit, kBuffer - 1);
    EXPECT_EQ(record.base, 6);
    EXPECT_EQ(record.next, 6);
    EXPECT_EQ(record.dirty, 0);
    EXPECT_EQ(record.length, 6);
    // Clean: nothing to do.
    EXPECT_EQ(FlushOxlIO(stream), 0);
    EXPECT_EQ(writeText(stream, "gh"), 2);
    EXPECT_EQ(FlushOxlIO(stream), 2);
    EXPECT_EQ(directory.read("file"), "abcdefgh");
    oxlClose(stream);
}

TEST(FlushBuffer, LeavesTheStreamBehindItsLastByteWhereverItStood) {
    const TempDirectory directory;
    const std::string path = directory.write("file", pattern(20));
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_UPDATE);
    EXPECT_EQ(readText(stream, 2), pattern(2));
    EXPECT_EQ(writeText(stream, "X"), 1);
    EXPECT_EQ(FlushOxlIO(stream), 20);
    EXPECT_EQ(positionOf(stream), 20);
    EXPECT_EQ(writeText(stream, "Y"), 1);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(directory.read("file"), pattern(2) + "X" + pattern(20).substr(3) + "Y");
}

TEST(FlushBuffer, ACleanBufferStaysWhereItIs) {
    FileSource source("abcdef");
    EXPECT_EQ(readText(source.stream, 2), "ab");
    EXPECT_EQ(FlushOxlIO(source.stream), 0);
    EXPECT_EQ(readText(source.stream, 2), "cd");
}

TEST(FlushBuffer, LeavesNothingInTheBufferOfALentFile) {
    const TempDirectory directory;
    FILE* file = std::fopen(directory.path("file").c_str(), "w+");
    OxlStreamDesc descriptor = {};
    descriptor.lentFile = reinterpret_cast<HostWord>(file);
    const OxlStream stream = oxlOpen(nullptr, &descriptor, OXL_LENT);
    EXPECT_EQ(writeText(stream, "abc"), 3);
    EXPECT_EQ(FlushOxlIO(stream), 3);
    EXPECT_EQ(directory.read("file"), "abc");
    EXPECT_EQ(oxlClose(stream), 0);
    std::fclose(file);
}

TEST(BufferSteps, StreamZeroFails) {
    EXPECT_EQ(FillOxlIOBuf(0), -1);
    EXPECT_EQ(FlushOxlIO(0), -1);
}

// --- How memory grows

// An empty stream over a block of that size.
struct GrowingBlock : BlockStream {
    GrowingBlock(int32_t size, int32_t growStep)
        : BlockStream(Bytes(static_cast<size_t>(size)), static_cast<HostWord>(size),
                      static_cast<HostWord>(growStep), kCreateToWrite) {}
};

// The size that growing step by step gives a block that takes used bytes.
int32_t steppedSize(int32_t size, int32_t growStep, int32_t used) {
    while (used > size) size += growStep;
    return size;
}

TEST(WriteBuffers, AtTheLastPositionsAStreamTakesWhatItWouldByteByByte) {
    const std::string text = pattern(90000);
    const auto sizeAfter = [&](size_t atOnce) {
        const TempDirectory directory;
        const std::string path = directory.path("long");
        const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_WRITE);
        EXPECT_EQ(oxlSeek(stream, INT32_MAX - 40000, SEEK_SET), INT32_MAX - 40000);
        int32_t result = 1;
        for (size_t done = 0; done < text.size() && result > 0; done += atOnce)
            result = writeText(stream, text.substr(done, atOnce));
        EXPECT_EQ(result, -1);
        EXPECT_EQ(oxlClose(stream), -1);
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_size;
    };
    // Three buffers fit; most of the file has no blocks on the disk.
    EXPECT_EQ(sizeAfter(100), INT32_MAX - 40000 + 3 * kBuffer);
    EXPECT_EQ(sizeAfter(text.size()), INT32_MAX - 40000 + 3 * kBuffer);
}

TEST(GrowingBlock, ItsLimitMovesInStepsWithEveryByteThatPassesIt) {
    for (const int32_t size : {0, 1, 10}) {
        for (const int32_t step : {1, 7, 64}) {
            SCOPED_TRACE(std::to_string(size) + " by " + std::to_string(step));
            GrowingBlock block(size, step);
            for (int32_t used = 1; used <= 200; ++used) {
                ASSERT_EQ(writeText(block.stream, "x"), 1);
                ASSERT_EQ(recordOf(block.stream).limit, steppedSize(size, step, used) - 1) << used;
            }
        }
    }
}

TEST(GrowingBlock, ItsLimitMovesThroughAsManyStepsAsOneWriteTakes) {
    GrowingBlock block(10, 7);
    EXPECT_EQ(writeText(block.stream, pattern(100)), 100);
    EXPECT_EQ(recordOf(block.stream).limit, 100);  // 10 + 13 steps is 101 bytes
    EXPECT_EQ(recordOf(block.stream).high, 99);
}

TEST(GrowingBlock, AtCloseItHasTheSizeOfItsStepsAndZerosBehindTheMark) {
    for (const int32_t size : {0, 1, 10, 4096}) {
        for (const int32_t step : {1, 7, 64, 4096}) {
            for (const int32_t used : {0, 1, 9, 10, 11, 63, 64, 65, 4095, 4096, 4097, 20000}) {
                SCOPED_TRACE(std::to_string(used) + " into " + std::to_string(size) + " by " +
                             std::to_string(step));
                GrowingBlock block(size, step);
                const std::string text = pattern(static_cast<size_t>(used));
                EXPECT_EQ(writeText(block.stream, text), used);
                EXPECT_EQ(block.close(), 0);
                Bytes expected(text.begin(), text.end());
                expected.push_back(0xFF);
                expected.resize(static_cast<size_t>(steppedSize(size, step, used + 1)));
                EXPECT_EQ(block.block(), expected);
            }
        }
    }
}

TEST(GrowingBlock, TheCallersVariableFollowsTheBytes) {
    GrowingBlock block(1, 5);
    std::string text;
    for (int32_t i = 0; i < 300; ++i) {
        const std::string part = pattern(static_cast<size_t>(i % 40));
        EXPECT_EQ(writeText(block.stream, part), i % 40);
        text += part;
        ASSERT_EQ(std::memcmp(block.data, text.data(), text.size()), 0) << i;
        ASSERT_EQ(GlobalLock(GlobalHandle(block.data)), block.data) << i;
        ASSERT_GE(GlobalSize(GlobalHandle(block.data)), text.size()) << i;
    }
}

TEST(GrowingBlock, AFlushGrowsItByAStep) {
    GrowingBlock block(4, 6);
    EXPECT_EQ(writeText(block.stream, "ab"), 2);
    EXPECT_EQ(recordOf(block.stream).dirty, 1);
    EXPECT_EQ(FlushOxlIO(block.stream), 1);
    EXPECT_EQ(recordOf(block.stream).limit, 9);
    EXPECT_EQ(recordOf(block.stream).dirty, 0);
    EXPECT_EQ(FlushOxlIO(block.stream), 1);
    EXPECT_EQ(recordOf(block.stream).limit, 15);
    EXPECT_EQ(positionOf(block.stream), 2);
    EXPECT_EQ(writeText(block.stream, "cd"), 2);
    EXPECT_EQ(block.close(), 0);
    Bytes expected = {'a', 'b', 'c', 'd', 0xFF};
    expected.resize(16);
    EXPECT_EQ(block.block(), expected);
}

TEST(GrowingBlock, AFlushWithoutAStepKeepsItsSize) {
    GrowingBlock block(4, 0);
    EXPECT_EQ(FlushOxlIO(block.stream), 1);
    EXPECT_EQ(recordOf(block.stream).limit, 3);
    EXPECT_EQ(writeText(block.stream, "abc"), 3);
    EXPECT_EQ(block.close(), 0);
    EXPECT_EQ(block.block(), bytesOfText("abc\xFF"));
}

TEST(GrowingBlock, ThatCannotShrinkAtCloseHoldsZerosBehindTheMark) {
    GrowingBlock block(1, 1);
    const std::string text = pattern(300);
    EXPECT_EQ(writeText(block.stream, text), 300);
    {
        const FailingCall stuck("realloc");
        EXPECT_EQ(block.close(), 0);
    }
    const Bytes closed = block.block();
    ASSERT_GE(closed.size(), 301u);
    EXPECT_EQ(slice(closed, 0, 301), bytesOfText(text + "\xFF"));
    EXPECT_EQ(slice(closed, 301), Bytes(closed.size() - 301));
}

TEST(GrowingBlock, ManySmallStepsMoveItFewTimes) {
    // Two million steps of a byte: copying the block at each of them would take hours.
    constexpr int32_t kBytes = 2000000;
    GrowingBlock block(1, 1);
    int32_t moves = 0;
    const std::string text = pattern(500);
    for (int32_t i = 0; i < kBytes / 500; ++i) {
        const void* const before = block.data;
        ASSERT_EQ(writeText(block.stream, text), 500);
        if (block.data != before) ++moves;
    }
    EXPECT_LT(moves, 200);
    EXPECT_EQ(recordOf(block.stream).limit, kBytes - 1);
    EXPECT_EQ(block.close(), 0);
    EXPECT_EQ(GlobalSize(GlobalHandle(block.data)), static_cast<uint32_t>(kBytes + 1));
    EXPECT_EQ(static_cast<const uint8_t*>(block.data)[kBytes], 0xFF);
}

TEST(GrowingBlock, ABlockThatNeverGrewIsLeftAsItIs) {
    GrowingBlock block(64, 4096);
    const void* const before = block.data;
    EXPECT_EQ(writeText(block.stream, pattern(63)), 63);
    EXPECT_EQ(block.close(), 0);
    EXPECT_EQ(block.data, before);
    EXPECT_EQ(GlobalSize(GlobalHandle(block.data)), 64u);
}

}  // namespace
