#include "export/output_target.h"

#include <gtest/gtest.h>
#include <tivar/memory.h>
#include <tivar/stream.h>

#include "support/failing_call.h"

namespace {

struct MemoryTarget {
    ~MemoryTarget() { GlobalFree(GlobalHandle(memory)); }
    tivar::TargetResult open() { return tivar::openOutputTarget({"", 0, 0, &memory}, &stream); }
    uint32_t size() const { return GlobalSize(GlobalHandle(memory)); }

    void* memory = nullptr;
    OxlStream stream = 0;
};

TEST(OutputTarget, MemoryBeginsAsOneZeroByte) {
    MemoryTarget target;
    ASSERT_EQ(target.open(), tivar::kTargetOpened);
    EXPECT_EQ(target.size(), 1u);
    EXPECT_EQ(*static_cast<uint8_t*>(target.memory), 0);
    EXPECT_EQ(oxlClose(target.stream), 0);
}

TEST(OutputTarget, MemoryThatCannotGrowStaysAsItBegan) {
    MemoryTarget target;
    ASSERT_EQ(target.open(), tivar::kTargetOpened);
    {
        const support::FailingCall failing("realloc", 1, support::Failure::kFromThenOn);
        EXPECT_EQ(oxlWrite(target.stream, "file", 4), -1);
        oxlClose(target.stream);
    }
    EXPECT_EQ(target.size(), 1u);
    EXPECT_EQ(*static_cast<uint8_t*>(target.memory), 0);
}

}  // namespace
