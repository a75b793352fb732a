#include <cstring>
#include <filesystem>
#include <memory>

#include "filter/setup_guard.h"
#include "support/failing_call.h"

namespace {

// Before any test has made one.
const MemHandle kFirstHandle = hRaster;
SetupRecord* const kFirstRecord = lpRaster;

TEST(CurrentSetup, IsNoneAtFirst) {
    EXPECT_EQ(kFirstHandle, 0u);
    EXPECT_EQ(kFirstRecord, nullptr);
}

struct Setup : Surroundings {
    Setup() { directory.write("p.ini", kProfile); }

    static constexpr char kProfile[] =
        "[TIVAR]\n~Mode=Slides\n"
        "[Slides]\nDriver=TIVAR.1\nColor Mode=106\n"
        "[Prints]\nDriver=TIVAR.1\nColor Mode=107\n"
        "[Empty]\nColor Mode=107\n";
};

// The record without its names.
std::string settingsOf(const SetupRecord& record) {
    constexpr size_t names = offsetof(SetupRecord, driverName);
    return {reinterpret_cast<const char*>(&record) + names, sizeof record - names};
}

const std::string kNoSettings(sizeof(SetupRecord) - offsetof(SetupRecord, driverName), '\0');

void expectDefaults(const SetupRecord& record) {
    EXPECT_STREQ(record.modeName, "");
    EXPECT_STREQ(record.profilePath, "");
    EXPECT_STREQ(record.backupProfilePath, "");
    EXPECT_STREQ(record.driverName, "TIVAR.1");
    EXPECT_EQ(record.reservedWord, 0);
    EXPECT_EQ(record.editContext, 0u);
    EXPECT_EQ(record.escapeUserValue, 0u);
    EXPECT_EQ(record.colorMode, 103);
    EXPECT_EQ(record.colorModeAux, 0);
    EXPECT_EQ(record.sizeMode, 602);
    EXPECT_EQ(record.resolutionMode, 309);
    EXPECT_EQ(record.compressionMode, 310);
    EXPECT_EQ(record.colorFormat, 221);
    EXPECT_EQ(record.fileType, 331);
    EXPECT_EQ(record.pictureWidth, 6.67);
    EXPECT_EQ(record.pictureHeight, 5.0);
    EXPECT_EQ(record.xResolution, 96);
    EXPECT_EQ(record.yResolution, 96);
}

TEST_F(Setup, WithoutAProfileTheRecordHoldsTheDefaults) {
    for (const char* profile : {static_cast<const char*>(nullptr), "", "missing.ini"}) {
        const SetupGuard setup(profile, "Slides");
        expectDefaults(*setup.record);
        EXPECT_STREQ(setup->filterName, "TIVAR");
        EXPECT_EQ(setup->lineMode, 0);
        EXPECT_EQ(setup->documentStream, 0u);
        EXPECT_EQ(setup->printerAvailable, 0);
        EXPECT_STREQ(setup->outputFileName, "");
        EXPECT_EQ(setup->hRLEBuffer, 0u);
    }
}

TEST_F(Setup, TheRecordIsABlockOfItsOwnSizeAndTheCurrentOne) {
    const SetupGuard setup;
    EXPECT_EQ(GlobalSize(setup.handle), 1376u);
    EXPECT_EQ(hRaster, setup.handle);
    EXPECT_EQ(lpRaster, setup.record);
}

TEST_F(Setup, TheModeIsTheArgumentOrTheOneThatTheProfileNames) {
    const struct {
        const char* mode;
        const char* section;
        int32_t colorMode;
    } cases[] = {{nullptr, "Slides", 106}, {"", "Slides", 106}, {"Prints", "Prints", 107}};
    for (const auto& c : cases) {
        const SetupGuard setup("p.ini", c.mode);
        EXPECT_STREQ(setup->modeName, c.section);
        EXPECT_STREQ(setup->profilePath, "p.ini");
        EXPECT_STREQ(setup->driverName, "TIVAR.1");
        EXPECT_EQ(setup->colorMode, c.colorMode);
    }
}

TEST_F(Setup, AModeWithoutADriverLeavesTheSettingsZero) {
    for (const char* mode : {"Empty", "Missing"}) {
        const SetupGuard setup("p.ini", mode, "Filter");
        EXPECT_EQ(settingsOf(*setup.record), kNoSettings) << mode;
        EXPECT_STREQ(setup->modeName, mode);
        EXPECT_STREQ(setup->filterName, "Filter");
        EXPECT_STREQ(setup->profilePath, "p.ini");
    }
    directory.write("p.ini", "[Slides]\nDriver=TIVAR.1\n");
    const SetupGuard setup("p.ini");
    EXPECT_STREQ(setup->modeName, "");
    EXPECT_EQ(settingsOf(*setup.record), kNoSettings);
}

TEST_F(Setup, TheFilterNameIsTheArgumentOrTheShortName) {
    EXPECT_STREQ(SetupGuard(nullptr, nullptr, "Bitmaps")->filterName, "Bitmaps");
    EXPECT_STREQ(SetupGuard(nullptr, nullptr, "")->filterName, "TIVAR");
    EXPECT_STREQ(SetupGuard("p.ini", nullptr, "Bitmaps")->filterName, "Bitmaps");
}

TEST_F(Setup, TheProfileIsFoundInIniDir) {
    const support::TempDirectory other;
    const std::string path = other.write("p.ini", "[TIVAR]\n~Mode=There\n[There]\nDriver=D\n");
    const support::EnvironmentVariable there("INIDIR", other.path());
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->profilePath, path);
    EXPECT_STREQ(setup->modeName, "There");
}

TEST_F(Setup, WithoutAPathTheModuleNamesTheProfile) {
    std::strcpy(export_szDLLName, "/opt/host/p.so");
    const SetupGuard setup;
    EXPECT_STREQ(setup->profilePath, "p.ini");
    EXPECT_STREQ(setup->modeName, "Slides");
}

TEST_F(Setup, LongNamesAreCutToTheirFields) {
    const std::string endless(1000, 'x');
    const std::string cut(143, 'x');
    {
        const SetupGuard setup(endless.c_str(), endless.c_str(), endless.c_str());
        expectDefaults(*setup.record);
        EXPECT_EQ(setup->filterName, cut);
    }
    {
        const SetupGuard setup("p.ini", endless.c_str(), endless.c_str());
        EXPECT_EQ(setup->filterName, cut);
        EXPECT_EQ(setup->modeName, cut);
        EXPECT_EQ(settingsOf(*setup.record), kNoSettings);
    }
    directory.write("p.ini", "[TIVAR]\n~Mode=" + endless.substr(0, 200) + "\n");
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->modeName, cut);
}

TEST_F(Setup, APathMayFillItsField) {
    const std::string name(143 - directory.path().size() - 1, 'p');
    const std::string path = directory.write(name, kProfile);
    const SetupGuard setup(path.c_str());
    EXPECT_EQ(setup->profilePath, path);
    EXPECT_EQ(setup->colorMode, 106);
}

TEST_F(Setup, APathAboveItsFieldIsNotFound) {
    std::string path;
    while (path.size() < 138) path += "./";
    path += "p.ini";
    const SetupGuard there(path.c_str());
    EXPECT_EQ(there->profilePath, path);
    // Cut to the field it would name the same profile.
    const SetupGuard setup((path + "x").c_str());
    expectDefaults(*setup.record);
}

TEST_F(Setup, WithoutMemoryThereIsNoRecord) {
    testing::internal::CaptureStdout();
    const support::FailingCall noMemory("calloc");
    EXPECT_EQ(CreateSetup(0, "p.ini", nullptr, nullptr), 0u);
    EXPECT_TRUE(noMemory.happened());
    testing::internal::GetCapturedStdout();
}

TEST_F(Setup, AFailureWhileTheProfileIsReadStillGivesARecord) {
    testing::internal::CaptureStdout();
    for (const char* function : {"calloc", "fopen"}) {
        for (int nth = std::strcmp(function, "calloc") == 0 ? 2 : 1; nth < 12; ++nth) {
            MemHandle handle = 0;
            {
                const support::FailingCall failing(function, nth);
                handle = CreateSetup(0, "p.ini", nullptr, nullptr);
            }
            EXPECT_NE(handle, 0u) << function << ' ' << nth;
            DestroySetup(handle);
        }
    }
    testing::internal::GetCapturedStdout();
}

TEST_F(Setup, EditingStoresTheContextAndMakesTheRecordCurrent) {
    const SetupGuard first;
    const SetupGuard second;
    EXPECT_EQ(lpRaster, second.record);
    const auto context = static_cast<HostWord>(0xFEDCBA9876543210u);
    EXPECT_EQ(EditSetup(first.handle, context), 0);
    EXPECT_EQ(first->editContext, context);
    EXPECT_EQ(second->editContext, 0u);
    EXPECT_EQ(lpRaster, first.record);
    EXPECT_EQ(hRaster, first.handle);
}

TEST_F(Setup, EditingHandle0FailsAndChangesNothing) {
    const SetupGuard setup;
    EXPECT_EQ(EditSetup(0, 5), -1);
    EXPECT_EQ(lpRaster, setup.record);
    EXPECT_EQ(hRaster, setup.handle);
    EXPECT_EQ(setup->editContext, 0u);
}

TEST_F(Setup, DestroyingLeavesNoCurrentRecord) {
    const MemHandle handle = CreateSetup(0, nullptr, nullptr, nullptr);
    EXPECT_EQ(DestroySetup(handle), 0);
    EXPECT_EQ(lpRaster, nullptr);
}

TEST_F(Setup, DestroyingHandle0ChangesNothing) {
    const SetupGuard setup;
    EXPECT_EQ(DestroySetup(0), 0);
    EXPECT_EQ(lpRaster, setup.record);
    expectDefaults(*setup.record);
}

TEST_F(Setup, DefaultsLeaveFilterNameAndLineModeAlone) {
    { const SetupGuard shortNameIsUpperCase; }
    const auto record = std::make_unique<SetupRecord>();
    std::memset(record.get(), 0x55, sizeof *record);
    EXPECT_EQ(UseDefaultSettings(record.get()), 0);
    expectDefaults(*record);
    EXPECT_EQ(std::string(record->filterName, 144), std::string(144, '\x55'));
    EXPECT_EQ(record->lineMode, 0x55555555);
    EXPECT_EQ(record->documentStream, static_cast<HostWord>(0x5555555555555555u));
    EXPECT_EQ(record->printerAvailable, 0x55555555);
    EXPECT_EQ(record->outputFileName[0], '\x55');
    EXPECT_EQ(UseDefaultSettings(nullptr), -1);
}

TEST_F(Setup, SavingWritesNothing) {
    const SetupGuard setup("p.ini");
    setup->colorMode = 103;
    EXPECT_EQ(SaveProfile(setup.record), 1);
    EXPECT_EQ(SaveProfile(nullptr), 1);
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

TEST_F(Setup, TheBackupKeepsTheDirectoryAndSendsWritesToATemporaryFile) {
    const struct {
        const char* path;
        const char* kept;
    } cases[] = {
        {"/usr/lib/a.ini", "/usr/lib/"}, {"a.ini", ""}, {"C:\\dir\\a.ini", "C:\\dir\\"}, {"", ""}};
#if defined(_WIN32)
    const auto where = std::filesystem::temp_directory_path();
#else
    const std::filesystem::path where = "/tmp";
#endif
    for (const auto& c : cases) {
        const SetupGuard setup;
        std::strcpy(setup->profilePath, c.path);
        std::strcpy(setup->backupProfilePath, "old");
        EXPECT_EQ(BackupProfile(setup.record), 1);
        EXPECT_STREQ(setup->backupProfilePath, c.kept);
        const std::filesystem::path temporary(setup->profilePath);
        EXPECT_TRUE(std::filesystem::equivalent(temporary.parent_path(), where));
        EXPECT_FALSE(std::filesystem::exists(setup->profilePath));
    }
    EXPECT_EQ(BackupProfile(nullptr), 0);
}

TEST_F(Setup, WithoutATemporaryNameTheBackupChangesNothing) {
    const SetupGuard setup("p.ini");
    const support::FailingCall noName("mkstemp");
    EXPECT_EQ(BackupProfile(setup.record), 0);
    EXPECT_STREQ(setup->profilePath, "p.ini");
    EXPECT_STREQ(setup->backupProfilePath, "");
}

TEST_F(Setup, ListingProfilesDoesNothing) {
    const SetupGuard setup;
    const std::string before = settingsOf(*setup.record);
    LoadProfileList(setup.handle, 1, 2);
    EXPECT_EQ(settingsOf(*setup.record), before);
}

}  // namespace
