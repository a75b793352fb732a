#include <cstring>
#include <tuple>

#include "io/stream_kit.h"
#include "support/failing_call.h"
#include "support/recording_document.h"

namespace {

using namespace stream_kit;
using support::RecordingDocument;

TEST(DocumentStream, EveryOperationReachesTheProcedureWithItsHandle) {
    RecordingDocument document("0123456789");
    OxlStreamDesc descriptor = document.descriptor(77);
    descriptor.size = descriptor.growStep = 1234;
    const OxlStream stream = oxlOpen("out.bmp", &descriptor, kCreateToWrite);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(readText(stream, 4), "0123");
    EXPECT_EQ(oxlSeek(stream, 8, SEEK_SET), 8);
    EXPECT_EQ(oxlSeek(stream, 0, SEEK_CUR), 8);
    EXPECT_EQ(oxlSeek(stream, -9, SEEK_END), 1);
    EXPECT_EQ(writeText(stream, "ab"), 2);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(document.log,
              "open 77 out.bmp 4097\nread 5 buffer 4\nseek 5 8 0\nseek 5 0 1\nseek 5 -9 2\n"
              "write 5 ab 2\nclose 5 0 0\n");
    EXPECT_EQ(document.contents, "0ab3456789");
    EXPECT_EQ(descriptor.size, 1234u);
}

TEST(DocumentStream, TheProcedureSeesEveryNameAndMode) {
    for (const auto& [name, mode, call] :
         std::vector<std::tuple<const char*, int32_t, std::string>>{
             {nullptr, 0, "open 7 (none) 0\n"},
             {"", 2, "open 7  2\n"},
             {"stdout", 1, "open 7 stdout 1\n"},
             {"a", OXL_DELETE | 1, "open 7 a 513\n"}}) {
        RecordingDocument document;
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen(name, &descriptor, mode);
        EXPECT_EQ(document.takeLog(), call);
        EXPECT_EQ(oxlClose(stream), 0);
    }
}

TEST(DocumentStream, ItsHandleIsPassedBackWhole) {
    for (const intptr_t handle : {intptr_t{1}, intptr_t{-1}, INTPTR_MIN, INTPTR_MAX}) {
        RecordingDocument document;
        document.answers[support::kDocOpen] = {handle};
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("a", &descriptor, OXL_READ);
        ASSERT_NE(stream, 0u);
        document.takeLog();
        EXPECT_EQ(oxlClose(stream), 0);
        EXPECT_EQ(document.log, "close " + std::to_string(handle) + " 0 0\n");
    }
}

TEST(DocumentStream, AnswersAreResultsAndNothingSticks) {
    for (const int32_t answer : {-1, 0, 1, 2, -100, 100}) {
        SCOPED_TRACE(answer);
        RecordingDocument document("0123456789");
        document.answers[support::kDocRead] = {answer};
        document.answers[support::kDocWrite] = {answer};
        document.answers[support::kDocSeek] = {answer, answer};
        document.answers[support::kDocClose] = {answer};
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("a", &descriptor, kCreateToWrite);
        char buffer[4];
        EXPECT_EQ(oxlRead(stream, buffer, 4), answer);
        EXPECT_EQ(writeText(stream, "wxyz"), answer);
        EXPECT_EQ(oxlSeek(stream, 3, SEEK_SET), answer);
        EXPECT_EQ(oxlSeek(stream, 0, SEEK_CUR), answer);
        // The next call is a new one, whatever the last gave.
        EXPECT_EQ(writeText(stream, "wxyz"), 4);
        EXPECT_EQ(readText(stream, 2), "45");
        EXPECT_EQ(oxlSeek(stream, 1, SEEK_SET), 1);
        EXPECT_EQ(oxlClose(stream), 0);
    }
}

TEST(DocumentStream, NothingIsBufferedFilledOrFlushed) {
    RecordingDocument document("0123456789");
    OxlStreamDesc descriptor = document.descriptor();
    const OxlStream stream = oxlOpen("a", &descriptor, kCreateToWrite);
    document.takeLog();
    EXPECT_EQ(writeText(stream, pattern(20000)), 20000);
    EXPECT_LT(FillOxlIOBuf(stream), 1);
    EXPECT_EQ(FlushOxlIO(stream), 0);
    const std::string log = document.takeLog();
    EXPECT_EQ(log.substr(log.size() - 7), " 20000\n");
    EXPECT_EQ(log.find("write", 1), std::string::npos);
    oxlClose(stream);
}

TEST(DocumentStream, ALentDocumentIsUsedDirectly) {
    const TempDirectory directory;
    RecordingDocument document("0123");
    OxlStreamDesc descriptor = document.descriptor();
    descriptor.lentDocument = 9;
    const OxlStream stream = oxlOpen(directory.path("a").c_str(), &descriptor, OXL_LENT);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(readText(stream, 2), "01");
    EXPECT_EQ(writeText(stream, "x"), 1);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(document.log, "read 9 buffer 2\nwrite 9 x 1\nclose 9 0 0\n");
    EXPECT_TRUE(directory.names().empty());
}

TEST(DocumentStream, ALentDocumentGoesBeforeALentFile) {
    LentFile lent("abc", "r");
    RecordingDocument document("0123");
    lent.descriptor.documentProc = RecordingDocument::procedure();
    const OxlStream stream = lent.open();
    EXPECT_EQ(readText(stream, 4), "0123");
    EXPECT_EQ(oxlClose(stream), 0);
}

TEST(DocumentStream, WhatTheProcedureDoesNotServeOpensAFileThatTheProcedureThenReadsAndWrites) {
    const TempDirectory directory;
    const std::string path = directory.path("file");
    const size_t before = openFiles();
    RecordingDocument document("0123");
    document.answers[support::kDocOpen] = {0};
    OxlStreamDesc descriptor = document.descriptor();
    const OxlStream stream = oxlOpen(path.c_str(), &descriptor, kCreateToWrite);
    ASSERT_NE(stream, 0u);
    EXPECT_EQ(directory.names(), (std::set<std::string>{"file"}));
    document.takeLog();
    EXPECT_EQ(readText(stream, 2), "01");
    EXPECT_EQ(writeText(stream, "x"), 1);
    EXPECT_EQ(oxlSeek(stream, 1, SEEK_SET), 1);
    EXPECT_EQ(oxlClose(stream), 0);
    EXPECT_EQ(document.log, "read 0 buffer 2\nwrite 0 x 1\nseek 0 1 0\nclose 0 0 0\n");
    EXPECT_EQ(directory.read("file"), "");
    EXPECT_EQ(openFiles(), before);
}

TEST(DocumentStream, WhatNobodyServesIsNoStream) {
    const TempDirectory directory;
    const std::string missing = directory.path("missing");
    for (const char* name : {missing.c_str(), "", static_cast<const char*>(nullptr)}) {
        RecordingDocument document;
        document.answers[support::kDocOpen] = {0};
        OxlStreamDesc descriptor = document.descriptor();
        EXPECT_EQ(oxlOpen(name, &descriptor, OXL_READ), 0u);
        EXPECT_EQ(document.log,
                  std::string("open 7 ") + (name == nullptr ? "(none)" : name) + " 0\n");
    }
}

TEST(DocumentStream, ExistsAndDeleteAskTheProcedureAlone) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "abc");
    for (const intptr_t answer : {intptr_t{0}, intptr_t{1}, intptr_t{-1}, intptr_t{17}}) {
        RecordingDocument document;
        document.answers[support::kDocExists] = {answer};
        document.answers[support::kDocDelete] = {answer};
        OxlStreamDesc descriptor = document.descriptor();
        const auto expected = static_cast<OxlStream>(answer);
        EXPECT_EQ(oxlOpen(path.c_str(), &descriptor, OXL_EXISTS), expected);
        EXPECT_EQ(oxlOpen(path.c_str(), &descriptor, OXL_DELETE), expected);
        EXPECT_EQ(document.log, "exists 0 " + path + " 0\ndelete 0 " + path + " 0\n");
    }
    EXPECT_EQ(directory.read("file"), "abc");
}

TEST(DocumentStream, CloseAndDeleteIsOneCallOfTheProcedure) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "abc");
    for (const intptr_t answer : {intptr_t{1}, intptr_t{0}, intptr_t{-1}}) {
        RecordingDocument document;
        document.answers[support::kDocClose] = {answer};
        OxlStreamDesc descriptor = document.descriptor();
        const OxlStream stream = oxlOpen("a", &descriptor, kCreateToWrite);
        document.takeLog();
        EXPECT_EQ(oxlCloseandDelete(stream, path.c_str()), 0);
        EXPECT_EQ(document.log, "close 5 0 512\n");
    }
    EXPECT_EQ(directory.read("file"), "abc");
}

TEST(DocumentStream, CloseAndDeleteOfAnUnservedNameClosesTheFileToo) {
    const TempDirectory directory;
    const size_t before = openFiles();
    RecordingDocument document;
    document.answers[support::kDocOpen] = {0};
    OxlStreamDesc descriptor = document.descriptor();
    const std::string path = directory.path("file");
    const OxlStream stream = oxlOpen(path.c_str(), &descriptor, kCreateToWrite);
    EXPECT_EQ(oxlCloseandDelete(stream, path.c_str()), 0);
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(document.log, "open 7 " + path + " 4097\nclose 0 0 512\n");
}

// ---- Documents that close their stream themselves -----------------------------------------------

// A document whose procedure closes the stream when the nth call of the operation comes.
struct ClosingDocument {
    explicit ClosingDocument(int32_t wanted, int nth) : operation(wanted), left(nth) {
        current() = this;
        OxlStreamDesc descriptor = {};
        descriptor.documentProc = reinterpret_cast<HostWord>(&serve);
        stream = oxlOpen("a", &descriptor, kCreateToWrite);
    }
    ~ClosingDocument() { EXPECT_EQ(closes, 1); }
    ClosingDocument(const ClosingDocument&) = delete;
    ClosingDocument& operator=(const ClosingDocument&) = delete;

    static ClosingDocument*& current() {
        static ClosingDocument* document = nullptr;
        return document;
    }
    static intptr_t serve(intptr_t, int32_t called, intptr_t a, intptr_t b) {
        ClosingDocument& self = *current();
        if (called == support::kDocClose) ++self.closes;
        if (called == self.operation && --self.left == 0) self.closed = oxlClose(self.stream);
        if (called == support::kDocRead) std::memset(reinterpret_cast<void*>(a), 'x', 1);
        return called == support::kDocOpen ? 5 : b;
    }

    int32_t operation;
    int left;
    OxlStream stream = 0;
    int32_t closed = 99;
    int closes = 0;
};

TEST(ClosingDocument, CloseIsNotRepeatedFromWithin) {
    const long blocks = support::liveBlocks;
    {
        ClosingDocument document(support::kDocClose, 1);
        EXPECT_EQ(oxlClose(document.stream), 0);
        EXPECT_EQ(document.closed, -1);
    }
    {
        ClosingDocument document(support::kDocClose, 1);
        EXPECT_EQ(oxlCloseandDelete(document.stream, "a"), 0);
        EXPECT_EQ(document.closed, -1);
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(ClosingDocument, TransfersEndWithTheirStream) {
    using Transfer = int32_t (*)(OxlStream stream);
    struct Case {
        int32_t operation;
        Transfer run;
        int32_t result;
    };
    static const uint32_t numbers[4] = {1, 2, 3, 4};
    static uint32_t read[4];
    static char line[8];
    const Case cases[] = {
        {support::kDocWrite, [](OxlStream s) { return oxlWriteLong(s, numbers, 4); }, 0},
        {support::kDocWrite, [](OxlStream s) { return oxlWriteStruct(s, "2L", numbers, 2); }, 0},
        {support::kDocWrite, [](OxlStream s) { return oxlWriteLine(s, "ab", 2); }, 0},
        {support::kDocRead, [](OxlStream s) { return oxlReadStruct(s, "LLLL", read, 1); }, 0},
        {support::kDocRead, [](OxlStream s) { return oxlReadLine(s, line, 8); }, -1},
        {support::kDocRead, [](OxlStream s) { return oxlGetLineFormat(s); }, -1},
        {support::kDocWrite, [](OxlStream s) { return oxlWrite(s, "ab", 2); }, 2},
        {support::kDocSeek, [](OxlStream s) { return oxlSeek(s, 2, 0); }, 0},
    };
    const long blocks = support::liveBlocks;
    for (const Case& given : cases) {
        SCOPED_TRACE(&given - cases);
        ClosingDocument document(given.operation, 1);
        EXPECT_EQ(given.run(document.stream), given.result);
        EXPECT_EQ(document.closed, 0);
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

}  // namespace
