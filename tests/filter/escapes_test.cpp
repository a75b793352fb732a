#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>

#include "filter/setup_guard.h"
#include "support/host_word.h"

namespace {

using support::asWord;
using support::CommaLocale;

const std::string kProfile =
    "[TIVAR]\n~Mode=Slides\n[Slides]\nDriver=TIVAR.1\nResolution Mode=310\nSize Mode=602\n";

std::string bytesOf(const SetupRecord& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

template <class T>
int32_t setTo(MemHandle setup, int32_t escape, T value, int32_t saves = 0) {
    return xEscapeSetup(setup, escape, sizeof value, &value, nullptr, saves);
}

struct Escapes : Surroundings {
    // The profile's entry of the key, or "(none)".
    static std::string saved(const char* key) {
        char text[64] = {};
        GetPrivateProfileString("Slides", key, "(none)", text, sizeof text, "p.ini");
        return text;
    }
    template <class T>
    std::string savedAs(int32_t escape, T value, const char* key) {
        directory.write("p.ini", kProfile);
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setTo(setup.handle, escape, value, 1), 1);
        return saved(key);
    }
};

struct RasterInfoEscape : Escapes {
    // What escape 56 gives for the record; GetRasterInfo itself must say the same.
    static std::vector<int32_t> sizeFor(const SetupGuard& setup, std::vector<int32_t> info) {
        std::vector<int32_t> size = {-7, -7};
        EXPECT_EQ(xEscapeSetup(setup.handle, 56, 0, info.data(), size.data(), 1), 1);
        std::vector<int32_t> again = {-7, -7};
        GetRasterInfo(setup.handle, info.data(), again.data());
        EXPECT_EQ(again, size);
        return size;
    }
};

struct IntegerSetting {
    int32_t escape;
    int32_t first;  // first and last value that is taken
    int32_t last;
    int32_t offset;  // from a value to what is stored
    const char* key;
    std::function<int32_t(const SetupRecord&)> field;
};

const std::vector<IntegerSetting> kIntegers = {
    {1, 101, 105, 2, "Color Mode", [](const SetupRecord& r) { return r.colorMode; }},
    {11, 32, 400, 0, "X Resolution", [](const SetupRecord& r) { return r.xResolution; }},
    {12, 32, 400, 0, "Y Resolution", [](const SetupRecord& r) { return r.yResolution; }}};

struct InchSetting {
    int32_t escape;
    const char* key;
    double SetupRecord::*field;
};

constexpr InchSetting kInches[] = {{13, "Width", &SetupRecord::pictureWidth},
                                   {14, "Height", &SetupRecord::pictureHeight}};

TEST_F(Escapes, EveryIntegerInRangeIsStoredAndSaved) {
    for (const auto& s : kIntegers) {
        for (int32_t value = s.first; value <= s.last; ++value) {
            // Profiles cost time; the ends and some between will do.
            const bool saves = value < s.first + 3 || value > s.last - 3;
            if (saves) directory.write("p.ini", kProfile);
            const SetupGuard setup("p.ini");
            ASSERT_EQ(setTo(setup.handle, s.escape, value, saves ? 1 : 0), 1) << value;
            EXPECT_EQ(s.field(*setup.record), value + s.offset);
            if (saves) {
                EXPECT_EQ(directory.read("p.ini"),
                          kProfile + s.key + "=" + std::to_string(value + s.offset) + "\n");
            }
        }
    }
}

TEST_F(Escapes, AnIntegerOutOfRangeIsRefused) {
    directory.write("p.ini", kProfile);
    const SetupGuard setup("p.ini");
    const std::string before = bytesOf(*setup.record);
    for (const auto& s : kIntegers) {
        for (const int32_t value :
             {s.first - 1, s.last + 1, 0, -1, -s.first, s.first + 65536, INT32_MIN, INT32_MAX}) {
            EXPECT_EQ(setTo(setup.handle, s.escape, value, 1), -1) << s.escape << ' ' << value;
        }
        int32_t good = s.first;
        for (const int32_t size : {0, 1, 2, 3, 5, 8, -4, INT32_MIN, INT32_MAX})
            EXPECT_EQ(xEscapeSetup(setup.handle, s.escape, size, &good, nullptr, 1), -1) << size;
        EXPECT_EQ(xEscapeSetup(setup.handle, s.escape, 4, nullptr, nullptr, 1), -1);
    }
    EXPECT_EQ(bytesOf(*setup.record), before);
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

TEST_F(Escapes, TheStatedValuesOfIntegersGiveTheStatedResults) {
    const SetupGuard setup;
    EXPECT_EQ(setTo(setup.handle, 1, 106), -1);
    EXPECT_EQ(setTo(setup.handle, 1, 101), 1);
    EXPECT_EQ(setup->colorMode, 103);
    EXPECT_EQ(setTo(setup.handle, 11, 31), -1);
    EXPECT_EQ(setTo(setup.handle, 11, 400), 1);
    EXPECT_EQ(setup->xResolution, 400);
    EXPECT_EQ(savedAs(1, 101, "Color Mode"), "103");
}

TEST_F(Escapes, SizesFromAThirtySecondOfAnInchTo22InchesAreStored) {
    const SetupGuard setup;
    for (const auto& s : kInches) {
        for (const double value : {0.03125, 0.5, 6.67, 21.999, 22.0}) {
            EXPECT_EQ(setTo(setup.handle, s.escape, value), 1) << value;
            EXPECT_EQ(setup.record->*s.field, value);
        }
    }
}

TEST_F(Escapes, ASizeOutOfRangeIsRefused) {
    directory.write("p.ini", kProfile);
    const SetupGuard setup("p.ini");
    const std::string before = bytesOf(*setup.record);
    for (const auto& s : kInches) {
        for (const double value :
             {22.000001, 0.03124999, 0.0, -1.0, -6.67, 1e300, HUGE_VAL, -HUGE_VAL}) {
            EXPECT_EQ(setTo(setup.handle, s.escape, value, 1), -1) << value;
        }
        double good = 5;
        for (const int32_t size : {0, 4, 7, 9, -8, INT32_MAX})
            EXPECT_EQ(xEscapeSetup(setup.handle, s.escape, size, &good, nullptr, 1), -1) << size;
        EXPECT_EQ(xEscapeSetup(setup.handle, s.escape, 8, nullptr, nullptr, 1), -1);
    }
    EXPECT_EQ(bytesOf(*setup.record), before);
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

struct SizeText {
    double value;
    const char* width;
    const char* height;
};

// The width keeps its odd prefix and six digits, the height has three digits.
constexpr SizeText kSizeTexts[] = {{6.67, ".36.67", "6.67"},
                                   {5.0, ".35", "5"},
                                   {22.0, ".322", "22"},
                                   {0.03125, ".30.03125", "0.0312"},
                                   {10.125, ".310.125", "10.1"},
                                   {1.0 / 3, ".30.333333", "0.333"},
                                   {12.3456789, ".312.3457", "12.3"}};

TEST_F(Escapes, SizesAreSavedInTheirOddFormats) {
    for (const auto& c : kSizeTexts) {
        EXPECT_EQ(savedAs(13, c.value, "Width"), c.width);
        EXPECT_EQ(savedAs(14, c.value, "Height"), c.height);
    }
}

TEST_F(Escapes, ASizeThatIsNoNumberIsTaken) {
    const double none = std::nan("");
    EXPECT_EQ(savedAs(13, none, "Width"), ".3nan");
    EXPECT_EQ(savedAs(14, none, "Height"), "nan");
    const SetupGuard setup;
    for (const auto& s : kInches) {
        EXPECT_EQ(setTo(setup.handle, s.escape, none), 1);
        EXPECT_TRUE(std::isnan(setup.record->*s.field));
    }
}

TEST_F(Escapes, WithoutAModeASavedSettingGoesToASectionWithoutAName) {
    directory.write("p.ini", "[Slides]\nDriver=TIVAR.1\n");
    const SetupGuard setup("p.ini");
    EXPECT_STREQ(setup->modeName, "");
    EXPECT_EQ(setTo(setup.handle, 11, 100, 1), 1);
    EXPECT_EQ(setTo(setup.handle, 12, 101, 1), 1);
    EXPECT_EQ(directory.read("p.ini"),
              "[Slides]\nDriver=TIVAR.1\n\n[]\nX Resolution=100\n\n[]\nY Resolution=101\n");
}

TEST_F(Escapes, ALocaleWithACommaChangesNoText) {
    const CommaLocale locale;
    if (!locale.active()) GTEST_SKIP() << "no locale could be made";
    char probe[8];
    std::snprintf(probe, sizeof probe, "%g", 0.5);
    ASSERT_STREQ(probe, "0,5");
    for (const auto& c : kSizeTexts) {
        EXPECT_EQ(savedAs(13, c.value, "Width"), c.width);
        EXPECT_EQ(savedAs(14, c.value, "Height"), c.height);
    }
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->pictureHeight, 12.3);
}

TEST_F(Escapes, WithoutTheRequestNothingIsSaved) {
    directory.write("p.ini", kProfile);
    const SetupGuard setup("p.ini");
    for (const auto& s : kIntegers) EXPECT_EQ(setTo(setup.handle, s.escape, s.last), 1);
    for (const auto& s : kInches) EXPECT_EQ(setTo(setup.handle, s.escape, 2.0), 1);
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

TEST_F(Escapes, EveryNonZeroRequestSaves) {
    for (const int32_t saves : {1, 2, -1, INT32_MIN}) {
        directory.write("p.ini", kProfile);
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setTo(setup.handle, 11, 150, saves), 1);
        EXPECT_EQ(saved("X Resolution"), "150") << saves;
    }
}

TEST_F(Escapes, TheRecordsModeAndProfileAreWritten) {
    directory.write("p.ini", kProfile + "[Prints]\nDriver=D\nX Resolution=40\n");
    const SetupGuard setup("p.ini", "Prints");
    EXPECT_EQ(setTo(setup.handle, 11, 150, 1), 1);
    EXPECT_EQ(directory.read("p.ini"), kProfile + "[Prints]\nDriver=D\nX Resolution=150\n");
    std::strcpy(setup->modeName, "New");
    std::strcpy(setup->profilePath, "q.ini");
    EXPECT_EQ(setTo(setup.handle, 14, 2.5, 1), 1);
    EXPECT_EQ(directory.read("q.ini"), "\n[New]\nHeight=2.5\n");
}

TEST_F(Escapes, AFailedSaveIsNotReported) {
    const SetupGuard setup;
    std::strcpy(setup->modeName, "Slides");
    for (const char* path : {"missing/p.ini", ""}) {
        std::strcpy(setup->profilePath, path);
        for (const int32_t value : {100, 200}) {
            EXPECT_EQ(setTo(setup.handle, 12, value, 1), 1);
            EXPECT_EQ(setup->yResolution, value);
        }
        EXPECT_EQ(setTo(setup.handle, 13, 3.0, 1), 1);
    }
    EXPECT_TRUE(directory.names().empty());
}

TEST_F(Escapes, SettingsComeBackThroughTheProfile) {
    directory.write("p.ini", kProfile);
    {
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setTo(setup.handle, 1, 104, 1), 1);
        EXPECT_EQ(setTo(setup.handle, 11, 150, 1), 1);
        EXPECT_EQ(setTo(setup.handle, 12, 32, 1), 1);
        EXPECT_EQ(setTo(setup.handle, 13, 6.67, 1), 1);
        EXPECT_EQ(setTo(setup.handle, 14, 7.25, 1), 1);
    }
    EXPECT_EQ(directory.read("p.ini"),
              kProfile +
                  "Color Mode=106\nX Resolution=150\nY Resolution=32\nWidth=.36.67\n"
                  "Height=7.25\n");
    const SetupGuard setup("p.ini");
    EXPECT_EQ(setup->colorMode, 106);
    EXPECT_EQ(setup->xResolution, 150);
    EXPECT_EQ(setup->yResolution, 32);
    // The number ends at the text's second point.
    EXPECT_EQ(setup->pictureWidth, 0.36);
    EXPECT_EQ(setup->pictureHeight, 7.25);
}

TEST_F(Escapes, EverySizeThatIsSavedLoads) {
    for (const auto& [value, width, height] : std::vector<std::tuple<double, double, double>>{
             {22.0, 0.322, 22.0},
             {5.0, 0.35, 5.0},
             {10.125, 0.310, 10.1},
             // Three digits take the smallest size out of its range: the default replaces it.
             {0.03125, 0.30, 5.0}}) {
        directory.write("p.ini", kProfile);
        {
            const SetupGuard setup("p.ini");
            setTo(setup.handle, 13, value, 1);
            setTo(setup.handle, 14, value, 1);
        }
        const SetupGuard setup("p.ini");
        EXPECT_EQ(setup->pictureWidth, width) << value;
        EXPECT_EQ(setup->pictureHeight, height) << value;
    }
}

TEST_F(Escapes, ResolutionsReadAsNoneWhenTheCallerGivesThem) {
    const SetupGuard setup;
    setup->xResolution = 300;
    setup->yResolution = -5;
    for (const int32_t mode : {307, 308, 309, 310, 0, -1}) {
        setup->resolutionMode = mode;
        int32_t read[3] = {9, 9, 9};
        EXPECT_EQ(xEscapeSetup(setup.handle, 16, 0, nullptr, read, 1), 1);
        EXPECT_EQ(read[0], mode == 309 ? 0 : 300) << mode;
        EXPECT_EQ(read[1], mode == 309 ? 0 : -5) << mode;
        EXPECT_EQ(read[2], 9);
    }
}

TEST_F(Escapes, TheSizeReadsAsNoneWhenItIsGiven) {
    const SetupGuard setup;
    setup->pictureHeight = -2.5;
    for (const int32_t mode : {600, 601, 602, 603, 0}) {
        setup->sizeMode = mode;
        double read[3] = {9, 9, 9};
        EXPECT_EQ(xEscapeSetup(setup.handle, 17, 99, nullptr, read, 1), 1);
        EXPECT_EQ(read[0], mode == 602 ? 0.0 : 6.67) << mode;
        EXPECT_EQ(read[1], mode == 602 ? 0.0 : -2.5) << mode;
        EXPECT_EQ(read[2], 9);
    }
}

TEST_F(Escapes, FourChoicesSetResolutionAndSizeMode) {
    directory.write("p.ini", kProfile);
    const struct {
        int32_t escape;
        int32_t firstCode;
        int32_t SetupRecord::*field;
    } cases[] = {{18, 307, &SetupRecord::resolutionMode}, {19, 600, &SetupRecord::sizeMode}};
    for (const auto& c : cases) {
        const SetupGuard setup("p.ini");
        for (int32_t choice = 0; choice < 4; ++choice) {
            EXPECT_EQ(setTo(setup.handle, c.escape, choice, 1), 1);
            EXPECT_EQ(setup.record->*c.field, c.firstCode + choice);
        }
        const std::string before = bytesOf(*setup.record);
        for (const int32_t ignored : {-1, 4, c.firstCode, 256, 65536, INT32_MIN, INT32_MAX})
            EXPECT_EQ(setTo(setup.handle, c.escape, ignored, 1), 1) << ignored;
        int32_t choice = 0;
        for (const int32_t size : {0, 2, 3, 5, 8, -4})
            EXPECT_EQ(xEscapeSetup(setup.handle, c.escape, size, &choice, nullptr, 1), 1);
        xEscapeSetup(setup.handle, c.escape, 4, nullptr, nullptr, 1);
        EXPECT_EQ(bytesOf(*setup.record), before);
    }
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

TEST_F(Escapes, TheUserValueIsThePointerItself) {
    const SetupGuard setup;
    int32_t anything = 5;
    for (void* value : {static_cast<void*>(&anything), static_cast<void*>(nullptr),
                        reinterpret_cast<void*>(UINTPTR_MAX)}) {
        EXPECT_EQ(xEscapeSetup(setup.handle, 25, 77, value, nullptr, 1), 1);
        EXPECT_EQ(setup->escapeUserValue, asWord(value));
        HostWord words[2] = {1, 1};
        EXPECT_EQ(xEscapeSetup(setup.handle, 26, 0, nullptr, words, 1), 1);
        EXPECT_EQ(words[0], asWord(value));
        EXPECT_EQ(words[1], 1u);
    }
}

TEST_F(Escapes, TheColourModeReadsAsItIsSet) {
    const SetupGuard setup;
    for (int32_t mode = 101; mode <= 105; ++mode) {
        ASSERT_EQ(setTo(setup.handle, 1, mode), 1);
        int32_t read[2] = {9, 9};
        EXPECT_EQ(xEscapeSetup(setup.handle, 57, 4, nullptr, read, 1), 1);
        EXPECT_EQ(read[0], mode);
        EXPECT_EQ(read[1], 9);
    }
    for (const int32_t stored : {102, 108, 0, -1, INT32_MIN, INT32_MAX}) {
        setup->colorMode = stored;
        int32_t read[2] = {9, 9};
        EXPECT_EQ(xEscapeSetup(setup.handle, 57, 4, nullptr, read, 1), -1);
        EXPECT_EQ(read[1], 9);
        EXPECT_EQ(setup->colorMode, stored);
    }
    EXPECT_EQ(xEscapeSetup(setup.handle, 57, 4, nullptr, nullptr, 1), -1)
        << "nowhere to read it to";
    int32_t read = 9;
    setTo(setup.handle, 1, 101);
    for (const int32_t size : {8, 3, 5, 0, -4})
        EXPECT_EQ(xEscapeSetup(setup.handle, 57, size, nullptr, &read, 1), -1) << size;
    EXPECT_EQ(read, 9);
}

TEST_F(Escapes, TheDocumentIsThePointerItself) {
    const SetupGuard setup;
    int32_t anything = 5;
    EXPECT_EQ(xEscapeSetup(setup.handle, 81, 4, &anything, nullptr, 1), 1);
    EXPECT_EQ(setup->documentStream, asWord(&anything));
    for (const int32_t size : {0, 3, 8, -4})
        EXPECT_EQ(xEscapeSetup(setup.handle, 81, size, nullptr, nullptr, 1), 1);
    EXPECT_EQ(setup->documentStream, asWord(&anything));
    // The lock that it ends twice harms nobody.
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(xEscapeSetup(setup.handle, 81, 4, nullptr, nullptr, 0), 1);
    EXPECT_EQ(setup->documentStream, 0u);
    EXPECT_EQ(setTo(setup.handle, 11, 150), 1);
    EXPECT_EQ(GlobalLock(setup.handle), setup.record);
}

TEST_F(Escapes, UnknownNumbersGive0) {
    directory.write("p.ini", kProfile);
    const SetupGuard setup("p.ini");
    const std::string before = bytesOf(*setup.record);
    const std::set<int32_t> known = {1, 11, 12, 13, 14, 16, 17, 18, 19, 25, 26, 56, 57, 81};
    int64_t input[8] = {101, 101, 101, 101, 101, 101, 101, 101};
    int64_t output[8] = {9, 9};
    std::vector<int32_t> numbers = {INT32_MIN, INT32_MAX, 65537, 65536 + 11, 1001, 257};
    for (int32_t i = -20; i <= 120; ++i) numbers.push_back(i);
    for (const int32_t escape : numbers) {
        if (known.count(escape) == 0) {
            EXPECT_EQ(xEscapeSetup(setup.handle, escape, 4, input, output, 1), 0) << escape;
        }
    }
    EXPECT_EQ(output[0], 9);
    EXPECT_EQ(bytesOf(*setup.record), before);
    EXPECT_EQ(directory.read("p.ini"), kProfile);
}

TEST_F(Escapes, WithoutARecordEveryNumberIsRefused) {
    const SetupGuard latest;
    const std::string before = bytesOf(*latest.record);
    int64_t input[8] = {101, 101};
    int64_t output[8] = {9, 9, 9};
    for (int32_t escape = -1; escape < 100; ++escape)
        EXPECT_EQ(xEscapeSetup(0, escape, 4, input, output, 1), -1) << escape;
    EXPECT_EQ(output[0], 9);
    EXPECT_EQ(lpRaster, latest.record);
    EXPECT_EQ(bytesOf(*latest.record), before);
}

TEST_F(Escapes, ReadingWithoutAPlaceIsRefused) {
    const SetupGuard setup;
    const std::string before = bytesOf(*setup.record);
    for (const int32_t escape : {16, 17, 26, 57})
        EXPECT_EQ(xEscapeSetup(setup.handle, escape, 4, nullptr, nullptr, 0), -1) << escape;
    EXPECT_EQ(bytesOf(*setup.record), before);
}

TEST_F(Escapes, TheCurrentRecordStaysWhereItIs) {
    const SetupGuard other;
    const SetupGuard latest;
    const std::string before = bytesOf(*latest.record);
    ASSERT_EQ(lpRaster, latest.record);
    double output[4] = {};
    for (const auto& s : kIntegers) EXPECT_EQ(setTo(other.handle, s.escape, s.last), 1);
    for (const auto& s : kInches) EXPECT_EQ(setTo(other.handle, s.escape, 2.0), 1);
    for (const int32_t escape : {18, 19}) EXPECT_EQ(setTo(other.handle, escape, 3), 1);
    for (const int32_t escape : {16, 17, 25, 26, 57, 81})
        EXPECT_EQ(xEscapeSetup(other.handle, escape, 4, output, output, 0), 1) << escape;
    EXPECT_EQ(lpRaster, latest.record);
    EXPECT_EQ(hRaster, latest.handle);
    EXPECT_EQ(bytesOf(*latest.record), before);
    EXPECT_EQ(other->sizeMode, 603);
}

TEST_F(RasterInfoEscape, AGivenSizeFollowsThePicture) {
    const SetupGuard setup;  // size mode 602, resolution mode 309
    EXPECT_EQ(sizeFor(setup, {0, 0, 100, 640, 480, 0, 0}), (std::vector<int32_t>{640, 480}));
    EXPECT_EQ(setup->pictureWidth, 6.4);
    EXPECT_EQ(setup->pictureHeight, 4.8);
    EXPECT_EQ(setup->xResolution, 100);
    EXPECT_EQ(setup->yResolution, 100);
}

struct InfoCase {
    const char* what;
    int32_t sizeMode;
    int32_t resolutionMode;
    std::vector<int32_t> info;
    double width;  // what the settings hold afterwards
    double height;
    int32_t xResolution;
    int32_t yResolution;
    std::vector<int32_t> size;
};

TEST_F(RasterInfoEscape, ModesChooseWhatIsFollowed) {
    // The record starts with 8 x 6 inches at 120 x 60 pixels per inch, a page of 960 x 360 pixels.
    const std::vector<InfoCase> cases = {
        {"picture", 602, 309, {90, 5, 50, 100, 30, 900, 900}, 2, 0.6, 50, 50, {100, 30}},
        {"fixed resolution", 602, 310, {90, 5, 50, 100, 30, 900, 900}, 2, 0.6, 120, 60, {240, 36}},
        {"sizes are rounded up",
         602,
         310,
         {0, 0, 96, 97, 95, 0, 0},
         97.0 / 96,
         95.0 / 96,
         120,
         60,
         {122, 60}},
        {"display resolution", 602, 307, {90, 5, 50, 100, 30, 1, 1}, 2, 0.6, 90, 90, {180, 54}},
        {"low 16 bits", 602, 309, {0, 0, 65636, 65636, 131272, 0, 0}, 1, 2, 100, 100, {100, 200}},
        {"negative", 602, 309, {0, 0, -100, 640, 480, 0, 0}, -6.4, -4.8, -100, -100, {640, 480}},
        // The page of the display in the picture's proportions.
        {"display, wide", 600, 307, {100, 0, 50, 2, 1, 800, 600}, 8, 6, 100, 100, {800, 400}},
        {"display of another size",
         600,
         307,
         {100, 0, 50, 2, 1, 400, 500},
         4,
         5,
         100,
         100,
         {400, 200}},
        {"display, square", 600, 307, {100, 0, 50, 7, 7, 800, 600}, 8, 6, 100, 100, {600, 600}},
        {"display, alike", 600, 307, {100, 0, 0, 4, 3, 800, 600}, 8, 6, 100, 100, {800, 600}},
        {"display, picture's resolution",
         600,
         309,
         {100, 0, 50, 2, 1, 800, 600},
         8,
         6,
         50,
         50,
         {400, 200}},
        // 960 : 360 is wider than 2 : 1, so the width shrinks to 720.
        {"no resolutions", 600, 307, {0, 0, 0, 2, 1, 800, 600}, 8, 6, 120, 60, {720, 360}},
        {"no picture resolution", 602, 309, {100, 0, 0, 2, 1, 800, 600}, 8, 6, 120, 60, {720, 360}},
        {"printer modes", 601, 308, {100, 0, 50, 2, 1, 800, 600}, 8, 6, 120, 60, {720, 360}},
        {"unknown size mode", 603, 310, {100, 0, 50, 4, 1, 800, 600}, 8, 6, 120, 60, {960, 240}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const SetupGuard setup;
        setup->sizeMode = c.sizeMode;
        setup->resolutionMode = c.resolutionMode;
        setup->pictureWidth = 8;
        setup->pictureHeight = 6;
        setup->xResolution = 120;
        setup->yResolution = 60;
        EXPECT_EQ(sizeFor(setup, c.info), c.size);
        EXPECT_EQ(setup->pictureWidth, c.width);
        EXPECT_EQ(setup->pictureHeight, c.height);
        EXPECT_EQ(setup->xResolution, c.xResolution);
        EXPECT_EQ(setup->yResolution, c.yResolution);
    }
}

TEST_F(RasterInfoEscape, ItWorksOnTheCurrentRecord) {
    const SetupGuard named;
    const SetupGuard latest;
    const std::string before = bytesOf(*named.record);
    EXPECT_EQ(sizeFor(named, {0, 0, 100, 640, 480, 0, 0}), (std::vector<int32_t>{640, 480}));
    EXPECT_EQ(bytesOf(*named.record), before);
    EXPECT_EQ(latest->pictureWidth, 6.4);
    EXPECT_EQ(lpRaster, latest.record);
}

TEST_F(RasterInfoEscape, WithoutACurrentRecordItDoesNothing) {
    const SetupGuard named;
    { const SetupGuard destroyed; }
    ASSERT_EQ(lpRaster, nullptr);
    const std::string before = bytesOf(*named.record);
    EXPECT_EQ(sizeFor(named, {0, 0, 100, 640, 480, 0, 0}).front(), -7);
    EXPECT_EQ(bytesOf(*named.record), before);
}

TEST_F(RasterInfoEscape, NullPointersChangeNothing) {
    const SetupGuard setup;
    const std::string before = bytesOf(*setup.record);
    int32_t info[7] = {100, 0, 100, 640, 480, 800, 600};
    int32_t size[2] = {-7, -7};
    GetRasterInfo(setup.handle, nullptr, size);
    GetRasterInfo(setup.handle, info, nullptr);
    xEscapeSetup(setup.handle, 56, 0, nullptr, size, 0);
    xEscapeSetup(setup.handle, 56, 0, info, nullptr, 0);
    EXPECT_EQ(size[0], -7);
    EXPECT_EQ(bytesOf(*setup.record), before);
}

TEST_F(RasterInfoEscape, HostileNumbersSaturateOrDivideByNothing) {
    const int32_t extremes[] = {INT32_MIN, -1, 0, 1, 32768, INT32_MAX};
    for (const int32_t mode : {600, 602, 603}) {
        for (const int32_t a : extremes) {
            for (const int32_t b : extremes) {
                const SetupGuard setup;
                setup->sizeMode = mode;
                setup->xResolution = setup->yResolution = 0;
                setup->resolutionMode = 310;
                std::vector<int32_t> info = {a, a, b, a, b, b, a};
                std::vector<int32_t> size = {-7, -7};
                EXPECT_EQ(xEscapeSetup(setup.handle, 56, 0, info.data(), size.data(), 0), 1);
            }
        }
    }
    // 2^31 - 1 inches at 100 pixels per inch.
    const SetupGuard setup;
    setup->resolutionMode = 310;
    EXPECT_EQ(sizeFor(setup, {0, 0, 1, INT32_MAX, INT32_MIN, 0, 0}),
              (std::vector<int32_t>{INT32_MAX, INT32_MIN}));
}

TEST(ScaleImageSize, FitsASizeInto22Inches) {
    const struct {
        double width, height;
        double fittedWidth, fittedHeight;
    } cases[] = {
        {44, 11, 22, 5.5},  {10, 30, 22.0 * 10 / 30, 22},
        {22, 22, 22, 22},   {22, 1, 22, 1},
        {1, 22, 1, 22},     {44, 44, 22, 22},
        {88, 66, 22, 16.5}, {66, 88, 16.5, 22},
        {0, 0, 0, 0},       {-5, -50, -5, -50},
        {6.67, 5, 6.67, 5}, {44, -11, 22, -5.5},
    };
    for (const auto& c : cases) {
        double width = c.width;
        double height = c.height;
        EXPECT_EQ(ScaleImageSize(&width, &height), 0);
        EXPECT_DOUBLE_EQ(width, c.fittedWidth) << c.width << " x " << c.height;
        EXPECT_DOUBLE_EQ(height, c.fittedHeight) << c.width << " x " << c.height;
    }
}

TEST(ScaleImageSize, NullPointersChangeNothing) {
    double inches = 44;
    ScaleImageSize(&inches, nullptr);
    ScaleImageSize(nullptr, &inches);
    ScaleImageSize(nullptr, nullptr);
    EXPECT_EQ(inches, 44.0);
}

}  // namespace
