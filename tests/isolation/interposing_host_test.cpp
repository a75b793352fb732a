// A host with global functions of its own that bear the names of the library's: the program shows
// them to everything that it loads, and the library must not call one.
#include "isolation/loaded_library.h"

namespace {

int g_calls = 0;

}  // namespace

#define HOSTS_OWN extern "C" __attribute__((visibility("default"), used))

// Names of the library's inner steps.
HOSTS_OWN int split(void) {
    return ++g_calls;
}
HOSTS_OWN int escape(void) {
    return ++g_calls;
}
HOSTS_OWN int stricmp(const char*, const char*) {
    return ++g_calls;
}
HOSTS_OWN char* strupr(char* text) {
    ++g_calls;
    return text;
}
HOSTS_OWN int HeapSort(void) {
    return ++g_calls;
}
HOSTS_OWN int push_er(int) {
    return ++g_calls;
}
HOSTS_OWN int termdvr(void) {
    return ++g_calls;
}

// Names of its interface.
MemHandle GlobalAlloc(uint32_t, uint32_t) {
    ++g_calls;
    return 0;
}
void* GlobalLock(MemHandle) {
    ++g_calls;
    return nullptr;
}
MemHandle GlobalFree(MemHandle) {
    ++g_calls;
    return 0;
}
OxlStream oxlOpen(const char*, OxlStreamDesc*, int32_t) {
    ++g_calls;
    return 0;
}
int32_t oxlWrite(OxlStream, const void*, int32_t) {
    return ++g_calls;
}
int32_t UpdateStatus(int32_t) {
    return ++g_calls;
}
MemHandle rlGetMemory(int16_t, uint32_t) {
    ++g_calls;
    return 0;
}
int32_t LimitCheck(void) {
    return ++g_calls;
}
int32_t GetPrivateProfileString(const char*, const char*, const char*, char*, int32_t,
                                const char*) {
    return ++g_calls;
}

namespace {

using namespace isolation;

TEST(InterposingHost, ShowsItsFunctionsToWhatItLoads) {
    for (const char* name : {"split", "stricmp", "HeapSort", "GlobalAlloc", "oxlOpen"}) {
        void* const shown = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(shown, nullptr) << name;
        Dl_info place = {};
        dladdr(shown, &place);
        EXPECT_EQ(std::string(place.dli_fname).find("libtivar"), std::string::npos) << name;
    }
}

TEST(InterposingHost, GetsItsExportsFromTheLibraryAlone) {
    for (const int scope : {RTLD_LOCAL, RTLD_GLOBAL}) {
        const LoadedLibrary library(RTLD_NOW | scope);
        g_calls = 0;
        for (const int bits : {1, 8, 24}) {
            for (const int format : {215, 219, 221, 222}) {
                const DrawnPicture picture = drawPicture(Drawing::kGradient, bits, 40, 30, 3);
                const model::Settings settings = settingsOf(format, 228, 331);
                const Exported made = exportByFilter(library, picture, settings);
                EXPECT_EQ(made.code, 0);
                EXPECT_EQ(made.file, expectedByFilter(picture, settings)) << bits << " " << format;
            }
        }
        const DrawnPicture picture = drawPicture(Drawing::kNoise, 8, 40, 30, 3);
        EXPECT_EQ(exportByDriver(library, picture, {}).file, expectedByDriver(picture, {}));
        EXPECT_EQ(g_calls, 0) << "a function of the host was called";
    }
}

}  // namespace
