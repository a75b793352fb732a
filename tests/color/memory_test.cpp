#include <tivar/color.h>

#include <type_traits>

#include "support/failing_call.h"
#include "support/memory_block.h"

namespace {

using support::Block;
using support::Bytes;
using support::FailingCall;

static_assert(std::is_same_v<decltype(_debug_color_res), int16_t>);

TEST(DebugLevel, StartsAtZero) {
    EXPECT_EQ(_debug_color_res, 0);
}

TEST(GetMemory, GivesElementSizeTimesCountZeroedBytes) {
    const Block block(rlGetMemory(3, 5));
    ASSERT_NE(block.handle, 0u);
    EXPECT_EQ(block.contents(), Bytes(15, 0));
}

TEST(GetMemory, OfNoBytesIsAValidBlock) {
    const Block none(rlGetMemory(4, 0));
    const Block empty(rlGetMemory(0, 7));
    EXPECT_NE(none.handle, 0u);
    EXPECT_NE(empty.handle, 0u);
    EXPECT_EQ(GlobalSize(none.handle), 0u);
    EXPECT_EQ(GlobalSize(empty.handle), 0u);
}

TEST(GetMemory, RefusesSizesThat32BitsDoNotHold) {
    EXPECT_EQ(rlGetMemory(-1, 5), 0u);
    EXPECT_EQ(rlGetMemory(-32768, 1), 0u);
    EXPECT_EQ(rlGetMemory(2, 0x80000000u), 0u);
    EXPECT_EQ(rlGetMemory(32767, 0xFFFFFFFFu), 0u);
    EXPECT_EQ(rlGetMemory(1, 0xFFFFFFFFu), 0u);
}

TEST(GetMemory, IsZeroWhenTheHeapIsExhausted) {
    testing::internal::CaptureStdout();
    {
        const FailingCall failing("calloc");
        EXPECT_EQ(rlGetMemory(1, 100), 0u);
        EXPECT_TRUE(failing.happened());
    }
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST(LockMemory, GivesTheAddressOfGlobalLock) {
    const Block block(Bytes{1, 2, 3});
    EXPECT_EQ(rlLockMemory(block.handle), GlobalLock(block.handle));
    EXPECT_EQ(rlLockMemory(0), nullptr);
}

TEST(UnlockMemory, IsZero) {
    const Block block(Bytes{1});
    rlLockMemory(block.handle);
    EXPECT_EQ(rlUnlockMemory(block.handle), 0);
    EXPECT_EQ(rlUnlockMemory(0), 0);
}

TEST(FreeNewData, TellsWhetherThereWasABlock) {
    EXPECT_EQ(rlFreeNewData(rlGetMemory(1, 8)), 1);
    EXPECT_EQ(rlFreeNewData(0), 0);
}

TEST(PointerToHandle, LeadsFromTheLockedAddressToTheHandle) {
    const Block block(Bytes{1, 2, 3});
    EXPECT_EQ(rlPointertoHandle(rlLockMemory(block.handle)), block.handle);
    EXPECT_EQ(rlPointertoHandle(nullptr), 0u);
}

}  // namespace
