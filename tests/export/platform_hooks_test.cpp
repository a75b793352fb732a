#include "export/platform_hooks.h"

#include <algorithm>

#include "support/failing_call.h"

namespace {

using support::FailingCall;
using tivar::MetafileRectangle;

HostWord asWord(const void* pointer) {
    return reinterpret_cast<HostWord>(pointer);
}

struct Call {
    int32_t message;
    void* input;
    HostWord output;
    HostWord extra;
};

std::vector<Call> g_calls;
HostWord g_answer;
HostWord g_block[5];

HostWord record(int32_t message, void* input, HostWord output, HostWord extra) {
    g_calls.push_back({message, input, output, extra});
    if (message == DRAW_INITIALISE) std::copy_n(reinterpret_cast<HostWord*>(output), 5, g_block);
    return g_answer;
}

struct OffscreenHooks : testing::Test {
    OffscreenHooks() {
        g_calls.clear();
        g_answer = 0;
    }
    CellPicture picture = {};
    uint8_t table[6] = {};
};

TEST(MetafileHooks, InitialisingClearsItsFourOutputsAndReturnsItsFirstArgument) {
    HostWord status[3] = {1, 2, 3};
    HostWord word1 = 4;
    HostWord word2 = 5;
    HostWord callback = 6;
    MemHandle handle = 7;
    EXPECT_EQ(tivar::InitPlatformMetafileFilter(11, 22, status, &word1, &handle, &word2, &callback),
              11u);
    EXPECT_EQ(word1, 0u);
    EXPECT_EQ(word2, 0u);
    EXPECT_EQ(callback, 0u);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(status[0] + status[1] + status[2], 6u) << "the host's block stays";
}

TEST(MetafileHooks, InitialisingSkipsMissingOutputs) {
    EXPECT_EQ(
        tivar::InitPlatformMetafileFilter(11, 22, nullptr, nullptr, nullptr, nullptr, nullptr),
        11u);
}

TEST(MetafileHooks, ThereIsNoMetafile) {
    EXPECT_EQ(tivar::TermPlatformMetafileFilter(5), 0u);
    EXPECT_EQ(tivar::GetMetaFileHandle(5, 6), 0u);
    EXPECT_EQ(tivar::DeleteMetaFileHandle(5), 0u);
}

TEST(MetafileDrawing, QueryAnswersTheSizeInUnits) {
    struct Case {
        MetafileRectangle rectangle;
        double width;
        double height;
        uint32_t units;
    };
    for (const Case& c :
         {Case{{99, 0, 200, 300, 0, 100}, 3.0, 2.0, 100},
          {{99, 0, 200, 300, 0, 0}, 300.0, 200.0, 0},
          {{99, -50, 10, -20, 40, 1}, 30.0, -30.0, 1},
          {{99, 0, 200, 300, 0, -1}, 300.0 / 4294967295.0, 200.0 / 4294967295.0, 0xFFFFFFFF}}) {
        MetafileRectangle rectangle = c.rectangle;
        CellFormat format = {};
        EXPECT_EQ(tivar::DrawPlatformMetafile(0, &rectangle, asWord(&format), 0), 0u);
        EXPECT_EQ(format.width, c.width);
        EXPECT_EQ(format.height, c.height);
        EXPECT_EQ(format.resolution, c.units);
        EXPECT_EQ(format.swapRedBlue, 4);
    }
}

TEST(MetafileDrawing, OtherMessagesDrawNothing) {
    HostWord word = 3;
    for (const int32_t message : {1, 3, 4, -1})
        EXPECT_EQ(tivar::DrawPlatformMetafile(message, &word, asWord(&word), asWord(&word)), 0u);
    EXPECT_EQ(word, 3u);
}

TEST(MetafileDrawing, TerminatingTellsWhetherThereWasARecord) {
    HostWord word = 3;
    EXPECT_EQ(tivar::DrawPlatformMetafile(2, nullptr, 0, 0), 1u);
    EXPECT_EQ(tivar::DrawPlatformMetafile(2, &word, 0, 0), 0u);
}

TEST(MetafileDrawing, QueryWithoutRecordsIsHarmless) {
    MetafileRectangle rectangle = {};
    CellFormat format = {1, 2, 3, 5, 0};
    EXPECT_EQ(tivar::DrawPlatformMetafile(0, nullptr, asWord(&format), 0), 0u);
    EXPECT_EQ(tivar::DrawPlatformMetafile(0, &rectangle, 0, 0), 0u);
    EXPECT_EQ(format.width, 1);
    EXPECT_EQ(format.swapRedBlue, 5);
}

TEST_F(OffscreenHooks, QueryCallsMessageZeroWithPictureAndFormat) {
    CellFormat format = {};
    QueryPlatformOffscreen(&format, &picture, record);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].message, 0);
    EXPECT_EQ(g_calls[0].input, &picture);
    EXPECT_EQ(g_calls[0].output, asWord(&format));
    EXPECT_EQ(g_calls[0].extra, 0u);
}

TEST_F(OffscreenHooks, InitialisingFillsTheRecordAndTheFiveFieldBlock) {
    const uint8_t flag = 200;
    uint32_t rows = 480;
    g_answer = 120;
    CellDataRequest* offscreen =
        InitPlatformOffscreen(640, &rows, 0x10008, 256, table, &picture, record, &flag);
    ASSERT_NE(offscreen, nullptr);
    EXPECT_EQ(rows, 120u) << "the call-back's result";
    EXPECT_EQ(offscreen->picture, &picture);
    EXPECT_EQ(offscreen->draw, record);
    EXPECT_EQ(offscreen->colorCount, 256);
    EXPECT_EQ(offscreen->colorTable, table);
    EXPECT_EQ(offscreen->destWidth, 640u);
    EXPECT_EQ(offscreen->destHeight, 480u);
    EXPECT_EQ(offscreen->destBits, 8) << "the low 16 bits";
    EXPECT_EQ(offscreen->flag, 200);
    EXPECT_EQ(offscreen->privateBlock, 0u);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].message, 1);
    EXPECT_EQ(g_calls[0].input, offscreen);
    EXPECT_EQ(g_calls[0].extra, 0u);
    EXPECT_EQ(g_block[0], 640u);
    EXPECT_EQ(g_block[1], 480u) << "the value on entry";
    EXPECT_EQ(g_block[2], 0x10008u);
    EXPECT_EQ(static_cast<uint16_t>(g_block[3]), 256);
    EXPECT_EQ(g_block[4], asWord(table));
    TermPlatformOffscreen(offscreen);
}

TEST_F(OffscreenHooks, DrawingForwardsTheRowsAndReturnsTheAnswer) {
    uint32_t rows = 10;
    CellDataRequest* offscreen =
        InitPlatformOffscreen(4, &rows, 8, 0, nullptr, &picture, record, nullptr);
    g_answer = 4711;
    EXPECT_EQ(DrawPlatformOffscreen(offscreen, 3, 9), 4711u);
    ASSERT_EQ(g_calls.size(), 2u);
    EXPECT_EQ(g_calls[1].message, 3);
    EXPECT_EQ(g_calls[1].input, offscreen);
    EXPECT_EQ(g_calls[1].output, 3u);
    EXPECT_EQ(g_calls[1].extra, 9u);
    TermPlatformOffscreen(offscreen);
}

TEST_F(OffscreenHooks, TerminatingCallsMessageTwoBeforeTheRecordIsFreed) {
    static uint32_t seenWidth;
    static long seenBlocks;
    static uint32_t seenSize;
    seenWidth = 0;
    const DrawProc look = [](int32_t message, void* input, HostWord output,
                             HostWord extra) -> HostWord {
        if (message == DRAW_TERMINATE && output == 0 && extra == 0)
            seenWidth += static_cast<CellDataRequest*>(input)->destWidth;
        seenBlocks = support::liveBlocks;
        seenSize = GlobalSize(GlobalHandle(input));
        return 0;
    };
    uint32_t rows = 10;
    CellDataRequest* offscreen =
        InitPlatformOffscreen(77, &rows, 8, 0, nullptr, &picture, look, nullptr);
    const long blocks = support::liveBlocks;
    TermPlatformOffscreen(offscreen);
    EXPECT_EQ(seenWidth, 77u);
    EXPECT_EQ(seenBlocks, blocks) << "nothing is freed yet";
    EXPECT_EQ(seenSize, sizeof(CellDataRequest)) << "nor given up";
    EXPECT_EQ(support::liveBlocks, blocks - 1);
}

TEST_F(OffscreenHooks, RecordThatItsCallBackEndsIsNotUsedAnyMore) {
    const DrawProc end = [](int32_t message, void* input, HostWord, HostWord) -> HostWord {
        if (message != DRAW_TERMINATE) TermPlatformOffscreen(static_cast<CellDataRequest*>(input));
        return 10;
    };
    const long blocks = support::liveBlocks;
    uint32_t rows = 10;
    EXPECT_EQ(InitPlatformOffscreen(4, &rows, 8, 0, nullptr, &picture, end, nullptr), nullptr);
    EXPECT_EQ(rows, 0u);
    const DrawProc freeIt = [](int32_t message, void* input, HostWord, HostWord) -> HostWord {
        if (message == DRAW_TERMINATE) oxlPtrGlobalFree(input);
        return 10;
    };
    TermPlatformOffscreen(
        InitPlatformOffscreen(4, &rows, 8, 0, nullptr, &picture, freeIt, nullptr));
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST_F(OffscreenHooks, NullArgumentsDoNothing) {
    CellFormat format = {1, 2, 3, 4, 0};
    QueryPlatformOffscreen(&format, &picture, nullptr);
    EXPECT_EQ(format.width, 1);
    EXPECT_EQ(InitPlatformOffscreen(4, nullptr, 8, 0, nullptr, &picture, record, nullptr), nullptr);
    EXPECT_EQ(DrawPlatformOffscreen(nullptr, 0, 1), 0u);
    TermPlatformOffscreen(nullptr);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(OffscreenHooks, MissingCallBackGivesNoRows) {
    uint32_t rows = 10;
    CellDataRequest* offscreen =
        InitPlatformOffscreen(4, &rows, 8, 0, nullptr, &picture, nullptr, nullptr);
    EXPECT_EQ(rows, 0u);
    EXPECT_EQ(DrawPlatformOffscreen(offscreen, 0, 1), 0u);
    TermPlatformOffscreen(offscreen);
}

TEST_F(OffscreenHooks, MissingRecordGivesNoRows) {
    uint32_t rows = 10;
    const FailingCall failing("calloc");
    EXPECT_EQ(InitPlatformOffscreen(4, &rows, 8, 0, nullptr, &picture, record, nullptr), nullptr);
    EXPECT_EQ(rows, 0u);
}

}  // namespace
