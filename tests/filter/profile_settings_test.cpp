#include <cmath>
#include <cstring>
#include <map>

#include "filter/setup_guard.h"

namespace {

using support::EnvironmentVariable;
using Keys = std::map<std::string, std::string>;

struct ProfileSettings : Surroundings {
    // Profile p.ini with a mode of these keys.
    void writeMode(const Keys& keys, const std::string& driver = "TIVAR.1") {
        std::string text = "[TIVAR]\n~Mode=Slides\n[Slides]\nDriver=" + driver + "\n";
        for (const auto& [key, value] : keys) text += key + "=" + value + "\n";
        directory.write("p.ini", text);
    }
};

struct Limits : ProfileSettings {};

TEST_F(ProfileSettings, EveryKeyIsRead) {
    writeMode({{"Color Mode", "106"},
               {"Size Mode", "602"},
               {"Color Format", "219"},
               {"Resolution Mode", "309"},
               {"Compression Mode", "228"},
               {"File Type", "332"},
               {"Line Mode", "120"},
               {"X Resolution", "150"},
               {"Y Resolution", "75"},
               {"Width", "3.5"},
               {"Height", "2.25"}});
    const SetupGuard setup("p.ini");
    EXPECT_STREQ(setup->driverName, "TIVAR.1");
    EXPECT_EQ(setup->colorMode, 106);
    EXPECT_EQ(setup->sizeMode, 602);
    EXPECT_EQ(setup->colorFormat, 219);
    EXPECT_EQ(setup->resolutionMode, 309);
    EXPECT_EQ(setup->compressionMode, 228);
    EXPECT_EQ(setup->fileType, 332);
    EXPECT_EQ(setup->lineMode, 120);
    EXPECT_EQ(setup->xResolution, 150);
    EXPECT_EQ(setup->yResolution, 75);
    EXPECT_EQ(setup->pictureWidth, 3.5);
    EXPECT_EQ(setup->pictureHeight, 2.25);
}

TEST_F(ProfileSettings, EveryMissingKeyHasADefault) {
    writeMode({});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->colorMode, 103);
    EXPECT_EQ(setup->sizeMode, 602);
    EXPECT_EQ(setup->colorFormat, 221);
    EXPECT_EQ(setup->resolutionMode, 310);
    EXPECT_EQ(setup->compressionMode, 310);
    EXPECT_EQ(setup->fileType, 331);
    EXPECT_EQ(setup->lineMode, 119);
    EXPECT_EQ(setup->xResolution, 96);
    EXPECT_EQ(setup->yResolution, 96);
    EXPECT_EQ(setup->pictureWidth, 6.67);
    EXPECT_EQ(setup->pictureHeight, 5.0);
}

TEST_F(ProfileSettings, CodesAreTakenAsTheyAre) {
    writeMode({{"Color Mode", "9999"},
               {"Color Format", "0x7FFFFFFF"},
               {"File Type", "-1"},
               {"Line Mode", "0"},
               {"Compression Mode", "raw"},
               {"Size Mode", "7"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->colorMode, 9999);
    EXPECT_EQ(setup->colorFormat, 0x7FFFFFFF);
    EXPECT_EQ(setup->fileType, 0);
    EXPECT_EQ(setup->lineMode, 0);
    EXPECT_EQ(setup->compressionMode, 0);
    EXPECT_EQ(setup->sizeMode, 7);
}

TEST_F(ProfileSettings, TheDriverNameIsReadWith13Bytes) {
    const struct {
        const char* value;
        const char* expected;
    } cases[] = {{"twelve chars", "twelve chars"},
                 {"thirteenchars", "thirteenchars"},
                 {"more than thirteen", "more than thi"},
                 {"\"D\"", "D"}};
    for (const auto& c : cases) {
        writeMode({}, c.value);
        const SetupGuard setup("p.ini");
        EXPECT_STREQ(setup->driverName, c.expected);
        EXPECT_EQ(setup->reservedWord, 0);
        EXPECT_EQ(setup->colorMode, 103);
    }
}

TEST_F(ProfileSettings, WithoutADriverNothingElseIsRead) {
    writeMode({{"Color Mode", "106"}}, "");
    const SetupGuard setup("p.ini");
    EXPECT_EQ(LoadProfile(0), 0);
    EXPECT_EQ(setup->colorMode, 0);
    EXPECT_EQ(setup->pictureWidth, 0.0);
}

TEST_F(ProfileSettings, LoadingWorksOnTheCurrentRecord) {
    writeMode({{"Color Mode", "106"}});
    const SetupGuard setup("p.ini");
    writeMode({{"Color Mode", "104"}}, "Other");
    EXPECT_EQ(LoadProfile(99), 1);
    EXPECT_EQ(setup->colorMode, 104);
    EXPECT_STREQ(setup->driverName, "Other");
    std::strcpy(setup->modeName, "Missing");
    EXPECT_EQ(LoadProfile(0), 0);
    EXPECT_EQ(setup->colorMode, 104);
    EXPECT_STREQ(setup->driverName, "");
}

TEST_F(ProfileSettings, WithoutACurrentRecordNothingIsLoaded) {
    DestroySetup(CreateSetup(0, nullptr, nullptr, nullptr));
    EXPECT_EQ(LoadProfile(0), 0);
    LimitCheck();
    EXPECT_EQ(lpRaster, nullptr);
}

TEST_F(ProfileSettings, ResolutionAndSizeOfTheDisplayComeFromIt) {
    const EnvironmentVariable info("DISPLAYINFO", "800,600,100,50");
    writeMode({{"Resolution Mode", "307"},
               {"X Resolution", "150"},
               {"Size Mode", "600"},
               {"Width", "3.5"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->resolutionMode, 307);
    EXPECT_EQ(setup->xResolution, 100);
    EXPECT_EQ(setup->yResolution, 50);
    EXPECT_EQ(setup->sizeMode, 600);
    EXPECT_EQ(setup->pictureWidth, 8.0);
    EXPECT_EQ(setup->pictureHeight, 12.0);
}

TEST_F(ProfileSettings, ModesOfThePrinterFallBackToTheDisplay) {
    SetPrinterInfo(7.5, 10.25, 300, 150);
    writeMode({{"Resolution Mode", "308"}, {"Size Mode", "601"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->resolutionMode, 307);
    EXPECT_EQ(setup->sizeMode, 600);
    EXPECT_EQ(setup->xResolution, 96);
    EXPECT_EQ(setup->pictureWidth, 1280.0 / 96);
    EXPECT_EQ(setup->pictureHeight, 1078.0 / 96);
}

TEST_F(ProfileSettings, ModesOfThePrinterStandOnceItIsAvailable) {
    SetPrinterInfo(7.5, 10.25, 300, 150);
    writeMode({{"Resolution Mode", "308"}, {"Size Mode", "601"}});
    const SetupGuard setup("p.ini");
    setup->printerAvailable = 1;
    EXPECT_EQ(LoadProfile(0), 1);
    EXPECT_EQ(setup->resolutionMode, 308);
    EXPECT_EQ(setup->sizeMode, 601);
    EXPECT_EQ(setup->xResolution, 300);
    EXPECT_EQ(setup->yResolution, 150);
    EXPECT_EQ(setup->pictureWidth, 7.5);
    EXPECT_EQ(setup->pictureHeight, 10.25);
}

TEST_F(ProfileSettings, ResolutionsKeepTheirLow16Bits) {
    writeMode({{"X Resolution", "65686"}, {"Y Resolution", "0x1004B"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->xResolution, 150);
    EXPECT_EQ(setup->yResolution, 75);
}

TEST_F(ProfileSettings, InchesAreReadAsTheStandardConversionDoes) {
    const struct {
        std::string text;
        double expected;
    } cases[] = {{"3.5 inches", 3.5},
                 {"1e1", 10.0},
                 {" 2.5", 2.5},
                 {"\"4\"", 4.0},
                 // No more than 30 characters of it.
                 {std::string(27, '0') + "12.5", 12.0}};
    for (const auto& c : cases) {
        writeMode({{"Width", c.text}});
        EXPECT_EQ(SetupGuard("p.ini")->pictureWidth, c.expected) << c.text;
    }
}

TEST_F(ProfileSettings, InchesHaveAPointWhateverTheLocale) {
    writeMode({{"Width", "3.5"}, {"Height", "2,25"}});
    const support::CommaLocale locale;
    if (!locale.active()) GTEST_SKIP() << "no locale could be made";
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->pictureWidth, 3.5);
    EXPECT_EQ(setup->pictureHeight, 2.0);
}

TEST_F(Limits, UnusableValuesOfTheProfileAreReplaced) {
    writeMode(
        {{"X Resolution", "500"}, {"Y Resolution", "31"}, {"Width", "0.01"}, {"Height", "22.5"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->xResolution, 96);
    EXPECT_EQ(setup->yResolution, 96);
    EXPECT_EQ(setup->pictureWidth, 6.67);
    EXPECT_EQ(setup->pictureHeight, 5.0);
}

TEST_F(Limits, TextsThatAreNoSizeAreReplaced) {
    for (const char* text : {"", "wide", "-1", "inf", "1e400", "0"}) {
        writeMode({{"Width", text}, {"Height", text}});
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setup->pictureWidth, 6.67) << text;
        EXPECT_EQ(setup->pictureHeight, 5.0) << text;
    }
}

TEST_F(Limits, ResolutionsAreCheckedOnlyWhenTheSizeIsReadToo) {
    writeMode({{"X Resolution", "500"}, {"Y Resolution", "31"}, {"Size Mode", "600"}});
    {
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setup->xResolution, 500);
        EXPECT_EQ(setup->yResolution, 31);
    }
    const EnvironmentVariable info("DISPLAYINFO", "800,600,1000,20");
    writeMode({{"Resolution Mode", "307"}});
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->xResolution, 96);
    EXPECT_EQ(setup->yResolution, 96);
}

TEST_F(Limits, TheCheckTellsWhatItReplaced) {
    const SetupGuard setup;
    const struct {
        int16_t resolution, keptResolution;
        double inches, keptWidth, keptHeight;
        int32_t result;
    } cases[] = {
        {96, 96, 5, 5, 5, 0},
        {32, 32, 0.03125, 0.03125, 0.03125, 0},
        {400, 400, 22, 22, 22, 0},
        {31, 96, 5, 5, 5, -62},
        {401, 96, 5, 5, 5, -62},
        {-100, 96, 5, 5, 5, -62},
        {0, 96, 5, 5, 5, -62},
        {96, 96, std::nextafter(0.03125, 0), 6.67, 5.0, -63},
        {96, 96, std::nextafter(22.0, 23.0), 6.67, 5.0, -63},
        {96, 96, -1, 6.67, 5.0, -63},
        {31, 96, 0, 6.67, 5.0, -63},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.resolution << " at " << c.inches << " inches");
        // Horizontally, vertically, both.
        for (int which = 1; which <= 3; ++which) {
            const bool across = (which & 1) != 0;
            const bool down = (which & 2) != 0;
            setup->xResolution = across ? c.resolution : int16_t{100};
            setup->yResolution = down ? c.resolution : int16_t{100};
            setup->pictureWidth = across ? c.inches : 1.0;
            setup->pictureHeight = down ? c.inches : 1.0;
            EXPECT_EQ(LimitCheck(), c.result);
            EXPECT_EQ(setup->xResolution, across ? c.keptResolution : 100);
            EXPECT_EQ(setup->yResolution, down ? c.keptResolution : 100);
            EXPECT_EQ(setup->pictureWidth, across ? c.keptWidth : 1.0);
            EXPECT_EQ(setup->pictureHeight, down ? c.keptHeight : 1.0);
        }
    }
}

TEST_F(Limits, ASizeThatIsNoNumberIsNeitherBelowNorAbove) {
    const SetupGuard setup;
    setup->pictureWidth = std::nan("");
    EXPECT_EQ(LimitCheck(), 0);
    EXPECT_TRUE(std::isnan(setup->pictureWidth));
}

}  // namespace
