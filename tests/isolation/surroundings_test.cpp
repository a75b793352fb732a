// Surroundings that a host may have made poor: its locale, standard streams, descriptors, stacks.
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <functional>

#include "isolation/loaded_library.h"
#include "support/child_process.h"
#include "support/environment.h"
#include "support/open_files.h"
#include "support/temp_directory.h"

namespace {

using namespace isolation;
using support::TempDirectory;

const DrawnPicture& somePicture() {
    static const DrawnPicture picture = drawPicture(Drawing::kNoise, 8, 60, 50, 1);
    return picture;
}

Bytes fileIn(const TempDirectory& directory, const char* name) {
    const std::string text = directory.read(name);
    return Bytes(text.begin(), text.end());
}

struct Surroundings : testing::Test {
    bool exportsRightly(const char* name = "out.bmp") const {
        const model::Settings settings = settingsOf(219, 228, 331);
        const std::string path = directory.path(name);
        return exportByFilter(library, somePicture(), settings, path.c_str()).code == 0 &&
               fileIn(directory, name) == expectedByFilter(somePicture(), settings);
    }

    const TempDirectory directory;
    const support::WorkingDirectory current{directory.path()};
    const support::EnvironmentVariable noIniDir{"INIDIR"};
    const support::EnvironmentVariable noDisplay{"DISPLAYINFO"};
    const LoadedLibrary library;
};

TEST_F(Surroundings, ALocaleWithACommaChangesNoNumber) {
    const support::CommaLocale comma;
    ASSERT_TRUE(comma.active());
    directory.write("p.ini", "[m]\nDriver=TIVAR.1\nWidth=3.25\nHeight=2.5\n");
    const MemHandle setup = LOADED(library, CreateSetup)(0, "p.ini", "m", nullptr);
    const auto* record = static_cast<const SetupRecord*>(LOADED(library, GlobalLock)(setup));
    EXPECT_EQ(record->pictureWidth, 3.25);
    EXPECT_EQ(record->pictureHeight, 2.5);
    double height = 1.75;
    EXPECT_EQ(LOADED(library, xEscapeSetup)(setup, 14, sizeof height, &height, nullptr, 1), 1);
    LOADED(library, DestroySetup)(setup);
    EXPECT_NE(directory.read("p.ini").find("1.75"), std::string::npos);
    EXPECT_TRUE(exportsRightly());
}

TEST_F(Surroundings, ClosedStandardStreamsDoNotMatter) {
    const auto results = support::inChild([&]() -> std::vector<int32_t> {
        // The pipe to the parent lies above them.
        for (const int standard : {0, 1, 2}) close(standard);
        std::vector<int32_t> all;
        for (int i = 0; i < 3; ++i) all.push_back(exportsRightly() ? 1 : 0);
        return all;
    });
    EXPECT_EQ(results, (std::vector<int32_t>{1, 1, 1}));
}

TEST_F(Surroundings, WithoutADescriptorLeftExportsTo303AndThenWorksAgain) {
    directory.write("p.ini", "[s]\nk=12\n");
    const auto results = support::inChild([&]() -> std::vector<int32_t> {
        const rlimit few = {64, 64};
        if (setrlimit(RLIMIT_NOFILE, &few) != 0) return {};
        int last = -1;
        for (int next; (next = open("/dev/null", O_RDONLY)) >= 0;) last = next;
        const model::Settings settings = settingsOf(221, 310, 331);
        const auto toFile = [&] {
            return exportByFilter(library, somePicture(), settings, "out.bmp").code;
        };
        const auto readsProfile = [&] {
            return LOADED(library, GetPrivateProfileInt)("s", "k", 5, "p.ini");
        };
        LOADED(library, WritePrivateProfileString)("s", "k", "13", "p.ini");
        std::vector<int32_t> all = {toFile(), readsProfile()};
        // Memory needs none.
        const Bytes file = exportByFilter(library, somePicture(), settings).file;
        all.push_back(file == expectedByFilter(somePicture(), settings) ? 1 : 0);
        close(last);
        all.push_back(toFile());
        all.push_back(readsProfile());
        return all;
    });
    EXPECT_EQ(results, (std::vector<int32_t>{303, 5, 1, 0, 12}));
    EXPECT_EQ(fileIn(directory, "out.bmp"),
              expectedByFilter(somePicture(), settingsOf(221, 310, 331)));
}

#ifndef TIVAR_SANITIZED  // which makes every frame larger

// Does the work on a thread with a stack of 64 KB, or of the least that the system allows where
// that is more. Below it lies a page that nobody may touch.
void onSmallStack(const std::function<void()>& work) {
    const long least = std::max(64L * 1024, sysconf(_SC_THREAD_STACK_MIN));
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, static_cast<size_t>(least)), 0);
    pthread_t thread = {};
    const auto start = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(
        pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(Surroundings, AStackOf64KilobytesIsEnoughForEveryExport) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        const DrawnPicture picture = drawPicture(Drawing::kGradient, bits, 60, 50, 1);
        for (const int format : {215, 219, 221, 222}) {
            for (const int compression : {310, 228}) {
                const model::Settings settings = settingsOf(format, compression, 331);
                Exported small = {};
                Exported smallByDriver = {};
                onSmallStack([&] {
                    small = exportByFilter(library, picture, settings);
                    smallByDriver = exportByDriver(library, picture, settings);
                });
                EXPECT_EQ(small.file, expectedByFilter(picture, settings));
                EXPECT_EQ(smallByDriver.file, exportByDriver(library, picture, settings).file);
                EXPECT_FALSE(smallByDriver.file.empty());
            }
        }
    }
}

TEST_F(Surroundings, AStackOf64KilobytesIsEnoughForProfiles) {
    directory.write("p.ini", "[m]\nDriver=TIVAR.1\nX Resolution=100\n");
    int32_t saved = 0;
    onSmallStack([&] {
        const MemHandle setup = LOADED(library, CreateSetup)(0, "p.ini", "m", nullptr);
        int32_t resolution = 200;
        saved = LOADED(library, xEscapeSetup)(setup, 11, 4, &resolution, nullptr, 1);
        LOADED(library, DestroySetup)(setup);
    });
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(directory.read("p.ini"), "[m]\nDriver=TIVAR.1\nX Resolution=200\n");
}

#endif

}  // namespace
