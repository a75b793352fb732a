#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>

#include "io/stream_kit.h"
#include "support/child_process.h"
#include "support/failing_call.h"
#include "support/memory_stream.h"
#include "support/source_stream.h"

namespace {

using namespace stream_kit;
using support::bytesOfText;
using support::FailingCall;
using support::FileSource;
using support::inChild;
using support::MemorySource;
using support::MemoryStream;

constexpr auto kMissing = static_cast<OxlStream>(-1);

// --- Opening, testing, deleting

struct Mode {
    int32_t mode;
    bool opensMissing;
    bool truncates;
    bool writes;
};

const Mode kModes[] = {
    {OXL_READ, false, false, false},
    {0x0100, false, false, false},
    {0x2000, false, false, false},
    {OXL_WRITE, true, true, true},
    // Update wins over write, create over both.
    {OXL_UPDATE, false, false, true},
    {OXL_UPDATE | OXL_WRITE, false, false, true},
    {OXL_CREATE, true, true, true},
    {OXL_CREATE | OXL_WRITE, true, true, true},
    {OXL_CREATE | OXL_UPDATE, true, true, true},
    {OXL_CREATE | OXL_UPDATE | OXL_WRITE, true, true, true},
    // Deleting and testing are exact values.
    {OXL_DELETE | OXL_WRITE, true, true, true},
    {OXL_DELETE | OXL_UPDATE, false, false, true},
    {OXL_EXISTS | OXL_WRITE, true, true, true},
    {OXL_EXISTS | OXL_DELETE, false, false, false},
};

TEST(StreamOpen, TheModeBitsChooseHowTheFileIsOpened) {
    for (const Mode& mode : kModes) {
        SCOPED_TRACE(mode.mode);
        FileStream missing(mode.mode);
        EXPECT_EQ(missing.stream != 0, mode.opensMissing);
        FileStream present("abcdef", mode.mode);
        ASSERT_NE(present.stream, 0u);
        EXPECT_EQ(readText(present.stream, 2), mode.truncates ? "" : "ab");
        EXPECT_EQ(writeText(present.stream, "XY"), 2);
        EXPECT_EQ(present.close(), mode.writes ? 0 : -1);
        EXPECT_EQ(present.contents(), !mode.writes ? "abcdef" : mode.truncates ? "XY" : "abXYef");
    }
}

TEST(StreamOpen, WhatCannotBeOpenedLeavesNothingBehind) {
    const TempDirectory directory;
    const size_t before = openFiles();
    for (const int32_t mode : {0, 1, 2, 4097}) {
        EXPECT_EQ(oxlOpen(directory.path("missing/file").c_str(), nullptr, mode), 0u);
        EXPECT_EQ(oxlOpen("", nullptr, mode), 0u);
        EXPECT_EQ(oxlOpen(nullptr, nullptr, mode), 0u);
    }
    EXPECT_EQ(oxlOpen(directory.path().c_str(), nullptr, kCreateToWrite), 0u);
    EXPECT_EQ(oxlOpen(directory.path("file").c_str(), nullptr, OXL_LENT), 0u);
    EXPECT_EQ(openFiles(), before);
    EXPECT_TRUE(directory.names().empty());
}

TEST(StreamOpen, WithoutMemoryThereIsNoStream) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "abc");
    FILE* lent = std::fopen(path.c_str(), "r");
    OxlStreamDesc descriptor = {};
    descriptor.lentFile = reinterpret_cast<HostWord>(lent);
    const size_t before = openFiles();
    // The first allocation is the record's, the second the buffer's.
    for (const int nth : {1, 2}) {
        testing::internal::CaptureStdout();
        OxlStream named = 1;
        OxlStream borrowed = 1;
        {
            const FailingCall noMemory("calloc", nth);
            named = oxlOpen(path.c_str(), nullptr, OXL_READ);
            EXPECT_TRUE(noMemory.happened());
        }
        {
            const FailingCall noMemory("calloc", nth);
            borrowed = oxlOpen(nullptr, &descriptor, OXL_LENT);
            EXPECT_TRUE(noMemory.happened());
        }
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(named, 0u);
        EXPECT_EQ(borrowed, 0u);
        EXPECT_EQ(openFiles(), before);
    }
    // What was lent is still its owner's.
    EXPECT_EQ(std::fgetc(lent), 'a');
    std::fclose(lent);
}

TEST(StreamOpen, ANameGoesBeforeADescriptorWithoutProcedure) {
    void* data = GlobalLock(support::newBlock(bytesOfText("block")));
    OxlStreamDesc descriptor = {};
    descriptor.target = reinterpret_cast<HostWord>(&data);
    descriptor.size = 5;
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.write("file", "abc").c_str(), &descriptor, OXL_READ);
    EXPECT_EQ(readText(stream, 10), "abc");
    EXPECT_EQ(recordOf(stream).named, 1);
    oxlClose(stream);
    EXPECT_EQ(descriptor.size, 5u);
    GlobalFree(GlobalHandle(data));
}

TEST(StreamOpen, AMemoryStreamNeedsABlock) {
    OxlStreamDesc descriptor = {};
    void* data = nullptr;
    for (const int32_t mode : {0, 2, 4097}) {
        descriptor.target = 0;
        EXPECT_EQ(oxlOpen(nullptr, &descriptor, mode), 0u);
        EXPECT_EQ(oxlOpen("", &descriptor, mode), 0u);
        descriptor.target = reinterpret_cast<HostWord>(&data);
        EXPECT_EQ(oxlOpen(nullptr, &descriptor, mode), 0u);
    }
}

TEST(StreamExists, AFileIsThereOrNot) {
    const TempDirectory directory;
    const size_t before = openFiles();
    const OxlStream there = oxlOpen(directory.write("file", "").c_str(), nullptr, OXL_EXISTS);
    EXPECT_NE(there, 0u);
    EXPECT_NE(there, kMissing);
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(oxlOpen(directory.path("missing").c_str(), nullptr, OXL_EXISTS), kMissing);
    EXPECT_EQ(oxlOpen("", nullptr, OXL_EXISTS), kMissing);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_EXISTS), kMissing);
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(directory.names(), (std::set<std::string>{"file"}));
}

TEST(StreamDelete, RemovesTheNamedFileAndNothingElse) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "abc");
    EXPECT_EQ(oxlOpen(path.c_str(), nullptr, OXL_DELETE), 1u);
    EXPECT_TRUE(directory.names().empty());
    EXPECT_EQ(oxlOpen(path.c_str(), nullptr, OXL_DELETE), 0u);
    EXPECT_EQ(oxlOpen("", nullptr, OXL_DELETE), 0u);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_DELETE), 0u);
    std::filesystem::create_directory(path);
    EXPECT_EQ(oxlOpen(path.c_str(), nullptr, OXL_DELETE), 0u);
    EXPECT_EQ(directory.names(), (std::set<std::string>{"file"}));
}

TEST(StreamClose, AndDeleteRemovesTheFileOnceItIsClosed) {
    FileStream file(kCreateToWrite);
    writeText(file.stream, "abc");
    EXPECT_EQ(oxlCloseandDelete(file.stream, file.path.c_str()), 0);
    file.stream = 0;
    EXPECT_TRUE(file.directory.names().empty());
}

TEST(StreamClose, AndDeleteGivesZeroWhateverBecomesOfTheFile) {
    FileStream file("abc", OXL_READ);
    EXPECT_EQ(oxlCloseandDelete(0, file.path.c_str()), -1);
    EXPECT_EQ(file.contents(), "abc");
    const size_t before = openFiles();
    EXPECT_EQ(oxlCloseandDelete(file.stream, nullptr), 0);
    file.stream = oxlOpen(file.path.c_str(), nullptr, OXL_READ);
    EXPECT_EQ(oxlCloseandDelete(file.stream, file.directory.path("missing").c_str()), 0);
    file.stream = 0;
    EXPECT_EQ(openFiles(), before - 1);
    EXPECT_EQ(file.contents(), "abc");
}

TEST(Stream, ZeroHasNothingToGive) {
    char byte = '#';
    EXPECT_EQ(oxlRead(0, &byte, 1), 0);
    EXPECT_EQ(oxlWrite(0, &byte, 1), 0);
    EXPECT_EQ(oxlSeek(0, 0, SEEK_SET), -1);
    EXPECT_EQ(oxlClose(0), -1);
    EXPECT_EQ(oxlCloseandDelete(0, nullptr), -1);
    EXPECT_EQ(byte, '#');
}

TEST(Stream, NullBuffersAndNegativeCountsMoveNothing) {
    FileStream file("abcdef", OXL_UPDATE);
    MemorySource memory("abcdef");
    for (const OxlStream stream : {file.stream, memory.stream}) {
        char byte = '#';
        EXPECT_EQ(oxlRead(stream, nullptr, 4), -1);
        EXPECT_EQ(oxlWrite(stream, nullptr, 4), -1);
        for (const int32_t count : {0, -1, INT32_MIN}) {
            EXPECT_EQ(oxlRead(stream, &byte, count), 0);
            EXPECT_EQ(oxlWrite(stream, &byte, count), 0);
        }
        EXPECT_EQ(byte, '#');
        EXPECT_EQ(positionOf(stream), 0);
        EXPECT_EQ(errorOf(stream), 0);
    }
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(), "abcdef");
}

// --- Files

TEST(FileStream, OneByteMoreThanABufferFlushesOneBuffer) {
    FileStream file(kCreateToWrite);
    const std::string text = pattern(kBuffer + 1);
    EXPECT_EQ(writeText(file.stream, text), kBuffer + 1);
    EXPECT_EQ(file.contents(), text.substr(0, kBuffer));
    EXPECT_EQ(positionOf(file.stream), kBuffer + 1);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(), text);
}

TEST(FileStream, AFullBufferWaitsForTheNextByte) {
    FileStream file(kCreateToWrite);
    EXPECT_EQ(writeText(file.stream, pattern(kBuffer)), kBuffer);
    EXPECT_EQ(file.contents(), "");
    EXPECT_EQ(writeText(file.stream, "x"), 1);
    EXPECT_EQ(file.contents().size(), 12288u);
}

TEST(FileStream, AskingForThePositionFlushesNothing) {
    FileStream file(kCreateToWrite);
    writeText(file.stream, "0123456789");
    EXPECT_EQ(oxlSeek(file.stream, 0, SEEK_CUR), 10);
    EXPECT_EQ(file.contents(), "");
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(), "0123456789");
}

TEST(FileStream, WhatWasWrittenIsPatchedInPlace) {
    for (const size_t size : {10u, 12288u, 12289u, 40000u}) {
        FileStream file(kCreateToWrite);
        std::string text = pattern(size);
        writeText(file.stream, text);
        EXPECT_EQ(oxlSeek(file.stream, 2, SEEK_SET), 2);
        EXPECT_EQ(writeText(file.stream, "WXYZ"), 4);
        EXPECT_EQ(positionOf(file.stream), 6);
        EXPECT_EQ(file.close(), 0);
        EXPECT_EQ(file.contents(), text.replace(2, 4, "WXYZ")) << size;
    }
}

TEST(FileStream, ReadingEndsAtTheEnd) {
    for (const size_t size : {0u, 1u, 12287u, 12288u, 12289u, 30000u}) {
        const std::string text = pattern(size);
        FileSource whole(text);
        EXPECT_EQ(readText(whole.stream, size + 100), text);
        EXPECT_EQ(readText(whole.stream, 1), "");
        EXPECT_EQ(positionOf(whole.stream), static_cast<int32_t>(size));
        EXPECT_EQ(errorOf(whole.stream), 0);
        // And in steps that do not divide a buffer.
        FileSource stepped(text);
        std::string read;
        for (std::string part; !(part = readText(stepped.stream, 1000)).empty();) read += part;
        EXPECT_EQ(read, text);
    }
}

TEST(FileStream, ReadingBehindAWriteGoesOnWhereItEnded) {
    FileStream file(pattern(30000), OXL_UPDATE);
    EXPECT_EQ(writeText(file.stream, "XY"), 2);
    EXPECT_EQ(readText(file.stream, 3), pattern(5).substr(2));
    // Behind a full buffer, too.
    const std::string more(kBuffer, 'x');
    EXPECT_EQ(writeText(file.stream, more), kBuffer);
    EXPECT_EQ(readText(file.stream, 10), pattern(30000).substr(5 + kBuffer, 10));
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(),
              "XY" + pattern(5).substr(2) + more + pattern(30000).substr(5 + kBuffer));
}

TEST(FileStream, AWriteBehindAFullyReadBufferStartsANewOneThere) {
    for (const size_t size : {12288u, 12290u, 30000u}) {
        std::string text = pattern(size);
        FileStream file(text, OXL_UPDATE);
        EXPECT_EQ(readText(file.stream, kBuffer), text.substr(0, kBuffer));
        EXPECT_EQ(writeText(file.stream, "WXYZ"), 4);
        EXPECT_EQ(positionOf(file.stream), kBuffer + 4);
        // Nothing was lost of what lies in front of it.
        EXPECT_EQ(oxlSeek(file.stream, kBuffer - 2, SEEK_SET), kBuffer - 2);
        text.resize(std::max<size_t>(size, kBuffer + 4));
        text.replace(kBuffer, 4, "WXYZ");
        EXPECT_EQ(readText(file.stream, 8), text.substr(kBuffer - 2, 8));
        EXPECT_EQ(file.close(), 0);
        EXPECT_EQ(file.contents(), text);
    }
}

TEST(FileStream, SeeksOfAReadersStreamStayInsideTheFileUnlessFromItsEnd) {
    FileSource source("0123456789");
    expectSeeks(
        source.stream,
        {{0, 0, 0, 0},          {9, 0, 9, 9},          {10, 0, 10, 10},      {11, 0, -1, 4},
         {-1, 0, -1, 4},        {0, 1, 4, 4},          {3, 1, 7, 7},         {-4, 1, 0, 0},
         {-5, 1, -1, 4},        {6, 1, 10, 10},        {7, 1, -1, 4},        {0, 2, 10, 10},
         {-3, 2, 7, 7},         {-10, 2, 0, 0},        {-11, 2, -1, 4},      {5, 2, 15, 15},
         {0, 3, -1, 4},         {0, -1, -1, 4},        {5, 77, -1, 4},       {INT32_MAX, 0, -1, 4},
         {INT32_MIN, 0, -1, 4}, {INT32_MAX, 1, -1, 4}, {INT32_MIN, 1, -1, 4}});
    EXPECT_EQ(errorOf(source.stream), -1);
    oxlSeek(source.stream, 5, SEEK_END);
    EXPECT_EQ(readText(source.stream, 5), "");
}

TEST(FileStream, AWritersSeekMayPassTheEnd) {
    FileStream file("0123456789", OXL_UPDATE);
    EXPECT_EQ(oxlSeek(file.stream, 13, SEEK_SET), 13);
    EXPECT_EQ(writeText(file.stream, "x"), 1);
    EXPECT_EQ(oxlSeek(file.stream, 2, SEEK_END), 16);
    EXPECT_EQ(writeText(file.stream, "y"), 1);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(), std::string("0123456789\0\0\0x\0\0y", 17));
}

TEST(FileStream, CreatedWithoutAWriteBitItIsBoundByTheLengthOfItsLastFlush) {
    FileStream file(OXL_CREATE);
    writeText(file.stream, "01234");
    EXPECT_EQ(oxlSeek(file.stream, 2, SEEK_SET), -1);
    EXPECT_EQ(positionOf(file.stream), 5);
    EXPECT_EQ(FlushOxlIO(file.stream), 5);
    EXPECT_EQ(oxlSeek(file.stream, 2, SEEK_SET), 2);
    EXPECT_EQ(oxlSeek(file.stream, 6, SEEK_SET), -1);
}

TEST(FileStream, ItsPlacesAreThoseOf31Bits) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "");
    if (truncate(path.c_str(), INT32_MAX) != 0) GTEST_SKIP() << "no room for sparse files";
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_UPDATE);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(oxlSeek(stream, INT32_MAX - 7, SEEK_SET), INT32_MAX - 7);
    EXPECT_EQ(readText(stream, 10), std::string(7, '\0'));
    EXPECT_EQ(oxlSeek(stream, 0, SEEK_END), INT32_MAX);
    EXPECT_EQ(readText(stream, 1), "");
    EXPECT_EQ(oxlSeek(stream, 1, SEEK_CUR), -1);
    // The last byte can be written, one behind it cannot.
    EXPECT_EQ(oxlSeek(stream, INT32_MAX - 1, SEEK_SET), INT32_MAX - 1);
    EXPECT_EQ(writeText(stream, "x"), 1);
    EXPECT_EQ(FlushOxlIO(stream), 1);
    EXPECT_EQ(oxlSeek(stream, INT32_MAX - 1, SEEK_SET), INT32_MAX - 1);
    EXPECT_EQ(readText(stream, 2), "x");
    EXPECT_EQ(writeText(stream, "y"), 1);
    EXPECT_EQ(oxlClose(stream), -1);
    EXPECT_EQ(std::filesystem::file_size(path), static_cast<uintmax_t>(INT32_MAX));
}

TEST(FileStream, AReadErrorIsMinusOneAndNotTheEnd) {
    const TempDirectory directory;
    const OxlStream stream = oxlOpen(directory.path().c_str(), nullptr, OXL_READ);
    ASSERT_NE(stream, 0u);
    char byte = '#';
    EXPECT_EQ(oxlRead(stream, &byte, 1), -1);
    EXPECT_EQ(errorOf(stream), -1);
    EXPECT_EQ(oxlRead(stream, &byte, 1), -1);
    EXPECT_EQ(byte, '#');
    EXPECT_EQ(oxlClose(stream), 0);
}

// --- Errors of writing

TEST(StreamError, ADeviceThatIsFullFailsTheFlush) {
    const OxlStream stream = oxlOpen("/dev/full", nullptr, kCreateToWrite);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(writeText(stream, pattern(kBuffer)), kBuffer);
    EXPECT_EQ(writeText(stream, "abc"), -1);
    EXPECT_EQ(errorOf(stream), -1);
    EXPECT_EQ(writeText(stream, "abc"), 0);
    EXPECT_EQ(writeText(stream, "abc"), 0);
    EXPECT_EQ(oxlClose(stream), -1);
}

TEST(StreamError, AWriteThatPassesABufferOfAFullDeviceFailsAsAWhole) {
    const OxlStream stream = oxlOpen("/dev/full", nullptr, kCreateToWrite);
    EXPECT_EQ(writeText(stream, pattern(40000)), -1);
    EXPECT_EQ(oxlClose(stream), -1);
}

TEST(StreamError, WhatNeverFilledABufferFailsAtClose) {
    const OxlStream stream = oxlOpen("/dev/full", nullptr, kCreateToWrite);
    EXPECT_EQ(writeText(stream, "abc"), 3);
    EXPECT_EQ(oxlClose(stream), -1);
    const OxlStream untouched = oxlOpen("/dev/full", nullptr, kCreateToWrite);
    EXPECT_EQ(oxlClose(untouched), 0);
}

TEST(StreamError, AFileThatMayNotGrowFailsTheFlushThatPassesItsLimit) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const std::vector<int32_t> results = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {kBuffer + 100, kBuffer + 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        const OxlStream stream = oxlOpen(path.c_str(), nullptr, kCreateToWrite);
        std::vector<int32_t> told;
        for (const int32_t size : {kBuffer, kBuffer, 1, 1})
            told.push_back(writeText(stream, pattern(static_cast<size_t>(size))));
        told.push_back(oxlClose(stream));
        return told;
    });
    EXPECT_EQ(results, (std::vector<int32_t>{kBuffer, kBuffer, -1, 0, -1}));
    EXPECT_EQ(directory.read("file").substr(0, kBuffer), pattern(kBuffer));
}

TEST(StreamError, AFailedFlushCanBeRepeatedFromItsStart) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const std::vector<int32_t> results = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlim_t before = limit.rlim_cur;
        limit.rlim_cur = kBuffer + 100;
        setrlimit(RLIMIT_FSIZE, &limit);
        const OxlStream stream = oxlOpen(path.c_str(), nullptr, kCreateToWrite);
        std::vector<int32_t> told = {writeText(stream, pattern(20000))};
        told.push_back(FlushOxlIO(stream));
        limit.rlim_cur = before;
        setrlimit(RLIMIT_FSIZE, &limit);
        told.push_back(FlushOxlIO(stream));
        told.push_back(oxlClose(stream));
        return told;
    });
    EXPECT_EQ(results, (std::vector<int32_t>{20000, -1, 20000 - kBuffer, 0}));
    EXPECT_EQ(directory.read("file"), pattern(20000));
}

// Created without a write bit, a stream seeks no further than its length.
TEST(StreamError, WhatAShortWriteLeftCountsForTheLength) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    for (const bool closing : {false, true}) {
        const std::vector<int32_t> results = inChild([&]() -> std::vector<int32_t> {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit limit = {kBuffer + 100, kBuffer + 100};
            setrlimit(RLIMIT_FSIZE, &limit);
            const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_CREATE);
            writeText(stream, pattern(20000));
            const int32_t told = closing ? FillOxlIOBuf(stream) : FlushOxlIO(stream);
            return {told, recordOf(stream).length, oxlSeek(stream, kBuffer + 100, SEEK_SET),
                    oxlSeek(stream, kBuffer + 101, SEEK_SET)};
        });
        EXPECT_EQ(results, (std::vector<int32_t>{-1, kBuffer + 100, kBuffer + 100, -1}));
        std::filesystem::remove(path);
    }
}

TEST(StreamError, AReadersStreamTakesBytesItCannotWrite) {
    FileStream file("abc", OXL_READ);
    EXPECT_EQ(writeText(file.stream, "XY"), 2);
    // Reading stays inside the buffer, leaving it does not.
    EXPECT_EQ(oxlSeek(file.stream, 0, SEEK_END), -1);
    EXPECT_EQ(errorOf(file.stream), -1);
    EXPECT_EQ(file.close(), -1);
    EXPECT_EQ(file.contents(), "abc");
}

TEST(StreamError, AStreamInErrorWritesNothingOnceItsBufferIsFull) {
    FileStream file(kCreateToWrite);
    EXPECT_EQ(oxlSeek(file.stream, -1, SEEK_SET), -1);
    EXPECT_EQ(writeText(file.stream, "abc"), 3);
    EXPECT_EQ(writeText(file.stream, pattern(kBuffer)), 0);
    EXPECT_EQ(writeText(file.stream, "d"), 0);
    // What the buffer took is written all the same.
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(file.contents(), "abc" + pattern(kBuffer - 3));
}

TEST(StreamError, AStreamInErrorStillReadsAndSeeks) {
    FileSource source(pattern(30000));
    EXPECT_EQ(oxlSeek(source.stream, 30001, SEEK_SET), -1);
    EXPECT_EQ(readText(source.stream, 30000), pattern(30000));
    EXPECT_EQ(oxlSeek(source.stream, 20000, SEEK_SET), 20000);
    EXPECT_EQ(readText(source.stream, 10), pattern(30000).substr(20000, 10));
    EXPECT_EQ(errorOf(source.stream), -1);
}

TEST(StreamError, NothingTakesItBack) {
    MemoryStream target(4);
    EXPECT_EQ(writeText(target.stream, "abcde"), -1);
    EXPECT_EQ(oxlSeek(target.stream, 0, SEEK_SET), 0);
    EXPECT_EQ(writeText(target.stream, "ABCD"), 4);
    EXPECT_EQ(writeText(target.stream, "E"), 0);
    EXPECT_EQ(target.finish(), bytesOfText("ABCD"));
}

// --- Lent files

TEST(LentFile, IsReadFromItsStartAndKeepsItsPlaceWhileOpened) {
    LentFile lent(pattern(20000), "r");
    std::fseek(lent.file, 100, SEEK_SET);
    const OxlStream stream = lent.open();
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(std::ftell(lent.file), 100);
    EXPECT_EQ(readText(stream, 30000), pattern(20000));
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_FALSE(lent.directory.names().count("unused"));
}

TEST(LentFile, StaysOpenWhenItsStreamCloses) {
    LentFile lent("", "w+");
    const OxlStream stream = lent.open();
    EXPECT_EQ(writeText(stream, "abc"), 3);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(lent.contents(), "abc");
    std::fseek(lent.file, 0, SEEK_END);
    EXPECT_GT(std::fputs("def", lent.file), -1);
    std::fflush(lent.file);
    EXPECT_EQ(lent.contents(), "abcdef");
}

TEST(LentFile, IsWrittenAtItsPlacesWhereverItStands) {
    LentFile lent("0123456789", "r+");
    const OxlStream stream = lent.open();
    EXPECT_EQ(writeText(stream, "ab"), 2);
    std::fseek(lent.file, 7, SEEK_SET);
    EXPECT_EQ(FlushOxlIO(stream), 2);
    std::fseek(lent.file, 7, SEEK_SET);
    EXPECT_EQ(writeText(stream, "cd"), 2);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(lent.contents(), "abcd456789");
}

TEST(LentFile, SeeksAsAWriter) {
    LentFile lent("abc", "r+");
    const OxlStream stream = lent.open();
    EXPECT_EQ(oxlSeek(stream, 5, SEEK_SET), 5);
    EXPECT_EQ(writeText(stream, "x"), 1);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(lent.contents(), std::string("abc\0\0x", 6));
}

TEST(LentFile, WhatCannotBeReadOrWrittenFails) {
    char byte = '#';
    LentFile writable("abc", "w");
    const OxlStream writer = writable.open();
    EXPECT_EQ(oxlRead(writer, &byte, 1), -1);
    EXPECT_EQ(oxlSeek(writer, 5, SEEK_SET), -1);
    EXPECT_EQ(oxlClose(writer), 0);
    LentFile readable("abc", "r");
    const OxlStream reader = readable.open();
    EXPECT_EQ(writeText(reader, "x"), 1);
    EXPECT_EQ(oxlClose(reader), -1);
    EXPECT_EQ(readable.contents(), "abc");
    LentFile full("", "w+");
    full.file = std::freopen("/dev/full", "w+", full.file);
    const OxlStream failing = full.open();
    EXPECT_EQ(writeText(failing, "x"), 1);
    EXPECT_EQ(oxlClose(failing), -1);
}

TEST(LentFile, WithoutAFileThereIsNoStream) {
    OxlStreamDesc descriptor = {};
    EXPECT_EQ(oxlOpen(nullptr, &descriptor, OXL_LENT), 0u);
    EXPECT_EQ(oxlOpen(nullptr, nullptr, OXL_LENT), 0u);
}

// A lent file whose calls fail as told.
struct FailingFile {
    FailingFile() {
        const cookie_io_functions_t calls = {[](void* self, char*, size_t) -> ssize_t {
                                                 auto& file = *static_cast<FailingFile*>(self);
                                                 return file.failRead ? -1 : 0;
                                             },
                                             [](void* self, const char*, size_t size) -> ssize_t {
                                                 auto& file = *static_cast<FailingFile*>(self);
                                                 file.written += std::min(size, file.room);
                                                 const size_t taken = std::min(size, file.room);
                                                 file.room -= taken;
                                                 return static_cast<ssize_t>(taken);
                                             },
                                             [](void* self, off64_t* offset, int whence) -> int {
                                                 auto& file = *static_cast<FailingFile*>(self);
                                                 if (file.failSeek) return -1;
                                                 if (whence == SEEK_END) *offset = 0;
                                                 return 0;
                                             },
                                             nullptr};
        handle = fopencookie(this, "w+", calls);
        setvbuf(handle, nullptr, _IONBF, 0);
        OxlStreamDesc descriptor = {};
        descriptor.lentFile = reinterpret_cast<HostWord>(handle);
        stream = oxlOpen(nullptr, &descriptor, OXL_LENT);
    }
    ~FailingFile() { std::fclose(handle); }
    FailingFile(const FailingFile&) = delete;
    FailingFile& operator=(const FailingFile&) = delete;

    FILE* handle;
    OxlStream stream;
    bool failRead = false;
    bool failSeek = false;
    size_t room = SIZE_MAX;
    size_t written = 0;
};

TEST(FailingFile, ThatCannotReadFailsFillReadAndSeek) {
    for (const int operation : {0, 1, 2}) {
        FailingFile file;
        file.failRead = true;
        char byte = '#';
        const int32_t result = operation == 0   ? FillOxlIOBuf(file.stream)
                               : operation == 1 ? oxlRead(file.stream, &byte, 1)
                                                : oxlSeek(file.stream, 5, SEEK_SET);
        EXPECT_EQ(result, -1) << operation;
        EXPECT_EQ(errorOf(file.stream), -1) << operation;
        EXPECT_EQ(oxlClose(file.stream), 0);
    }
}

TEST(FailingFile, ThatCannotSeekFailsFillReadSeekAndFlush) {
    for (const int operation : {0, 1, 2, 3}) {
        FailingFile file;
        if (operation == 3) {
            EXPECT_EQ(writeText(file.stream, "x"), 1);
        }
        file.failSeek = true;
        char byte = '#';
        const int32_t result = operation == 0   ? FillOxlIOBuf(file.stream)
                               : operation == 1 ? oxlRead(file.stream, &byte, 1)
                               : operation == 2 ? oxlSeek(file.stream, 5, SEEK_SET)
                                                : FlushOxlIO(file.stream);
        EXPECT_EQ(result, -1) << operation;
        EXPECT_EQ(errorOf(file.stream), -1) << operation;
        EXPECT_EQ(file.written, 0u);
        // A close has something to flush, or it has not.
        EXPECT_EQ(oxlClose(file.stream), operation == 3 ? -1 : 0);
    }
}

TEST(FailingFile, AShortWriteIsAnError) {
    for (const size_t room : {size_t{0}, size_t{1}, size_t{99}}) {
        FailingFile file;
        EXPECT_EQ(writeText(file.stream, pattern(100)), 100);
        file.room = room;
        EXPECT_EQ(FlushOxlIO(file.stream), -1) << room;
        EXPECT_EQ(errorOf(file.stream), -1) << room;
        EXPECT_EQ(oxlClose(file.stream), -1) << room;
    }
}

// --- Standard input and output

// Puts a file in the place of a standard descriptor, in a child process.
void redirect(const std::string& path, int flags, int descriptor) {
    const int file = open(path.c_str(), flags, 0600);
    dup2(file, descriptor);
    close(file);
}

TEST(StandardStreams, StdoutWritesThereAndIsClosedWithItsStream) {
    for (const int32_t mode : {1, 4097}) {
        const TempDirectory directory;
        const std::vector<int32_t> results = inChild([&]() -> std::vector<int32_t> {
            redirect(directory.path("out"), O_RDWR | O_CREAT, STDOUT_FILENO);
            const OxlStream stream = oxlOpen("stdout", nullptr, mode);
            const int32_t written = writeText(stream, "abc");
            const int32_t closed = oxlClose(stream);
            return {stream != 0, written, closed, fcntl(STDOUT_FILENO, F_GETFD)};
        });
        EXPECT_EQ(results, (std::vector<int32_t>{1, 3, 0, -1}));
        EXPECT_EQ(directory.read("out"), "abc");
        EXPECT_EQ(directory.names(), (std::set<std::string>{"out"}));
    }
}

TEST(StandardStreams, StayOpenWhenTheirStreamCannotBeOpened) {
    const TempDirectory directory;
    const std::vector<int32_t> results = inChild([&]() -> std::vector<int32_t> {
        redirect(directory.path("out"), O_RDWR | O_CREAT, STDOUT_FILENO);
        redirect(directory.path("out"), O_RDWR, STDIN_FILENO);
        std::vector<int32_t> told;
        for (const char* name : {"stdin", "stdout"}) {
            // The first allocation is the record's, the second the buffer's.
            const FailingCall noMemory("calloc", 2);
            told.push_back(oxlOpen(name, nullptr, kCreateToWrite) == 0);
            told.push_back(noMemory.happened());
        }
        told.push_back(fcntl(STDIN_FILENO, F_GETFD));
        told.push_back(fcntl(STDOUT_FILENO, F_GETFD));
        return told;
    });
    EXPECT_EQ(results, (std::vector<int32_t>{1, 1, 1, 1, 0, 0}));
}

TEST(StandardStreams, StdinIsReadFromAFile) {
    const TempDirectory directory;
    directory.write("in", pattern(20000));
    const std::vector<int32_t> results = inChild([&]() -> std::vector<int32_t> {
        redirect(directory.path("in"), O_RDONLY, STDIN_FILENO);
        const OxlStream stream = oxlOpen("stdin", nullptr, OXL_READ);
        const bool same = readText(stream, 30000) == pattern(20000);
        const int32_t back = oxlSeek(stream, 5, SEEK_SET);
        return {same, back, oxlClose(stream), fcntl(STDIN_FILENO, F_GETFD)};
    });
    EXPECT_EQ(results, (std::vector<int32_t>{1, 5, 0, -1}));
}

TEST(StandardStreams, APipeCannotSeekSoItFails) {
    const std::vector<int32_t> results = inChild([]() -> std::vector<int32_t> {
        std::array<int, 2> ends;
        if (pipe(ends.data()) != 0) return {};
        dup2(ends[0], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        char byte = '#';
        const OxlStream input = oxlOpen("stdin", nullptr, OXL_READ);
        const int32_t read = oxlRead(input, &byte, 1);
        const OxlStream output = oxlOpen("stdout", nullptr, OXL_WRITE);
        const int32_t written = writeText(output, "abc");
        return {read, oxlClose(input), written, oxlClose(output)};
    });
    EXPECT_EQ(results, (std::vector<int32_t>{-1, 0, 3, -1}));
}

TEST(StandardStreams, OnlyTheExactNamesAreTheirs) {
    const TempDirectory directory;
    for (const char* name : {"Stdin", "stdin.", "./stdout"})
        EXPECT_EQ(oxlOpen(name, nullptr, OXL_READ), 0u) << name;
}

// --- Copying and unxSeek

TEST(Copy, CopiesEveryByte) {
    for (const size_t size : {0u, 1u, 4095u, 4096u, 4097u, 12288u, 12289u, 40000u}) {
        const TempDirectory directory;
        const std::string source = directory.write("source", pattern(size));
        const std::string target = directory.write("target", "old contents");
        EXPECT_EQ(oxlCopy(source.c_str(), target.c_str()), 0);
        EXPECT_EQ(directory.read("target"), pattern(size)) << size;
        EXPECT_EQ(directory.read("source"), pattern(size)) << size;
    }
}

TEST(Copy, WhatWasNotWrittenIsMissingFromTheResult) {
    const TempDirectory directory;
    const std::string source = directory.write("source", pattern(20000));
    const size_t before = openFiles();
    EXPECT_EQ(oxlCopy(source.c_str(), directory.path("missing/target").c_str()), -20000);
    EXPECT_EQ(oxlCopy(source.c_str(), nullptr), -20000);
    // Three parts of 4096 bytes fill the buffer, the fourth fails with -1, the rest gives 0.
    EXPECT_EQ(oxlCopy(source.c_str(), "/dev/full"), 3 * 4096 - 1 - 20000);
    EXPECT_EQ(openFiles(), before);
}

TEST(Copy, OfNothingIsComplete) {
    const TempDirectory directory;
    const std::string target = directory.write("target", "old contents");
    EXPECT_EQ(oxlCopy(directory.path("missing").c_str(), target.c_str()), 0);
    EXPECT_EQ(directory.read("target"), "");
    EXPECT_EQ(oxlCopy(nullptr, nullptr), 0);
}

TEST(UnxSeek, GivesTheNewPlaceOrMinusOne) {
    const TempDirectory directory;
    FILE* file = std::fopen(directory.write("file", "0123456789").c_str(), "r");
    EXPECT_EQ(unxSeek(file, 4, SEEK_SET), 4);
    EXPECT_EQ(unxSeek(file, 3, SEEK_CUR), 7);
    EXPECT_EQ(std::fgetc(file), '7');
    EXPECT_EQ(unxSeek(file, -2, SEEK_END), 8);
    EXPECT_EQ(unxSeek(file, 5, SEEK_END), 15);
    EXPECT_EQ(unxSeek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(unxSeek(file, -11, SEEK_END), -1);
    EXPECT_EQ(unxSeek(file, 0, 99), -1);
    EXPECT_EQ(unxSeek(file, 0, SEEK_CUR), 15);
    std::fclose(file);
    EXPECT_EQ(unxSeek(nullptr, 0, SEEK_SET), -1);
    std::array<int, 2> ends;
    ASSERT_EQ(pipe(ends.data()), 0);
    FILE* unseekable = fdopen(ends[0], "r");
    EXPECT_EQ(unxSeek(unseekable, 0, SEEK_SET), -1);
    std::fclose(unseekable);
    close(ends[1]);
}

}  // namespace
