// Numbered escapes, through which the host reads and changes single settings of a record, and the
// sizes that go with them.
#include <tivar/export.h>
#include <tivar/filter.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/number_text.h"
#include "base/numbers.h"
#include "base/text.h"
#include "base/turn.h"
#include "filter/setting_limits.h"
#include "filter/string_table.h"

namespace tivar {
namespace {

enum EscapeResult : int32_t { kRefused = -1, kUnknown = 0, kDone = 1 };

// Escapes count colour modes from 101, the record from 103.
constexpr int32_t kColorModeOffset = COLOR_MODE_AS_GIVEN - 101;

struct EscapeCall {
    MemHandle setup;
    SetupRecord& record;
    int32_t inSize;
    void* input;
    void* output;
    bool saves;
};

template <class T>
bool readInput(const EscapeCall& call, T& value) {
    if (call.input == nullptr || call.inSize != static_cast<int32_t>(sizeof value)) return false;
    std::memcpy(&value, call.input, sizeof value);
    return true;
}

template <class T>
EscapeResult writePair(const EscapeCall& call, T first, T second) {
    if (call.output == nullptr) return kRefused;
    const T values[2] = {first, second};
    std::memcpy(call.output, values, sizeof values);
    return kDone;
}

void saveText(const EscapeCall& call, TextId key, const char* text) {
    if (call.saves)
        WritePrivateProfileString(call.record.modeName, TableText(key).text, text,
                                  call.record.profilePath);
}

void saveInt(const EscapeCall& call, TextId key, int32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    saveText(call, key, text);
}

EscapeResult setColorMode(const EscapeCall& call) {
    int32_t mode = 0;
    if (!readInput(call, mode) || mode < 101 || mode > 105) return kRefused;
    call.record.colorMode = mode + kColorModeOffset;
    saveInt(call, kTextColorMode, call.record.colorMode);
    return kDone;
}

EscapeResult getColorMode(const EscapeCall& call) {
    if (call.output == nullptr || call.inSize != 4) return kRefused;
    const int32_t stored = call.record.colorMode;
    const int32_t mode = static_cast<int32_t>(static_cast<uint32_t>(stored) - kColorModeOffset);
    std::memcpy(call.output, &mode, sizeof mode);
    const bool known = stored >= COLOR_MODE_AS_GIVEN && stored <= COLOR_MODE_GREY_INVERTED;
    return known ? kDone : kRefused;
}

EscapeResult setResolution(const EscapeCall& call, int16_t& resolution, TextId key) {
    int32_t value = 0;
    if (!readInput(call, value) || value < kLowestResolution || value > kHighestResolution)
        return kRefused;
    resolution = static_cast<int16_t>(value);
    saveInt(call, key, value);
    return kDone;
}

EscapeResult setXResolution(const EscapeCall& call) {
    return setResolution(call, call.record.xResolution, kTextXResolution);
}

EscapeResult setYResolution(const EscapeCall& call) {
    return setResolution(call, call.record.yResolution, kTextYResolution);
}

EscapeResult setInches(const EscapeCall& call, double& inches, TextId key, const char* prefix,
                       int digits) {
    double value = 0;
    if (!readInput(call, value)) return kRefused;
    // What is no number is neither below nor above a limit.
    if (value < kSmallestInches || value > kLargestInches) return kRefused;
    inches = value;
    char text[40];
    copyBounded(text, sizeof text, prefix);
    formatDouble(text + std::strlen(text), sizeof text - std::strlen(text), value, digits);
    saveText(call, key, text);
    return kDone;
}

// Kept: the width is saved with the text ".3" in front of it, all its digits behind.
EscapeResult setWidth(const EscapeCall& call) {
    return setInches(call, call.record.pictureWidth, kTextWidth, ".3", 6);
}

EscapeResult setHeight(const EscapeCall& call) {
    return setInches(call, call.record.pictureHeight, kTextHeight, "", 3);
}

// Resolutions and sizes that the caller gives read as 0.
EscapeResult getResolutions(const EscapeCall& call) {
    if (call.record.resolutionMode == RESOLUTION_OF_CALLER) return writePair<int32_t>(call, 0, 0);
    return writePair<int32_t>(call, call.record.xResolution, call.record.yResolution);
}

EscapeResult getSize(const EscapeCall& call) {
    if (call.record.sizeMode == SIZE_GIVEN) return writePair(call, 0.0, 0.0);
    return writePair(call, call.record.pictureWidth, call.record.pictureHeight);
}

// Numbers 0 to 3 choose among four codes in a row; anything else is ignored.
void setMode(const EscapeCall& call, int32_t& mode, int32_t firstCode) {
    int32_t choice = 0;
    if (readInput(call, choice) && choice >= 0 && choice <= 3) mode = firstCode + choice;
}

EscapeResult setResolutionMode(const EscapeCall& call) {
    setMode(call, call.record.resolutionMode, RESOLUTION_OF_DISPLAY);
    return kDone;
}

// Kept: choice 3 stores 603, a size mode that nothing else knows.
EscapeResult setSizeMode(const EscapeCall& call) {
    setMode(call, call.record.sizeMode, SIZE_OF_DISPLAY);
    return kDone;
}

EscapeResult setUserValue(const EscapeCall& call) {
    call.record.escapeUserValue = reinterpret_cast<HostWord>(call.input);
    return kDone;
}

EscapeResult getUserValue(const EscapeCall& call) {
    if (call.output == nullptr) return kRefused;
    std::memcpy(call.output, &call.record.escapeUserValue, sizeof call.record.escapeUserValue);
    return kDone;
}

EscapeResult getRasterInfo(const EscapeCall& call) {
    GetRasterInfo(call.setup, static_cast<const int32_t*>(call.input),
                  static_cast<int32_t*>(call.output));
    return kDone;
}

EscapeResult setDocument(const EscapeCall& call) {
    if (call.inSize == 4) call.record.documentStream = reinterpret_cast<HostWord>(call.input);
    // Kept: this escape ends the record's lock, which its caller ends again.
    GlobalUnlock(call.setup);
    return kDone;
}

struct EscapeRow {
    int32_t escape;
    EscapeResult (*run)(const EscapeCall& call);
};

constexpr EscapeRow kEscapes[] = {
    {1, setColorMode},  {11, setXResolution}, {12, setYResolution}, {13, setWidth},
    {14, setHeight},    {16, getResolutions}, {17, getSize},        {18, setResolutionMode},
    {19, setSizeMode},  {25, setUserValue},   {26, getUserValue},   {56, getRasterInfo},
    {57, getColorMode}, {81, setDocument},
};

// The seven numbers of the host's info block.
enum RasterInfo {
    kDisplayResolution = 0,
    kPictureResolution = 2,
    kPictureWidth = 3,
    kPictureHeight = 4,
    kDisplayWidth = 5,
    kDisplayHeight = 6
};

// Takes size and resolution into the settings from whichever the modes follow.
void followInfo(SetupRecord& setup, const int32_t* info) {
    const double picture = info[kPictureResolution];
    const double display = info[kDisplayResolution];
    if (setup.sizeMode == SIZE_GIVEN && picture != 0) {
        setup.pictureWidth = info[kPictureWidth] / picture;
        setup.pictureHeight = info[kPictureHeight] / picture;
    } else if (setup.sizeMode == SIZE_OF_DISPLAY && display != 0) {
        setup.pictureWidth = info[kDisplayWidth] / display;
        setup.pictureHeight = info[kDisplayHeight] / display;
    }
    if (setup.resolutionMode == RESOLUTION_OF_CALLER && picture != 0)
        setup.xResolution = setup.yResolution = static_cast<int16_t>(info[kPictureResolution]);
    else if (setup.resolutionMode == RESOLUTION_OF_DISPLAY && display != 0)
        setup.xResolution = setup.yResolution = static_cast<int16_t>(info[kDisplayResolution]);
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t xEscapeSetup(MemHandle setup, int32_t escape, int32_t inSize, void* inData, void* outData,
                     int32_t saveToProfile) {
    const Turn turn;
    const Locked<SetupRecord> record(setup);
    if (!record) return kRefused;
    for (const EscapeRow& row : kEscapes) {
        if (row.escape == escape)
            return row.run({setup, *record, inSize, inData, outData, saveToProfile != 0});
    }
    return kUnknown;
}

int32_t GetRasterInfo(MemHandle, const int32_t* info, int32_t* size) {
    const Turn turn;
    // Works on the current record, which need not be the one that an escape named.
    SetupRecord* current = lpRaster;
    if (current == nullptr || info == nullptr || size == nullptr) return 0;
    SetupRecord& setup = *current;
    int32_t values[7];
    std::memcpy(values, info, sizeof values);
    followInfo(setup, values);
    double page[2] = {setup.pictureWidth, setup.pictureHeight};
    if (values[kPictureResolution] == 0 || setup.sizeMode != SIZE_GIVEN)
        RasterAdjustAspect(page, values[kPictureWidth], values[kPictureHeight]);
    size[0] = saturate<int32_t>(std::ceil(setup.xResolution * page[0]));
    size[1] = saturate<int32_t>(std::ceil(setup.yResolution * page[1]));
    return 0;
}

int32_t ScaleImageSize(double* width, double* height) {
    if (width == nullptr || height == nullptr) return 0;
    if (*width >= *height && *width > kLargestInches) {
        *height = *height * kLargestInches / *width;
        *width = kLargestInches;
    } else if (*height > *width && *height > kLargestInches) {
        *width = *width * kLargestInches / *height;
        *height = kLargestInches;
    }
    return 0;
}
