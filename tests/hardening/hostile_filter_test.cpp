#include <cmath>
#include <cstring>

#include "hardening/hostile.h"
#include "support/environment.h"
#include "support/temp_directory.h"

namespace {

using namespace hardening;
using support::CurrentSettings;
using support::EnvironmentVariable;
using support::TempDirectory;
using support::WorkingDirectory;

// A directory of its own to look for profiles in.
struct OwnDirectory {
    TempDirectory directory;
    WorkingDirectory current{directory.path()};
    EnvironmentVariable noIniDir{"INIDIR"};
};

// ---- Entry table and identity ------------------------------------------------------------------

TEST(HostileArguments, fltLoadPointers) {
    fltLoadPointers(nullptr);
    FilterHostRecord record;
    std::memset(static_cast<void*>(&record), 0xEE, sizeof record);
    fltLoadPointers(&record);
    EXPECT_EQ(record.hostData, 0xEEEEEEEEu);
    EXPECT_EQ(record.count, 9);
    for (int i = 0; i < record.count; ++i) EXPECT_NE(record.entries[i].address, nullptr);
}

TEST(HostileArguments, OXLGetFilterVersion) {
    EXPECT_EQ(OXLGetFilterVersion(), TIVAR_VERSION);
}

TEST(HostileArguments, FilterVersion) {
    EXPECT_EQ(FilterVersion, 1);
}

TEST(HostileArguments, FilterID) {
    EXPECT_EQ(FilterID, 16);
}

TEST(HostileArguments, export_szDLLName) {
    const OwnDirectory own;
    // As long as the field holds, terminated in its last byte.
    std::memset(export_szDLLName, '/', sizeof export_szDLLName - 1);
    export_szDLLName[sizeof export_szDLLName - 1] = '\0';
    const MemHandle setup = CreateSetup(0, nullptr, nullptr, nullptr);
    std::memset(export_szDLLName, 'x', sizeof export_szDLLName - 1);
    const MemHandle other = CreateSetup(0, nullptr, nullptr, nullptr);
    std::memset(export_szDLLName, 0, sizeof export_szDLLName);
    EXPECT_NE(setup, 0u);
    EXPECT_NE(other, 0u);
    DestroySetup(setup);
    DestroySetup(other);
}

TEST(HostileArguments, LoadString) {
    char text[4] = {5, 5, 5, 5};
    for (const int32_t id : kNumbers) {
        EXPECT_GE(LoadString(0, id, nullptr, 4), 0);
        for (const int32_t size : {0, -1, INT32_MIN}) LoadString(0, id, text, size);
        EXPECT_EQ(std::string(text, 4), "\5\5\5\5");
    }
    for (int32_t id = -70000; id < 70000; id += 7) {
        LoadString(static_cast<HostWord>(-1), id, text, 3);
        ASSERT_EQ(text[3], 5);
    }
}

// ---- Settings ----------------------------------------------------------------------------------

TEST(HostileArguments, hRaster) {
    CurrentSettings settings;
    hRaster = 0;
    EXPECT_EQ(LimitCheck(), 0) << "the address counts, not the handle";
}

TEST(HostileArguments, lpRaster) {
    forgetCurrentRecord();
    double size[2] = {5, 6};
    const int32_t info[7] = {1, 1, 1, 1, 1, 1, 1};
    int32_t pixels[2] = {7, 8};
    EXPECT_EQ(GetRasterInfo(0, info, pixels), 0);
    EXPECT_EQ(RasterAdjustAspect(size, 1, 1), -1);
    EXPECT_EQ(LimitCheck(), 0);
    EXPECT_EQ(LoadProfile(0), 0);
    EXPECT_EQ(size[0], 5);
    EXPECT_EQ(pixels[0], 7);
}

TEST(HostileArguments, CreateSetup) {
    const OwnDirectory own;
    for (const std::string& name : longStrings()) {
        const MemHandle setup =
            CreateSetup(static_cast<HostWord>(-1), name.c_str(), name.c_str(), name.c_str());
        ASSERT_NE(setup, 0u);
        const auto* record = static_cast<const SetupRecord*>(GlobalLock(setup));
        EXPECT_EQ(std::strlen(record->filterName), std::min<size_t>(name.size(), 143));
        EXPECT_EQ(record->colorFormat, COLOR_FORMAT_8BIT) << "there is no such profile";
        DestroySetup(setup);
    }
    // A profile whose strings fill their fields and whose numbers are wild.
    const std::string name(143, 'm');
    own.directory.write("p.ini", "[" + name + "]\nDriver=" + std::string(250, 'd') +
                                     "\nX Resolution=1e99\nY Resolution=-5\nWidth=inf\n"
                                     "Height=99999999999999999999\n");
    const MemHandle setup = CreateSetup(0, "p.ini", name.c_str(), nullptr);
    const auto* record = static_cast<const SetupRecord*>(GlobalLock(setup));
    EXPECT_LT(std::strlen(record->driverName), sizeof record->driverName);
    EXPECT_GE(record->xResolution, 32);
    EXPECT_LE(record->xResolution, 400);
    EXPECT_GE(record->pictureWidth, 0.03125);
    EXPECT_LE(record->pictureWidth, 22);
    DestroySetup(setup);
}

TEST(HostileArguments, EditSetup) {
    EXPECT_EQ(EditSetup(0, static_cast<HostWord>(-1)), -1);
}

TEST(HostileArguments, DestroySetup) {
    EXPECT_EQ(DestroySetup(0), 0);
}

TEST(HostileArguments, xEscapeSetup) {
    const OwnDirectory own;
    int32_t words[8] = {};
    CurrentSettings settings;
    const SetupRecord before = *settings.record;
    for (const int32_t escape :
         {1, 11, 12, 13, 14, 16, 17, 18, 19, 25, 26, 56, 57, 81, 0, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(xEscapeSetup(0, escape, 4, words, words, 1), -1) << escape;
        if (escape == 25) continue;  // takes the address itself
        for (const int32_t size : {0, -1, INT32_MAX, INT32_MIN}) {
            EXPECT_LE(xEscapeSetup(settings.handle, escape, size, nullptr, nullptr, 1), 1);
            EXPECT_EQ(std::memcmp(&before, settings.record, sizeof before), 0) << escape;
        }
    }
    for (const int32_t escape : {1, 11, 12}) {
        for (const int32_t number : kNumbers) {
            int32_t value = number;
            EXPECT_EQ(xEscapeSetup(settings.handle, escape, 4, &value, nullptr, 1), -1);
        }
    }
    for (const int32_t escape : {13, 14}) {
        for (const double number : kStrangeDoubles) {
            double value = number;
            const int32_t expected = std::isnan(number) ? 1 : -1;
            EXPECT_EQ(xEscapeSetup(settings.handle, escape, 8, &value, nullptr, 0), expected);
        }
    }
    settings->pictureWidth = before.pictureWidth;
    settings->pictureHeight = before.pictureHeight;
    EXPECT_EQ(std::memcmp(&before, settings.record, sizeof before), 0);
    // Names that fill their fields, saved to: they are read as one with what follows, and no
    // further.
    std::memset(settings->modeName, 'm', sizeof settings->modeName);
    std::memset(settings->profilePath, 'p', sizeof settings->profilePath);
    std::memset(settings->backupProfilePath, 'b', sizeof settings->backupProfilePath);
    std::memset(settings->driverName, 'd', sizeof settings->driverName);
    int32_t resolution = 200;
    EXPECT_EQ(xEscapeSetup(settings.handle, 11, 4, &resolution, nullptr, 1), 1);
    EXPECT_EQ(settings->xResolution, 200);
}

TEST(HostileArguments, GetRasterInfo) {
    CurrentSettings settings;
    int32_t size[2] = {5, 6};
    for (const int32_t number : kNumbers) {
        const int32_t info[7] = {number, number, number, number, number, number, number};
        for (const int32_t mode : {600, 601, 602, 603, 0, -1}) {
            for (const int32_t resolutionMode : {307, 308, 309, 310, 0}) {
                settings->sizeMode = mode;
                settings->resolutionMode = resolutionMode;
                EXPECT_EQ(GetRasterInfo(settings.handle, info, size), 0);
            }
        }
    }
    size[0] = 5;
    const int32_t info[7] = {};
    EXPECT_EQ(GetRasterInfo(settings.handle, nullptr, size), 0);
    EXPECT_EQ(GetRasterInfo(settings.handle, info, nullptr), 0);
    EXPECT_EQ(size[0], 5);
}

TEST(HostileArguments, ScaleImageSize) {
    double inches = 99;
    EXPECT_EQ(ScaleImageSize(nullptr, &inches), 0);
    EXPECT_EQ(ScaleImageSize(&inches, nullptr), 0);
    EXPECT_EQ(inches, 99);
    for (const double width : kStrangeDoubles) {
        for (const double height : kStrangeDoubles) {
            double w = width;
            double h = height;
            EXPECT_EQ(ScaleImageSize(&w, &h), 0);
        }
    }
}

TEST(HostileArguments, UseDefaultSettings) {
    EXPECT_EQ(UseDefaultSettings(nullptr), -1);
}

TEST(HostileArguments, LoadProfile) {
    const OwnDirectory own;
    CurrentSettings settings;
    const SetupRecord before = *settings.record;
    EXPECT_EQ(LoadProfile(static_cast<HostWord>(-1)), 0) << "the record names no profile";
    EXPECT_EQ(settings->colorFormat, before.colorFormat);
}

TEST(HostileArguments, LimitCheck) {
    CurrentSettings settings;
    for (const double wild : kStrangeDoubles) {
        if (wild != wild) continue;  // kept: it is neither too small nor too large
        settings->pictureWidth = wild;
        settings->xResolution = INT16_MIN;
        EXPECT_EQ(LimitCheck(), -63) << wild;
        EXPECT_EQ(settings->pictureWidth, 6.67);
        EXPECT_EQ(settings->xResolution, 96);
    }
}

TEST(HostileArguments, SaveProfile) {
    EXPECT_EQ(SaveProfile(nullptr), 1);
}

TEST(HostileArguments, BackupProfile) {
    EXPECT_EQ(BackupProfile(nullptr), 0);
    CurrentSettings settings;
    std::memset(settings->profilePath, '/', sizeof settings->profilePath);
    std::memset(settings->backupProfilePath, '/', sizeof settings->backupProfilePath);
    EXPECT_EQ(BackupProfile(settings.record), 1);
    EXPECT_LT(std::strlen(settings->profilePath), sizeof settings->profilePath);
    EXPECT_LT(strnlen(settings->backupProfilePath, 144), sizeof settings->backupProfilePath);
    std::filesystem::remove(settings->profilePath);
}

TEST(HostileArguments, LoadProfileList) {
    LoadProfileList(0, 0, 0);
    LoadProfileList(static_cast<HostWord>(-1), static_cast<HostWord>(-1), -1);
}

// ---- Profile files -----------------------------------------------------------------------------

// Names that no file has.
std::vector<const char*> noFiles() {
    return {nullptr, "", "/", ".", "/no/such/file", "no such file"};
}

TEST(HostileArguments, GetPrivateProfileString) {
    const OwnDirectory own;
    own.directory.write("p.ini", "[s]\nk=value\n");
    char text[8] = {5, 5, 5, 5, 5, 5, 5, 5};
    for (const char* section : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(GetPrivateProfileString(section, "k", "abc", text, 8, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "k", nullptr, text, 8, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", nullptr, 8, "p.ini"), 0);
    for (const int32_t size : {0, -1, INT32_MIN})
        EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", text, size, "p.ini"), 0);
    EXPECT_EQ(std::string(text, 8), "\5\5\5\5\5\5\5\5");
    for (const char* name : noFiles())
        EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", text, 8, name), 3);
    for (const std::string& name : longStrings()) {
        EXPECT_EQ(GetPrivateProfileString("s", "k", "abc", text, 8, name.c_str()), 3);
        EXPECT_EQ(GetPrivateProfileString(name.c_str(), "k", "abc", text, 8, "p.ini"), 3);
        EXPECT_EQ(GetPrivateProfileString("s", name.c_str(), "abc", text, 8, "p.ini"), 3);
        EXPECT_EQ(GetPrivateProfileString("s", "none", name.c_str(), text, 8, "p.ini"), 7);
    }
    for (int32_t size = 1; size < 8; ++size) {
        std::memset(text, 5, sizeof text);
        EXPECT_EQ(GetPrivateProfileString("s", "k", "", text, size, "p.ini"), std::min(size, 5));
        EXPECT_EQ(text[size], 5);
        GetPrivateProfileString("s", nullptr, "", text, size, "p.ini");
        EXPECT_EQ(text[size], 5);
    }
}

TEST(HostileArguments, GetProfileString) {
    const OwnDirectory own;
    char text[4] = {5, 5, 5, 5};
    EXPECT_EQ(GetProfileString(nullptr, "k", "abc", text, 4), 0);
    EXPECT_EQ(GetProfileString("s", "k", nullptr, text, 4), 0);
    EXPECT_EQ(GetProfileString("s", "k", "abc", nullptr, 4), 0);
    EXPECT_EQ(GetProfileString("s", "k", "abc", text, INT32_MIN), 0);
    EXPECT_EQ(std::string(text, 4), "\5\5\5\5");
    EXPECT_EQ(GetProfileString("s", nullptr, "abc", text, 4), 3);
}

TEST(HostileArguments, GetPrivateProfileInt) {
    const OwnDirectory own;
    own.directory.write("p.ini", "[s]\nhuge=" + std::string(300, '9') + "\nhex=0x" +
                                     std::string(300, 'f') + "\nword=x\n");
    for (const int32_t number : kNumbers) {
        EXPECT_EQ(GetPrivateProfileInt(nullptr, "k", number, "p.ini"), number);
        EXPECT_EQ(GetPrivateProfileInt("s", "none", number, "p.ini"), number);
        for (const char* name : noFiles())
            EXPECT_EQ(GetPrivateProfileInt("s", "k", number, name), number);
    }
    EXPECT_EQ(GetPrivateProfileInt("s", "word", 7, "p.ini"), 0);
    EXPECT_EQ(GetPrivateProfileInt("s", "hex", 7, "p.ini"), -1);
    GetPrivateProfileInt("s", "huge", 7, "p.ini");
    GetPrivateProfileInt("s", nullptr, 7, "p.ini");
}

TEST(HostileArguments, GetProfileInt) {
    const OwnDirectory own;
    for (const int32_t number : kNumbers) {
        EXPECT_EQ(GetProfileInt(nullptr, nullptr, number), number);
        EXPECT_EQ(GetProfileInt("s", nullptr, number), number);
    }
}

TEST(HostileArguments, WritePrivateProfileString) {
    const OwnDirectory own;
    EXPECT_EQ(WritePrivateProfileString(nullptr, "k", "v", "p.ini"), 0);
    for (const char* name : noFiles()) {
        if (name != nullptr && std::string(name) == "no such file") continue;
        EXPECT_EQ(WritePrivateProfileString("s", "k", "v", name), 0);
    }
    EXPECT_TRUE(own.directory.names().empty());
    EXPECT_EQ(WritePrivateProfileString("", "k", "v", "p.ini"), 0);
    EXPECT_EQ(WritePrivateProfileString("s", nullptr, nullptr, "p.ini"), 0);
    EXPECT_EQ(WritePrivateProfileString("s", nullptr, "v", "p.ini"), 0);
    for (const std::string& text : longStrings()) {
        EXPECT_EQ(WritePrivateProfileString(text.c_str(), "k", "v", "p.ini"), 0);
        EXPECT_EQ(WritePrivateProfileString("s", text.c_str(), "v", "p.ini"), 0);
        EXPECT_EQ(WritePrivateProfileString("s", "k", text.c_str(), "p.ini"), 0);
    }
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", std::string(70000, 'x').c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", std::string(4095, 'x').c_str()), 0);
    EXPECT_EQ(own.directory.names(), std::set<std::string>{"p.ini"});
}

TEST(HostileArguments, WriteProfileString) {
    const OwnDirectory own;
    EXPECT_EQ(WriteProfileString(nullptr, "k", "v"), 0);
    EXPECT_TRUE(own.directory.names().empty());
    EXPECT_EQ(WriteProfileString("", nullptr, nullptr), 0);
}

TEST(HostileArguments, INIopen) {
    const OwnDirectory own;
    EXPECT_EQ(INIopen(nullptr, 5, OXL_READ), 0u);
    char empty[1] = "";
    EXPECT_EQ(INIopen(empty, INT32_MAX, OXL_READ), 0u);
    // The place found does not fit the caller's room.
    std::filesystem::create_directory("there");
    own.directory.write("there/p.ini", "");
    const EnvironmentVariable iniDir("INIDIR", "there");
    for (const int32_t capacity : {0, 1, 6, -1, INT32_MIN}) {
        std::vector<char> name(7, '\5');
        std::memcpy(name.data(), "p.ini", 6);
        const OxlStream stream = INIopen(name.data(), capacity, OXL_READ);
        EXPECT_NE(stream, 0u);
        EXPECT_EQ(name[6], 5);
        EXPECT_LE(std::strlen(name.data()), 5u);
        INIclose(stream);
    }
    for (const std::string& text : longStrings()) {
        std::string name = text;
        EXPECT_EQ(INIopen(name.data(), static_cast<int32_t>(name.size()), OXL_READ), 0u);
        EXPECT_EQ(name, text);
    }
}

TEST(HostileArguments, INIclose) {
    INIclose(0);
}

TEST(HostileArguments, GetProfileDirectory) {
    const OwnDirectory own;
    EXPECT_EQ(GetProfileDirectory(nullptr, "p.ini"), 1);
    for (const std::string& path : longStrings()) {
        char name[144] = "";
        EXPECT_EQ(GetProfileDirectory(name, path.c_str()), 1);
        EXPECT_STREQ(name, "");
        const EnvironmentVariable iniDir("INIDIR", path);
        EXPECT_EQ(GetProfileDirectory(name, "p"), 1);
    }
    std::vector<char> full(144, 'x');
    EXPECT_EQ(GetProfileDirectory(full.data(), nullptr), 1) << "a field without a terminator";
    EXPECT_EQ(full, std::vector<char>(144, 'x'));
}

// ---- Display and printer -----------------------------------------------------------------------

using SetInfo = void (*)(double, double, int16_t, int16_t);
using GetInfo = int32_t (*)(double*, double*, int16_t*, int16_t*);

void expectInfoSurvives(SetInfo set, GetInfo get) {
    const EnvironmentVariable noDisplay("DISPLAYINFO");
    for (const double number : kStrangeDoubles) {
        for (const int16_t resolution : kShorts) {
            double width = 0;
            int16_t x = 0;
            set(number, number, resolution, resolution);
            EXPECT_EQ(get(&width, nullptr, &x, nullptr), 0);
            EXPECT_EQ(get(nullptr, nullptr, nullptr, nullptr), 0);
        }
    }
    set(0, 0, 0, 0);
}

TEST(HostileArguments, SetDisplayInfo) {
    expectInfoSurvives(SetDisplayInfo, GetDisplayInfo);
}

TEST(HostileArguments, GetDisplayInfo) {
    for (const std::string text : {"x", "xxxx", "99999999999999999999x1x1x1", "-1x-1x-1x-1", "1",
                                   "1x", "    ", "0x0x0x0", "1x1x99999x-99999"}) {
        const EnvironmentVariable display("DISPLAYINFO", text);
        int16_t x = 0;
        double width = 0;
        EXPECT_EQ(GetDisplayInfo(&width, nullptr, &x, nullptr), 0) << text;
    }
    const EnvironmentVariable display("DISPLAYINFO", std::string(70000, '9'));
    int16_t y = 0;
    EXPECT_EQ(GetDisplayInfo(nullptr, nullptr, nullptr, &y), 0);
}

TEST(HostileArguments, SetPrinterInfo) {
    expectInfoSurvives(SetPrinterInfo, GetPrinterInfo);
}

TEST(HostileArguments, GetPrinterInfo) {
    EXPECT_EQ(GetPrinterInfo(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(HostileArguments, GetDisplayColorInfo) {
    EXPECT_EQ(GetDisplayColorInfo(0), 0);
    EXPECT_EQ(GetDisplayColorInfo(static_cast<HostWord>(-1)), 0);
}

}  // namespace
