// What loading, unloading and loading again does to the process.
#include "isolation/loaded_library.h"
#include "support/open_files.h"

namespace {

using namespace isolation;

// What a process may pile up.
struct Footprint {
    long residentPages;
    size_t files;
    size_t mappings;
};

Footprint footprint() {
    Footprint now = {};
    long total = 0;
    std::ifstream("/proc/self/statm") >> total >> now.residentPages;
    now.files = support::openFiles();
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) ++now.mappings;
    return now;
}

int32_t loadExportAndUnload(const DrawnPicture& picture, bool byDriver) {
    const LoadedLibrary library;
    const model::Settings settings = settingsOf(219, 228, 331);
    return byDriver ? exportByDriver(library, picture, settings).code
                    : exportByFilter(library, picture, settings).code;
}

TEST(Loading, TheLibraryIsGoneAfterItsLastUse) {
    { const LoadedLibrary library; }
    EXPECT_EQ(dlopen(TIVAR_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST(Loading, TenThousandTimesWithAnExportEachGrowsNothing) {
#ifdef TIVAR_SANITIZED
    GTEST_SKIP() << "the sanitizer keeps what was freed";
#endif
    constexpr int kTimes = 10000;
    constexpr int kWarmUp = 1000;
    constexpr long kPagesOfAMegabyte = 256;
    const DrawnPicture picture = drawPicture(Drawing::kNoise, 8, 12, 9, 1);
    Footprint early = {};
    for (int i = 0; i < kTimes; ++i) {
        if (i == kWarmUp) early = footprint();
        ASSERT_EQ(loadExportAndUnload(picture, i % 2 == 0), 0);
    }
    const Footprint late = footprint();
    EXPECT_LT(late.residentPages, early.residentPages + kPagesOfAMegabyte);
    EXPECT_EQ(late.files, early.files);
    EXPECT_EQ(late.mappings, early.mappings);
}

TEST(Loading, CopiesInNamespacesOfTheirOwnWorkSideBySide) {
#ifdef TIVAR_SANITIZED
    GTEST_SKIP() << "a namespace of its own has no sanitizer";
#endif
    const LoadedLibrary first;
    const LoadedLibrary second(kOwnNamespace);
    const LoadedLibrary third(kOwnNamespace);
    EXPECT_NE(first.find("lpEMData"), second.find("lpEMData"));
    EXPECT_NE(second.find("lpEMData"), third.find("lpEMData"));
    const DrawnPicture one = drawPicture(Drawing::kNoise, 8, 30, 20, 1);
    const DrawnPicture two = drawPicture(Drawing::kRuns, 8, 17, 33, 2);
    const model::Settings plain = settingsOf(221, 310, 331);
    const model::Settings os2 = settingsOf(221, 310, 332);
    LoadedDevice deviceOne(first, plain);
    LoadedDevice deviceTwo(second, os2);
    LoadedDevice deviceThree(third, plain);
    EXPECT_EQ(deviceTwo.sendPicture(two), 0);
    EXPECT_EQ(deviceOne.sendPicture(one), 0);
    // The export call of one copy does not disturb the devices of the others, nor its own.
    for (const LoadedLibrary* library : {&first, &second, &third})
        EXPECT_EQ(exportByFilter(*library, two, os2).file, expectedByFilter(two, os2));
    EXPECT_EQ(deviceThree.sendPicture(two), 0);
    EXPECT_EQ(deviceOne.finish().file, expectedByDriver(one, plain));
    EXPECT_EQ(deviceTwo.finish().file, expectedByDriver(two, os2));
    EXPECT_EQ(deviceThree.finish().file, expectedByDriver(two, plain));
}

}  // namespace
