#include <cmath>
#include <limits>

#include "filter/setup_guard.h"

namespace {

using support::EnvironmentVariable;

struct Info {
    double width = -1;
    double height = -1;
    int16_t xResolution = -1;
    int16_t yResolution = -1;

    bool operator==(const Info&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Info& info) {
    return out << info.width << " x " << info.height << " at " << info.xResolution << " x "
               << info.yResolution;
}

Info display() {
    Info info;
    EXPECT_EQ(GetDisplayInfo(&info.width, &info.height, &info.xResolution, &info.yResolution), 0);
    return info;
}

Info printer() {
    Info info;
    EXPECT_EQ(GetPrinterInfo(&info.width, &info.height, &info.xResolution, &info.yResolution), 0);
    return info;
}

// Taken before anything was recorded.
const Info g_printerAtLoad = printer();

struct DisplayInfo : Surroundings {};
struct PrinterInfo : Surroundings {};

TEST_F(DisplayInfo, HasBuiltInDefaults) {
    EXPECT_EQ(display(), (Info{1280.0 / 96, 1078.0 / 96, 96, 96}));
    EXPECT_NEAR(display().width, 13.333, 0.001);
    EXPECT_NEAR(display().height, 11.229, 0.001);
}

TEST_F(DisplayInfo, WhatWasRecordedReplacesEachDefaultUnlessItIs0) {
    SetDisplayInfo(800, 600, 100, 50);
    EXPECT_EQ(display(), (Info{8, 12, 100, 50}));
    SetDisplayInfo(800, 0, 0, 0);
    EXPECT_EQ(display(), (Info{800.0 / 96, 1078.0 / 96, 96, 96}));
    SetDisplayInfo(0, 480, 0, 0);
    EXPECT_EQ(display(), (Info{1280.0 / 96, 5, 96, 96}));
    SetDisplayInfo(0, 0, 128, 0);
    EXPECT_EQ(display(), (Info{10, 1078.0 / 96, 128, 96}));
    SetDisplayInfo(0, 0, 0, 77);
    EXPECT_EQ(display(), (Info{1280.0 / 96, 14, 96, 77}));
    SetDisplayInfo(-50, 0.5, -100, 2);
    EXPECT_EQ(display(), (Info{0.5, 0.25, -100, 2}));
}

TEST_F(DisplayInfo, TheEnvironmentGoesBeforeWhatWasRecorded) {
    SetDisplayInfo(10, 20, 30, 40);
    {
        const EnvironmentVariable info("DISPLAYINFO", "800,600,100,50");
        EXPECT_EQ(display(), (Info{8, 12, 100, 50}));
    }
    const EnvironmentVariable empty("DISPLAYINFO", "");
    EXPECT_EQ(display(), (Info{10.0 / 30, 20.0 / 40, 30, 40}));
}

TEST_F(DisplayInfo, NumbersAreSeparatedByAnySingleCharacter) {
    const struct {
        const char* text;
        Info expected;
    } cases[] = {
        {"1024x768x72x72", {1024.0 / 72, 768.0 / 72, 72, 72}},
        {"1024 768 72 72", {1024.0 / 72, 768.0 / 72, 72, 72}},
        {"800;600/100-50", {8, 12, 100, 50}},
        {"800,600,100,50,7", {8, 12, 100, 50}},
        {" 800,600,100,50", {800.0 / 600, 800.0 / 100, 600, 100}},
        // A second separator makes a 0; a second blank repeats the number behind it.
        {"1024,,768,72", {1024.0 / 768, 0, 768, 72}},
        {"1024  768 72", {1024.0 / 768, 768.0 / 72, 768, 72}},
        // A sign is read as part of the number, then skipped as a separator.
        {"-800,600,100,50", {-800.0 / 600, 800.0 / 100, 600, 100}},
        {"800,600,+100,50", {8, 6, 100, 100}},
        {"x800,600,100", {0, 8, 600, 100}},
        {"0800,0600,0100,0050", {8, 12, 100, 50}},
        // Resolutions are handed out in 16 bits.
        {"800,600,100000,50", {800.0 / 100000, 12, 32767, 50}},
    };
    for (const auto& c : cases) {
        const EnvironmentVariable info("DISPLAYINFO", c.text);
        EXPECT_EQ(display(), c.expected) << c.text;
    }
}

TEST_F(DisplayInfo, MissingNumbersAre0AndTheSizesAreDividedByThem) {
    for (const char* text : {"800", "800,", "800,0,0,0"}) {
        const EnvironmentVariable info("DISPLAYINFO", text);
        const Info shown = display();
        EXPECT_EQ(shown.width, std::numeric_limits<double>::infinity()) << text;
        EXPECT_TRUE(std::isnan(shown.height)) << text;
        EXPECT_EQ(shown.xResolution, 0);
        EXPECT_EQ(shown.yResolution, 0);
    }
    const EnvironmentVariable info("DISPLAYINFO", "none");
    EXPECT_TRUE(std::isnan(display().width));
}

TEST_F(DisplayInfo, OutputsWithoutAPointerAreSkipped) {
    SetDisplayInfo(800, 600, 100, 50);
    double inches = 0;
    int16_t resolution = 0;
    EXPECT_EQ(GetDisplayInfo(nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetDisplayInfo(&inches, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(inches, 8);
    EXPECT_EQ(GetDisplayInfo(nullptr, &inches, nullptr, nullptr), 0);
    EXPECT_EQ(inches, 12);
    EXPECT_EQ(GetDisplayInfo(nullptr, nullptr, &resolution, nullptr), 0);
    EXPECT_EQ(resolution, 100);
    EXPECT_EQ(GetDisplayInfo(nullptr, nullptr, nullptr, &resolution), 0);
    EXPECT_EQ(resolution, 50);
}

TEST_F(PrinterInfo, IsZeroUntilSomethingIsRecorded) {
    EXPECT_EQ(g_printerAtLoad, (Info{0, 0, 0, 0}));
    SetDisplayInfo(800, 600, 100, 50);
    EXPECT_EQ(printer(), (Info{0, 0, 0, 0}));
}

TEST_F(PrinterInfo, IsWhatWasRecorded) {
    const EnvironmentVariable info("DISPLAYINFO", "800,600,100,50");
    SetPrinterInfo(8.25, -11.5, 600, -300);
    EXPECT_EQ(printer(), (Info{8.25, -11.5, 600, -300}));
    SetPrinterInfo(0, 2, 0, 4);
    EXPECT_EQ(printer(), (Info{0, 2, 0, 4}));
}

TEST_F(PrinterInfo, OutputsWithoutAPointerAreSkipped) {
    SetPrinterInfo(8, 11, 600, 300);
    double inches = 0;
    int16_t resolution = 0;
    EXPECT_EQ(GetPrinterInfo(nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(GetPrinterInfo(nullptr, &inches, nullptr, nullptr), 0);
    EXPECT_EQ(inches, 11);
    EXPECT_EQ(GetPrinterInfo(nullptr, nullptr, nullptr, &resolution), 0);
    EXPECT_EQ(resolution, 300);
}

TEST(DisplayColorInfo, IsAlways0) {
    EXPECT_EQ(GetDisplayColorInfo(0), 0);
    EXPECT_EQ(GetDisplayColorInfo(static_cast<HostWord>(-1)), 0);
}

}  // namespace
