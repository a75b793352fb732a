// Settings from a mode's section of the profile, and the ranges that they must keep.
#include <tivar/filter.h>

#include "base/number_text.h"
#include "base/text.h"
#include "base/turn.h"
#include "filter/setting_limits.h"
#include "filter/string_table.h"

namespace tivar {
namespace {

constexpr int16_t kDefaultResolution = 96;

int32_t readInt(const SetupRecord& setup, TextId key, int32_t defaultValue) {
    return GetPrivateProfileInt(setup.modeName, TableText(key).text, defaultValue,
                                setup.profilePath);
}

double readInches(const SetupRecord& setup, TextId key, const char* defaultText) {
    char text[31] = {};
    GetPrivateProfileString(setup.modeName, TableText(key).text, defaultText, text, 30,
                            setup.profilePath);
    return parseDouble(text);
}

bool limitResolution(int16_t& resolution) {
    if (resolution >= kLowestResolution && resolution <= kHighestResolution) return false;
    resolution = kDefaultResolution;
    return true;
}

bool limitInches(double& inches, double defaultInches) {
    if (!(inches < kSmallestInches) && !(inches > kLargestInches)) return false;
    inches = defaultInches;
    return true;
}

int32_t limitSettings(SetupRecord& setup) {
    int32_t result = TIVAR_OK;
    if (limitResolution(setup.xResolution)) result = TIVAR_ERR_RESOLUTION;
    if (limitResolution(setup.yResolution)) result = TIVAR_ERR_RESOLUTION;
    if (limitInches(setup.pictureWidth, 6.67)) result = TIVAR_ERR_SIZE;
    if (limitInches(setup.pictureHeight, 5.0)) result = TIVAR_ERR_SIZE;
    return result;
}

// False when the section does not name a driver, the mark of a mode's section.
bool readDriverName(SetupRecord& setup) {
    // Shorter than the field, so that the field's zeros end it.
    return GetPrivateProfileString(setup.modeName, TableText(kTextDriver).text, "",
                                   setup.driverName, 13, setup.profilePath) != 0;
}

void readCodes(SetupRecord& setup) {
    setup.colorMode = readInt(setup, kTextColorMode, COLOR_MODE_AS_GIVEN);
    setup.sizeMode = readInt(setup, kTextSizeMode, SIZE_GIVEN);
    setup.colorFormat = readInt(setup, kTextColorFormat, COLOR_FORMAT_8BIT);
    setup.resolutionMode = readInt(setup, kTextResolutionMode, RESOLUTION_FIXED);
    setup.compressionMode = readInt(setup, kTextCompressionMode, COMPRESSION_NONE);
    setup.fileType = readInt(setup, kTextFileType, FILE_TYPE_WINDOWS);
    setup.lineMode = readInt(setup, kTextLineMode, 119);
}

void readResolution(SetupRecord& setup) {
    if (setup.resolutionMode == RESOLUTION_OF_PRINTER && setup.printerAvailable == 0)
        setup.resolutionMode = RESOLUTION_OF_DISPLAY;
    if (setup.resolutionMode == RESOLUTION_OF_DISPLAY) {
        GetDisplayInfo(nullptr, nullptr, &setup.xResolution, &setup.yResolution);
    } else if (setup.resolutionMode == RESOLUTION_OF_PRINTER) {
        GetPrinterInfo(nullptr, nullptr, &setup.xResolution, &setup.yResolution);
    } else {
        setup.xResolution =
            static_cast<int16_t>(readInt(setup, kTextXResolution, kDefaultResolution));
        setup.yResolution =
            static_cast<int16_t>(readInt(setup, kTextYResolution, kDefaultResolution));
    }
}

void readSize(SetupRecord& setup) {
    if (setup.sizeMode == SIZE_OF_PRINTER && setup.printerAvailable == 0)
        setup.sizeMode = SIZE_OF_DISPLAY;
    if (setup.sizeMode == SIZE_OF_DISPLAY) {
        GetDisplayInfo(&setup.pictureWidth, &setup.pictureHeight, nullptr, nullptr);
    } else if (setup.sizeMode == SIZE_OF_PRINTER) {
        GetPrinterInfo(&setup.pictureWidth, &setup.pictureHeight, nullptr, nullptr);
    } else {
        setup.pictureWidth = readInches(setup, kTextWidth, "6.67");
        setup.pictureHeight = readInches(setup, kTextHeight, "5.00");
        // Kept: resolutions are checked only where the size comes from the profile, too.
        limitSettings(setup);
    }
}

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t LoadProfile(HostWord) {
    const Turn turn;
    SetupRecord* setup = lpRaster;
    if (setup == nullptr || !readDriverName(*setup)) return 0;
    readCodes(*setup);
    readResolution(*setup);
    readSize(*setup);
    return 1;
}

int32_t LimitCheck(void) {
    const Turn turn;
    SetupRecord* setup = lpRaster;
    return setup == nullptr ? TIVAR_OK : limitSettings(*setup);
}
