// Size and resolution of the display and the printer, on which settings can be based.
#include <tivar/filter.h>

#include <cstdlib>
#include <initializer_list>

#include "base/environment.h"
#include "base/numbers.h"
#include "base/text.h"
#include "base/turn.h"

namespace tivar {
namespace {

struct DeviceInfo {
    double width;
    double height;
    int16_t xResolution;
    int16_t yResolution;
};

DeviceInfo g_display;  // in pixels, 0 = not recorded
DeviceInfo g_printer;  // in inches

// Width, height and resolutions of the display as they enter the division into inches.
struct DisplayValues {
    double width = 1280;
    double height = 1078;
    double xResolution = 96;
    double yResolution = 96;
};

// Four numbers, each followed by any one character. The conversion itself skips blanks, so a second
// blank in a row makes the next number appear twice.
void parseDisplayInfo(const char* text, DisplayValues& values) {
    for (double* value :
         {&values.width, &values.height, &values.xResolution, &values.yResolution}) {
        *value = parseInt(text);
        while (*text >= '0' && *text <= '9') ++text;
        if (*text != '\0') ++text;
    }
}

void takeRecorded(DisplayValues& values) {
    if (g_display.width != 0.0) values.width = g_display.width;
    if (g_display.height != 0.0) values.height = g_display.height;
    if (g_display.xResolution != 0) values.xResolution = g_display.xResolution;
    if (g_display.yResolution != 0) values.yResolution = g_display.yResolution;
}

template <class T>
void give(T* output, T value) {
    if (output != nullptr) *output = value;
}

}  // namespace
}  // namespace tivar

using namespace tivar;

void SetDisplayInfo(double widthPixels, double heightPixels, int16_t xResolution,
                    int16_t yResolution) {
    const Turn turn;
    g_display = {widthPixels, heightPixels, xResolution, yResolution};
}

void SetPrinterInfo(double width, double height, int16_t xResolution, int16_t yResolution) {
    const Turn turn;
    g_printer = {width, height, xResolution, yResolution};
}

int32_t GetDisplayInfo(double* width, double* height, int16_t* xResolution, int16_t* yResolution) {
    const Turn turn;
    DisplayValues values;
    char buffer[kEnvironmentBytes];
    const char* environment = environmentValue("DISPLAYINFO", buffer);
    if (isEmpty(environment))
        takeRecorded(values);
    else
        parseDisplayInfo(environment, values);
    // Kept: a resolution of 0 gives an infinite or undefined size.
    give(width, values.width / values.xResolution);
    give(height, values.height / values.yResolution);
    give(xResolution, saturate<int16_t>(values.xResolution));
    give(yResolution, saturate<int16_t>(values.yResolution));
    return 0;
}

int32_t GetPrinterInfo(double* width, double* height, int16_t* xResolution, int16_t* yResolution) {
    const Turn turn;
    give(width, g_printer.width);
    give(height, g_printer.height);
    give(xResolution, g_printer.xResolution);
    give(yResolution, g_printer.yResolution);
    return 0;
}

int32_t GetDisplayColorInfo(HostWord) {
    return 0;
}
