#include "export/platform_offscreen.h"

#include <tivar/export.h>

#include <algorithm>

#include "support/failing_call.h"
#include "support/host_word.h"

namespace {

using support::asWord;
using support::FailingCall;

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
