// The reply buffer, and the operations of the error stack that answer through it.
#include <cstring>

#include "driver/error_stack.h"
#include "driver/operations.h"
#include "support/byte_list.h"
#include "support/driver_host.h"
#include "support/failing_call.h"

namespace {

using support::Bytes;
using support::DriverHost;
using support::OpcodeBlock;
using support::WordList;

// A host whose reply buffer holds size bytes.
struct ReplyHost : DriverHost {
    explicit ReplyHost(uint32_t size = 64) {
        block[DRIVER_INIT_REPLY_SIZE] = size;
        initialise();
    }
};

void append(const Bytes& bytes) {
    tivar::mov2buf(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

WordList record(uint32_t sequence, int16_t code) {
    return WordList().u32(sequence).u16(static_cast<uint16_t>(code)).u16(0);
}

// ---- mov2buf -----------------------------------------------------------------------------------

TEST(ReplyBuffer, RepliesAccumulateOneBehindTheOther) {
    const ReplyHost host;
    append({1, 2, 3});
    append({});
    append({4, 5});
    EXPECT_EQ(lpEMData->replyPosition, 5u);
    EXPECT_EQ(host.reply(), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(lpEMData->lpReply[5], 0);
}

TEST(ReplyBuffer, ReplyThatDoesNotFitIsCutAndLaterOnesAddNothing) {
    const ReplyHost host(4);
    append({1, 2, 3});
    append({4, 5, 6});
    EXPECT_EQ(host.reply(), (Bytes{1, 2, 3, 4}));
    append({7});
    EXPECT_EQ(lpEMData->replyPosition, 4u);
    EXPECT_EQ(host.reply(), (Bytes{1, 2, 3, 4}));
}

TEST(ReplyBuffer, ReplyThatFitsExactlyIsNotCut) {
    const ReplyHost host(3);
    append({1, 2, 3});
    EXPECT_EQ(host.reply(), (Bytes{1, 2, 3}));
}

TEST(ReplyBuffer, EmptyBufferTakesNothing) {
    const ReplyHost host(0);
    append({1});
    EXPECT_EQ(lpEMData->replyPosition, 0u);
}

TEST(ReplyBuffer, LengthThatPasses32BitsIsCutToTheRoom) {
    const ReplyHost host(8);
    append({1, 2, 3, 4});
    const Bytes source(8, 9);
    tivar::mov2buf(source.data(), 0xFFFFFFFF);
    EXPECT_EQ(host.reply(), (Bytes{1, 2, 3, 4, 9, 9, 9, 9}));
}

TEST(ReplyBuffer, WithoutADeviceStateABufferOrASourceNothingHappens) {
    append({1});
    const ReplyHost host(8);
    tivar::mov2buf(nullptr, 4);
    EXPECT_EQ(lpEMData->replyPosition, 0u);
    uint8_t* buffer = lpEMData->lpReply;
    lpEMData->lpReply = nullptr;
    append({1});
    lpEMData->lpReply = buffer;
    EXPECT_EQ(lpEMData->replyPosition, 0u);
    EXPECT_EQ(buffer[0], 0);
}

TEST(ReplyBuffer, PositionStartsAgainOnlyWithANewDeviceState) {
    ReplyHost host;
    host.send(support::popBlock(0));
    host.send(OP_OPEN);
    host.send(OP_EMPTY_ERRORS);
    host.closeAndTakeFile();
    EXPECT_EQ(lpEMData->replyPosition, 4u);
    host.terminate();
    host.initialise();
    EXPECT_EQ(lpEMData->replyPosition, 0u);
}

// Initialises a full buffer's device once more, by hand, with a smaller one.
TEST(ReplyBuffer, SmallerBufferOfASecondInitialisationTakesNothingAndThePositionBecomesItsSize) {
    ReplyHost host(960);
    host.send(OP_OPEN);
    for (int i = 0; i < 20; ++i) host.send(OP_QUERY_WINDOW);
    ASSERT_EQ(lpEMData->replyPosition, 960u);
    // Kept: nothing frees the first buffer, whose address the host has.
    const support::Block first(lpEMData->hReply);
    host.closeAndTakeFile();
    hCommon = 1;
    lpEMData->deviceState = -1;
    host.block[DRIVER_INIT_REPLY_SIZE] = 4;
    host.initialise();
    hCommon = 0;
    ASSERT_EQ(lpEMData->replyPosition, 960u);
    const long blocks = support::liveBlocks;
    host.send(OP_OPEN);
    host.send(OP_QUERY_WINDOW);
    EXPECT_EQ(lpEMData->replyPosition, 4u);
    EXPECT_EQ(support::blockContents(lpEMData->hReply), Bytes(4));
    host.send(OP_QUERY_WINDOW);
    EXPECT_EQ(lpEMData->replyPosition, 4u);
    host.closeAndTakeFile();
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(ReplyBuffer, NumbersOfTheHostsDoNotLeadOutOfTheBuffer) {
    const ReplyHost host(8);
    append({1, 2, 3});
    lpEMData->replySize = UINT32_MAX;
    append(Bytes(20, 4));
    EXPECT_EQ(lpEMData->replyPosition, 8u);
    EXPECT_EQ(support::blockContents(lpEMData->hReply), (Bytes{1, 2, 3, 4, 4, 4, 4, 4}));
    lpEMData->replyPosition = UINT32_MAX - 1;
    append({5});
    EXPECT_EQ(lpEMData->replyPosition, UINT32_MAX - 1);
}

TEST(ReplyBuffer, PositionBehindTheEndBecomesTheSizeWithoutABufferToo) {
    const ReplyHost host(8);
    lpEMData->replyPosition = 9;
    uint8_t* buffer = lpEMData->lpReply;
    lpEMData->lpReply = nullptr;
    append({1});
    lpEMData->lpReply = buffer;
    EXPECT_EQ(lpEMData->replyPosition, 8u);
}

// ---- The stack summary -------------------------------------------------------------------------

TEST(StackSummary, TellsCountFirstRecordAndOverflows) {
    const ReplyHost host;
    tivar::push_er(303);
    tivar::dq_es();
    EXPECT_EQ(host.reply(), WordList().u32(0).add(record(0, 303).list).u32(1).list);
    EXPECT_EQ(host.reply().size(), 16u);
}

TEST(StackSummary, TwoErrorsLeaveTheSecondOneAndTwoOverflows) {
    const ReplyHost host;
    tivar::push_er(300);
    tivar::push_er(901);
    tivar::dq_es();
    EXPECT_EQ(host.reply(), WordList().u32(0).add(record(0, 901).list).u32(2).list);
}

TEST(StackSummary, EmptyingKeepsTheFirstRecord) {
    ReplyHost host;
    tivar::push_er(303);
    EXPECT_EQ(host.send(OP_EMPTY_ERRORS), 0);
    tivar::dq_es();
    EXPECT_EQ(host.reply(), WordList().u32(0).add(record(0, 303).list).u32(0).list);
}

TEST(StackSummary, BufferOfTenBytesReceivesTheFirstTen) {
    const ReplyHost host(10);
    tivar::push_er(303);
    tivar::dq_es();
    EXPECT_EQ(host.reply(), WordList().u32(0).u32(0).u16(303).list);
    tivar::dq_es();
    EXPECT_EQ(host.reply().size(), 10u);
}

TEST(StackSummary, NegativeCodesAndSequencesAreCopiedAsTheyAre) {
    const ReplyHost host;
    lpEMData->currentSequence = 0x11223344;
    tivar::push_er(-2);
    tivar::dq_es();
    EXPECT_EQ(host.reply(), WordList().u32(0).add(record(0x11223344, -2).list).u32(1).list);
}

TEST(StackSummary, OpcodeOfTheErrorQueryIsAnsweredByNothing) {
    ReplyHost host;
    EXPECT_EQ(host.send(3841), 0);
    EXPECT_EQ(lpEMData->replyPosition, 0u);
    host.terminate();
    tivar::dq_es();
}

// ---- Popping and emptying ----------------------------------------------------------------------

TEST(PopErrors, RepliesAZeroAndNothingElseAsTheStackNeverHoldsAny) {
    for (const int32_t wanted : {5, 1, 0, INT32_MAX}) {
        ReplyHost host;
        tivar::push_er(303);
        EXPECT_EQ(host.send(support::popBlock(wanted)), 0);
        EXPECT_EQ(host.reply(), WordList().u32(0).list) << wanted;
    }
}

TEST(PopErrors, NegativeCountIsRepliedAndPopsNothing) {
    ReplyHost host;
    EXPECT_EQ(host.send(support::popBlock(-5)), 0);
    EXPECT_EQ(host.reply(), WordList().u32(0xFFFFFFFB).list);
    EXPECT_EQ(lpEMData->errors.count, 0);
}

TEST(PopErrors, EntriesComeOutNewestFirst) {
    ReplyHost host;
    lpEMData->errors.capacity = 10;
    for (uint32_t i = 1; i <= 4; ++i) {
        lpEMData->currentSequence = i;
        tivar::push_er(static_cast<int16_t>(100 * i));
    }
    EXPECT_EQ(host.send(support::popBlock(2)), 0);
    EXPECT_EQ(lpEMData->errors.count, 2);
    EXPECT_EQ(host.reply(),
              WordList().u32(2).add(record(4, 400).list).add(record(3, 300).list).list);
    EXPECT_EQ(host.send(support::popBlock(7)), 0);
    EXPECT_EQ(lpEMData->errors.count, 0);
    EXPECT_EQ(host.reply(20),
              WordList().u32(2).add(record(2, 200).list).add(record(1, 100).list).list);
}

TEST(PopErrors, NullBlockRepliesNothing) {
    const ReplyHost host;
    EXPECT_EQ(tivar::d_popes(nullptr), nullptr);
    EXPECT_EQ(lpEMData->replyPosition, 0u);
}

TEST(EmptyErrors, ClearsCountsAndLastErrorOnly) {
    ReplyHost host;
    lpEMData->errors = {7, 303, 10, 2, 5, {1, 300, 0}, {{1, 300, 0}, {7, 303, 0}}};
    OpcodeBlock block(OP_EMPTY_ERRORS);
    EXPECT_EQ(tivar::d_empes(block.data()), block.data());
    const ErrorStack expected = {0, 0, 10, 0, 0, {1, 300, 0}, {{1, 300, 0}, {7, 303, 0}}};
    EXPECT_EQ(std::memcmp(&lpEMData->errors, &expected, sizeof expected), 0);
}

}  // namespace
