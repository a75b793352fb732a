// Settings from a mode's section of the profile, and the ranges that they must keep.
#include <tivar/filter.h>

#include "base/text.h"
#include "filter/string_table.h"

namespace tivar {
namespace {

constexpr int16_t kLowestResolution = 32;
constexpr int16_t kHighestResolution = 400;
constexpr int16_t kDefaultResolution = 96;
constexpr double kSmallestInches = 0.03125;
constexpr double kLargestInches = 22.0;

int32_t readInt(TextId key, int32_t defaultValue) {
    return GetPrivateProfileInt(lpRaster->modeName, TableText(key).text, defaultValue,
                                lpRaster->profilePath);
}

double readInches(TextId key, const char* defaultText) {
    char text[31] = {};
    GetPrivateProfileString(lpRaster->modeName, TableText(key).text, defaultText, text, 30,
                            lpRaster->profilePath);
    return parseDouble(text);
}

// False when the section does not name a driver, the mark of a mode's section.
bool readDriverName() {
    // Shorter than the field, so that the field's zeros end it.
    return GetPrivateProfileString(lpRaster->modeName, TableText(kTextDriver).text, "",
                                   lpRaster->driverName, 13, lpRaster->profilePath) != 0;
}

void readCodes() {
    lpRaster->colorMode = readInt(kTextColorMode, COLOR_MODE_AS_GIVEN);
    lpRaster->sizeMode = readInt(kTextSizeMode, SIZE_GIVEN);
    lpRaster->colorFormat = readInt(kTextColorFormat, COLOR_FORMAT_8BIT);
    lpRaster->resolutionMode = readInt(kTextResolutionMode, RESOLUTION_FIXED);
    lpRaster->compressionMode = readInt(kTextCompressionMode, COMPRESSION_NONE);
    lpRaster->fileType = readInt(kTextFileType, FILE_TYPE_WINDOWS);
    lpRaster->lineMode = readInt(kTextLineMode, 119);
}

void readResolution() {
    if (lpRaster->resolutionMode == RESOLUTION_OF_PRINTER && lpRaster->printerAvailable == 0)
        lpRaster->resolutionMode = RESOLUTION_OF_DISPLAY;
    if (lpRaster->resolutionMode == RESOLUTION_OF_DISPLAY) {
        GetDisplayInfo(nullptr, nullptr, &lpRaster->xResolution, &lpRaster->yResolution);
    } else if (lpRaster->resolutionMode == RESOLUTION_OF_PRINTER) {
        GetPrinterInfo(nullptr, nullptr, &lpRaster->xResolution, &lpRaster->yResolution);
    } else {
        lpRaster->xResolution = static_cast<int16_t>(readInt(kTextXResolution, kDefaultResolution));
        lpRaster->yResolution = static_cast<int16_t>(readInt(kTextYResolution, kDefaultResolution));
    }
}

void readSize() {
    if (lpRaster->sizeMode == SIZE_OF_PRINTER && lpRaster->printerAvailable == 0)
        lpRaster->sizeMode = SIZE_OF_DISPLAY;
    if (lpRaster->sizeMode == SIZE_OF_DISPLAY) {
        GetDisplayInfo(&lpRaster->pictureWidth, &lpRaster->pictureHeight, nullptr, nullptr);
    } else if (lpRaster->sizeMode == SIZE_OF_PRINTER) {
        GetPrinterInfo(&lpRaster->pictureWidth, &lpRaster->pictureHeight, nullptr, nullptr);
    } else {
        lpRaster->pictureWidth = readInches(kTextWidth, "6.67");
        lpRaster->pictureHeight = readInches(kTextHeight, "5.00");
        // Kept: resolutions are checked only where the size comes from the profile, too.
        LimitCheck();
    }
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

}  // namespace
}  // namespace tivar

using namespace tivar;

int32_t LoadProfile(HostWord) {
    if (lpRaster == nullptr || !readDriverName()) return 0;
    readCodes();
    readResolution();
    readSize();
    return 1;
}

int32_t LimitCheck(void) {
    if (lpRaster == nullptr) return 0;
    int32_t result = TIVAR_OK;
    if (limitResolution(lpRaster->xResolution)) result = TIVAR_ERR_RESOLUTION;
    if (limitResolution(lpRaster->yResolution)) result = TIVAR_ERR_RESOLUTION;
    if (limitInches(lpRaster->pictureWidth, 6.67)) result = TIVAR_ERR_SIZE;
    if (limitInches(lpRaster->pictureHeight, 5.0)) result = TIVAR_ERR_SIZE;
    return result;
}
