#include "base/memory.h"

#include <cstdlib>
#include <cstring>

#include "support/failing_call.h"

namespace {

using support::FailingCall;
using support::lastAllocation;

constexpr bool kWords32 = sizeof(void*) == 4;

// The header in front of every block, as the interface lays it out.
struct Header {
    uint32_t size;
    uint32_t flags;
    uint32_t lockField;
    uint8_t* data;
    uint8_t dataOffset;
};

Header headerOf(MemHandle handle) {
    Header header;
    std::memcpy(&header, reinterpret_cast<const void*>(handle), sizeof header);
    return header;
}

uint8_t* lock(MemHandle handle) {
    return static_cast<uint8_t*>(GlobalLock(handle));
}

std::string bytesOf(MemHandle handle) {
    const uint8_t* data = lock(handle);
    return {data, data + GlobalSize(handle)};
}

MemHandle blockOf(const std::string& bytes) {
    const MemHandle handle = GlobalAlloc(TIVAR_GMEM_FLAGS, static_cast<uint32_t>(bytes.size()));
    std::memcpy(GlobalLock(handle), bytes.data(), bytes.size());
    return handle;
}

TEST(GlobalAlloc, AnEmptyBlockIsValid) {
    const MemHandle handle = GlobalAlloc(66, 0);
    ASSERT_NE(handle, 0u);
    if (kWords32) {
        EXPECT_EQ(lastAllocation, 32u);
    }
    EXPECT_EQ(GlobalSize(handle), 0u);
    EXPECT_NE(GlobalLock(handle), nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(GlobalLock(handle)) % 8, 0u);
    GlobalFree(handle);
}

TEST(GlobalAlloc, TheSettingsRecordTakes176EightsAndStartsBehindItsHeader) {
    const MemHandle handle = GlobalAlloc(66, 1376);
    const uint8_t* data = lock(handle);
    if (kWords32) {
        EXPECT_EQ(lastAllocation, 176u * 8);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(data), handle + 24);
        EXPECT_EQ(data[-1], 24);
    }
    EXPECT_EQ(data[-1], reinterpret_cast<uintptr_t>(data) - handle);
    GlobalFree(handle);
}

TEST(GlobalAlloc, EveryBlockHoldsHeaderBackByteDataAndSlack) {
    for (uint32_t size = 0; size < 100; ++size) {
        SCOPED_TRACE(size);
        const MemHandle handle = GlobalAlloc(66, size);
        const size_t bytes = lastAllocation;
        if (kWords32) {
            EXPECT_EQ(bytes, (size + 34) / 8 * 8);
        }
        EXPECT_EQ(bytes % 8, 0u);
        const uint8_t* data = lock(handle);
        const auto offset = static_cast<size_t>(reinterpret_cast<uintptr_t>(data) - handle);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 8, 0u);
        EXPECT_GT(offset, offsetof(Header, dataOffset) + 1);
        // Bitmaps rely on four bytes behind their rows.
        ASSERT_GE(bytes, offset + size + (size % 4 == 0 ? 4 : 0));
        for (size_t i = 0; i < bytes - offset; ++i) EXPECT_EQ(data[i], 0) << i;
        GlobalFree(handle);
    }
}

TEST(GlobalAlloc, MemoryIsZeroWhateverTheFlagsAndWhateverWasThereBefore) {
    for (const uint32_t flags : {0u, 2u, 64u, 66u, 0xFFFFFFFFu}) {
        void* used = std::malloc(200);
        std::memset(used, 0xA5, 200);
        std::free(used);
        const MemHandle handle = GlobalAlloc(flags, 150);
        EXPECT_EQ(bytesOf(handle), std::string(150, '\0')) << flags;
        GlobalFree(handle);
    }
}

TEST(GlobalAlloc, TheHeaderRecordsSizeFlagsAndPlaceOfTheData) {
    const MemHandle handle = GlobalAlloc(0x12345678, 77);
    const Header header = headerOf(handle);
    EXPECT_EQ(header.size, 77u);
    EXPECT_EQ(header.flags, 0x12345678u);
    EXPECT_EQ(header.lockField, 0u);
    EXPECT_EQ(header.data, lock(handle));
    EXPECT_EQ(header.dataOffset, reinterpret_cast<uintptr_t>(header.data) - handle);
    GlobalFree(handle);
}

TEST(GlobalAlloc, AnExhaustedHeapIsReportedOnStandardOutput) {
    testing::internal::CaptureStdout();
    MemHandle handle = 1;
    {
        const FailingCall noMemory("calloc");
        handle = GlobalAlloc(66, 1376);
    }
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(handle, 0u);
    std::string expected = "GloalAlloc function failed due to insufficient memory: needs ";
    expected += std::to_string(kWords32 ? 1408 : lastAllocation);
    expected += " bytes memory!!\n";
    EXPECT_EQ(output, expected);
}

TEST(GlobalAlloc, ASizeWhoseBlockPasses32BitsIsRefusedSilently) {
    for (const uint32_t size : {0xFFFFFFDEu, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        testing::internal::CaptureStdout();
        lastAllocation = 1;
        EXPECT_EQ(GlobalAlloc(66, size), 0u) << size;
        EXPECT_EQ(lastAllocation, 1u);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    }
}

TEST(GlobalAlloc, TheLargestSizeIsAskedForAndNotWrapped) {
    testing::internal::CaptureStdout();
    {
        const FailingCall noMemory("calloc");
        EXPECT_EQ(GlobalAlloc(66, 0xFFFFFF00), 0u);
        EXPECT_TRUE(noMemory.happened());
    }
    EXPECT_GE(lastAllocation, 0xFFFFFF00u);
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST(GlobalLock, LocksDoNotCount) {
    const MemHandle handle = GlobalAlloc(66, 10);
    void* data = GlobalLock(handle);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(GlobalLock(handle), data);
    EXPECT_EQ(GlobalUnlock(handle), 0);
    EXPECT_EQ(GlobalUnlock(handle), 0);
    EXPECT_EQ(headerOf(handle).lockField, 0u);
    EXPECT_EQ(GlobalLock(handle), data);
    EXPECT_EQ(GlobalFree(handle), 0u);
}

TEST(GlobalLock, EveryLockWritesTheByteThatLeadsBackToTheHandle) {
    const MemHandle handle = GlobalAlloc(66, 10);
    uint8_t* data = lock(handle);
    data[-1] = 0;
    EXPECT_EQ(lock(handle), data);
    EXPECT_EQ(GlobalHandle(data), handle);
    GlobalFree(handle);
}

TEST(GlobalHandle, LeadsFromTheLockedAddressToTheHandle) {
    for (const uint32_t size : {0u, 1u, 7u, 8u, 1376u, 100000u}) {
        const MemHandle handle = GlobalAlloc(66, size);
        EXPECT_EQ(GlobalHandle(GlobalLock(handle)), handle) << size;
        EXPECT_EQ(oxlPtrGlobalHandle(GlobalLock(handle)), handle) << size;
        GlobalFree(handle);
    }
}

TEST(MovableMemory, HandleZeroAndNullGiveTheFailureValue) {
    EXPECT_EQ(GlobalLock(0), nullptr);
    EXPECT_EQ(GlobalUnlock(0), 0);
    EXPECT_EQ(GlobalFree(0), 0u);
    EXPECT_EQ(GlobalSize(0), 0u);
    EXPECT_EQ(GlobalHandle(nullptr), 0u);
    EXPECT_EQ(oxlPtrGlobalHandle(nullptr), 0u);
    EXPECT_EQ(oxlPtrGlobalFree(nullptr), 0u);
    lastAllocation = 1;
    EXPECT_EQ(GlobalReAlloc(0, 10, 66), 0u);
    EXPECT_EQ(lastAllocation, 1u);
}

TEST(GlobalReAlloc, ContentsAreCutOrExtendedWithZeros) {
    for (const uint32_t size : {0u, 3u, 6u, 7u, 100u, 50000u}) {
        SCOPED_TRACE(size);
        const MemHandle handle = GlobalReAlloc(blockOf("abcdef"), size, 0x99);
        ASSERT_NE(handle, 0u);
        std::string expected = "abcdef";
        expected.resize(size);
        EXPECT_EQ(bytesOf(handle), expected);
        EXPECT_EQ(GlobalSize(handle), size);
        EXPECT_EQ(headerOf(handle).flags, 0x99u);
        EXPECT_EQ(GlobalHandle(GlobalLock(handle)), handle);
        GlobalFree(handle);
    }
}

TEST(GlobalReAlloc, TheHandleAlwaysChanges) {
    const MemHandle handle = blockOf("abcdef");
    const MemHandle resized = GlobalReAlloc(handle, 6, 66);
    EXPECT_NE(resized, handle);
    GlobalFree(resized);
}

// That the old block is freed is the leak checker's to say.
TEST(GlobalReAlloc, TheOldBlockIsGoneAlsoWhenThereIsNoMemory) {
    testing::internal::CaptureStdout();
    const MemHandle handle = blockOf("abcdef");
    const MemHandle other = blockOf("ghijkl");
    {
        const FailingCall noMemory("calloc");
        EXPECT_EQ(GlobalReAlloc(handle, 3, 66), 0u);
        EXPECT_TRUE(noMemory.happened());
    }
    EXPECT_EQ(GlobalReAlloc(other, 0xFFFFFFFF, 66), 0u);
    testing::internal::GetCapturedStdout();
}

TEST(GlobalCompact, ReturnsItsArgumentOr64K) {
    EXPECT_EQ(GlobalCompact(0), 0x10000u);
    EXPECT_EQ(GlobalCompact(5), 5u);
    EXPECT_EQ(GlobalCompact(0xFFFFFFFF), 0xFFFFFFFFu);
}

TEST(GlobalPointerToHandle, WrapsTheCallersMemory) {
    std::vector<uint8_t> memory(1000, 0x5A);
    uint8_t* middle = memory.data() + 500;
    const MemHandle handle = GlobalPointerToHandle(middle, 123);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(GlobalLock(handle), middle);
    EXPECT_EQ(GlobalLock(handle), middle);
    EXPECT_EQ(GlobalUnlock(handle), 0);
    EXPECT_EQ(GlobalSize(handle), 123u);
    EXPECT_EQ(tivar::blockRoom(handle), 123u);
    EXPECT_NE(GlobalHandle(middle), handle);
    EXPECT_EQ(GlobalFree(handle), 0u);
    EXPECT_EQ(memory, std::vector<uint8_t>(1000, 0x5A));
}

TEST(GlobalPointerToHandle, WithoutMemoryThereIsNoHandle) {
    int value = 0;
    const FailingCall noMemory("calloc");
    EXPECT_EQ(GlobalPointerToHandle(&value, sizeof value), 0u);
}

TEST(PointerMemory, APointerIsALockedBlock) {
    auto* pointer = static_cast<char*>(oxlPtrGlobalAlloc(40));
    ASSERT_NE(pointer, nullptr);
    const MemHandle handle = GlobalHandle(pointer);
    EXPECT_EQ(GlobalSize(handle), 40u);
    EXPECT_EQ(headerOf(handle).flags, 66u);
    EXPECT_EQ(GlobalLock(handle), pointer);
    EXPECT_EQ(std::string(pointer, 40), std::string(40, '\0'));
    EXPECT_EQ(oxlPtrGlobalFree(pointer), 0u);
}

TEST(PointerMemory, SizeZeroAllocatesNothing) {
    lastAllocation = 1;
    EXPECT_EQ(oxlPtrGlobalAlloc(0), nullptr);
    EXPECT_EQ(oxlPtrGlobalReAlloc(nullptr, 0, 66), nullptr);
    EXPECT_EQ(lastAllocation, 1u);
}

TEST(PointerMemory, SizeZeroFreesWhatWasThere) {
    lastAllocation = 1;
    void* pointer = oxlPtrGlobalAlloc(8);
    lastAllocation = 1;
    const long blocks = support::liveBlocks;
    EXPECT_EQ(oxlPtrGlobalReAlloc(pointer, 0, 66), nullptr);
    EXPECT_EQ(support::liveBlocks, blocks - 1);
    EXPECT_EQ(lastAllocation, 1u);
}

TEST(PointerMemory, LocksDoNotKeepAPointerFromBeingFreed) {
    void* pointer = oxlPtrGlobalAlloc(8);
    for (int i = 0; i < 3; ++i) GlobalLock(GlobalHandle(pointer));
    EXPECT_EQ(oxlPtrGlobalFree(pointer), 0u);
}

TEST(PointerMemory, ReallocationOfNullAllocatesWithTheUsualFlags) {
    void* pointer = oxlPtrGlobalReAlloc(nullptr, 12, 0x77);
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(headerOf(GlobalHandle(pointer)).flags, 66u);
    oxlPtrGlobalFree(pointer);
}

TEST(PointerMemory, ReallocationKeepsWhatFits) {
    auto* pointer = static_cast<char*>(oxlPtrGlobalAlloc(4));
    std::memcpy(pointer, "wxyz", 4);
    pointer = static_cast<char*>(oxlPtrGlobalReAlloc(pointer, 6, 0x77));
    EXPECT_EQ(std::string(pointer, 6), std::string("wxyz\0\0", 6));
    EXPECT_EQ(headerOf(GlobalHandle(pointer)).flags, 0x77u);
    pointer = static_cast<char*>(oxlPtrGlobalReAlloc(pointer, 2, 66));
    EXPECT_EQ(std::string(pointer, 2), "wx");
    oxlPtrGlobalFree(pointer);
}

TEST(PointerMemory, WithoutMemoryTheResultIsNull) {
    testing::internal::CaptureStdout();
    void* pointer = oxlPtrGlobalAlloc(4);
    {
        const FailingCall noMemory("calloc");
        EXPECT_EQ(oxlPtrGlobalReAlloc(pointer, 6, 66), nullptr);
    }
    {
        const FailingCall noMemory("calloc");
        EXPECT_EQ(oxlPtrGlobalAlloc(4), nullptr);
    }
    EXPECT_EQ(oxlPtrGlobalAlloc(0xFFFFFFFF), nullptr);
    testing::internal::GetCapturedStdout();
}

TEST(AllocateQuietly, SaysNothingWhenTheHeapIsExhausted) {
    testing::internal::CaptureStdout();
    {
        const FailingCall noMemory("calloc");
        EXPECT_EQ(tivar::allocateQuietly(66, 100), 0u);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ResizeBlock, KeepsContentsFlagsAndTheWayBack) {
    for (const uint32_t size : {0u, 3u, 6u, 100u, 500000u}) {
        SCOPED_TRACE(size);
        const MemHandle handle = tivar::resizeBlock(blockOf("abcdef"), size);
        ASSERT_NE(handle, 0u);
        EXPECT_EQ(GlobalSize(handle), size);
        EXPECT_EQ(headerOf(handle).flags, 66u);
        const uint32_t kept = size < 6 ? size : 6;
        EXPECT_EQ(bytesOf(handle).substr(0, kept), std::string("abcdef").substr(0, kept));
        EXPECT_EQ(GlobalHandle(GlobalLock(handle)), handle);
        EXPECT_GE(tivar::blockRoom(handle), size);
        std::memset(GlobalLock(handle), 1, tivar::blockRoom(handle));
        GlobalFree(handle);
    }
}

TEST(ResizeBlock, AFailureLeavesTheBlockAsItWas) {
    const MemHandle handle = blockOf("abcdef");
    EXPECT_EQ(tivar::resizeBlock(0, 10), 0u);
    EXPECT_EQ(tivar::resizeBlock(handle, 0xFFFFFFFF), 0u);
    {
        const FailingCall noMemory("realloc");
        EXPECT_EQ(tivar::resizeBlock(handle, 10), 0u);
        EXPECT_TRUE(noMemory.happened());
    }
    EXPECT_EQ(bytesOf(handle), "abcdef");
    GlobalFree(handle);
}

TEST(BlockRoom, ReachesToTheEndOfTheBlocksMemory) {
    EXPECT_EQ(tivar::blockRoom(0), 0u);
    for (const uint32_t size : {0u, 1u, 5u, 8u, 1376u}) {
        const MemHandle handle = GlobalAlloc(66, size);
        const size_t offset = reinterpret_cast<uintptr_t>(GlobalLock(handle)) - handle;
        EXPECT_EQ(tivar::blockRoom(handle), lastAllocation - offset) << size;
        GlobalFree(handle);
    }
}

TEST(MemoryGuards, ALockedBlockIsUsedThroughItsGuard) {
    const MemHandle handle = blockOf("abcd");
    {
        const tivar::Locked<char> locked(handle);
        EXPECT_TRUE(static_cast<bool>(locked));
        EXPECT_EQ(*locked, 'a');
        EXPECT_EQ(locked.data, GlobalLock(handle));
    }
    EXPECT_FALSE(static_cast<bool>(tivar::Locked<char>(0)));
    EXPECT_EQ(bytesOf(handle), "abcd");
    GlobalFree(handle);
}

TEST(MemoryGuards, APinnedBlockIsGoneAtOnceAndItsMemoryWithTheLastPin) {
    const long blocks = support::liveBlocks;
    {
        const MemHandle handle = blockOf("rows");
        const tivar::Pinned<char> first(handle);
        {
            const tivar::Pinned<char> second(handle);
            EXPECT_FALSE(second.gone());
            EXPECT_EQ(GlobalFree(handle), 0u);
            EXPECT_TRUE(second.gone());
        }
        EXPECT_TRUE(first.gone());
        EXPECT_EQ(GlobalLock(handle), nullptr);
        EXPECT_EQ(GlobalSize(handle), 0u);
        EXPECT_EQ(GlobalReAlloc(handle, 9, 0), 0u);
        EXPECT_EQ(tivar::resizeBlock(handle, 9), 0u);
        EXPECT_EQ(tivar::blockRoom(handle), 0u);
        EXPECT_EQ(GlobalFree(handle), 0u) << "a second time";
        EXPECT_EQ(std::string(first.data, 4), "rows");
    }
    EXPECT_EQ(support::liveBlocks, blocks);
}

TEST(MemoryGuards, APinnedBlockThatNobodyFreesStays) {
    const MemHandle handle = blockOf("rows");
    { const tivar::Pinned<char> pin(handle); }
    EXPECT_EQ(bytesOf(handle), "rows");
    GlobalFree(handle);
    const tivar::Pinned<char> none(0);
    EXPECT_FALSE(none);
    EXPECT_FALSE(none.gone());
}

TEST(MemoryGuards, ResizingAPinnedBlockMovesItAndKeepsTheOldBytesForThePin) {
    for (const bool inPlace : {false, true}) {
        const MemHandle handle = blockOf("rows");
        const tivar::Pinned<char> pin(handle);
        const MemHandle moved =
            inPlace ? tivar::resizeBlock(handle, 2) : GlobalReAlloc(handle, 2, 0);
        EXPECT_NE(moved, handle);
        EXPECT_TRUE(pin.gone());
        EXPECT_EQ(bytesOf(moved), "ro");
        EXPECT_EQ(std::string(pin.data, 4), "rows");
        GlobalFree(moved);
    }
}

TEST(MemoryGuards, AnOwnedBlockGoesWithItsGuardUnlessReleased) {
    MemHandle kept = 0;
    {
        tivar::OwnedBlock released(tivar::allocateZeroed(5));
        const tivar::OwnedBlock dropped(tivar::allocateZeroed(5));
        EXPECT_TRUE(static_cast<bool>(dropped));
        kept = released.release();
    }
    EXPECT_FALSE(static_cast<bool>(tivar::OwnedBlock(0)));
    EXPECT_EQ(bytesOf(kept), std::string(5, '\0'));
    GlobalFree(kept);
}

}  // namespace
