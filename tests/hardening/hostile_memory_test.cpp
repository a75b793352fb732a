#include "hardening/export_list.h"
#include "hardening/hostile.h"

// A block that cannot be had is an everyday event here, also for the sanitizer, which takes seconds
// to mark gigabytes that nobody uses.
extern "C" const char* __asan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=512";
}

namespace {

using namespace hardening;

TEST(HostileSymbols, EveryExportedSymbolHasATestOfItsName) {
    std::set<std::string> tested;
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *all.GetTestSuite(i);
        if (std::string(suite.name()) != "HostileArguments") continue;
        for (int k = 0; k < suite.total_test_count(); ++k)
            tested.insert(suite.GetTestInfo(k)->name());
    }
    EXPECT_EQ(tested, exportedSymbols());
}

// Sizes whose block passes 32 bits are refused without a message.
TEST(HostileArguments, GlobalAlloc) {
    support::CapturedText said(stdout);
    for (const uint32_t size : {kHuge, kHuge - 1, kHuge - 20})
        EXPECT_EQ(GlobalAlloc(TIVAR_GMEM_FLAGS, size), 0u);
    EXPECT_EQ(said.text(), "");
    const Block none(GlobalAlloc(kHuge, 0));
    EXPECT_NE(none.handle, 0u);
    EXPECT_EQ(GlobalSize(none.handle), 0u);
}

TEST(HostileArguments, GlobalCompact) {
    EXPECT_EQ(GlobalCompact(0), 0x10000u);
    EXPECT_EQ(GlobalCompact(kHuge), kHuge);
}

TEST(HostileArguments, GlobalFree) {
    EXPECT_EQ(GlobalFree(0), 0u);
}

TEST(HostileArguments, GlobalHandle) {
    EXPECT_EQ(GlobalHandle(nullptr), 0u);
}

TEST(HostileArguments, GlobalLock) {
    EXPECT_EQ(GlobalLock(0), nullptr);
}

TEST(HostileArguments, GlobalPointerToHandle) {
    const Block none(GlobalPointerToHandle(nullptr, kHuge));
    ASSERT_NE(none.handle, 0u);
    EXPECT_EQ(GlobalLock(none.handle), nullptr);
    EXPECT_EQ(GlobalSize(none.handle), kHuge);
}

TEST(HostileArguments, GlobalReAlloc) {
    EXPECT_EQ(GlobalReAlloc(0, 5, TIVAR_GMEM_FLAGS), 0u);
    EXPECT_EQ(GlobalReAlloc(support::newBlock({1, 2}), kHuge, kHuge), 0u)
        << "and the block is gone";
    const Block emptied(GlobalReAlloc(support::newBlock({1, 2}), 0, 0));
    EXPECT_NE(emptied.handle, 0u);
    EXPECT_EQ(GlobalSize(emptied.handle), 0u);
}

TEST(HostileArguments, GlobalSize) {
    EXPECT_EQ(GlobalSize(0), 0u);
}

TEST(HostileArguments, GlobalUnlock) {
    const Block block(Bytes{1});
    for (int i = 0; i < 3; ++i) EXPECT_EQ(GlobalUnlock(block.handle), 0);
    EXPECT_EQ(GlobalUnlock(0), 0);
}

TEST(HostileArguments, oxlPtrGlobalAlloc) {
    EXPECT_EQ(oxlPtrGlobalAlloc(0), nullptr);
    EXPECT_EQ(oxlPtrGlobalAlloc(kHuge), nullptr);
}

TEST(HostileArguments, oxlPtrGlobalFree) {
    EXPECT_EQ(oxlPtrGlobalFree(nullptr), 0u);
}

TEST(HostileArguments, oxlPtrGlobalHandle) {
    EXPECT_EQ(oxlPtrGlobalHandle(nullptr), 0u);
}

TEST(HostileArguments, oxlPtrGlobalReAlloc) {
    EXPECT_EQ(oxlPtrGlobalReAlloc(nullptr, 0, kHuge), nullptr);
    EXPECT_EQ(oxlPtrGlobalReAlloc(nullptr, kHuge, 0), nullptr);
    EXPECT_EQ(oxlPtrGlobalReAlloc(oxlPtrGlobalAlloc(4), 0, 0), nullptr);
    EXPECT_EQ(oxlPtrGlobalReAlloc(oxlPtrGlobalAlloc(4), kHuge, 0), nullptr);
}

}  // namespace
