#include "settings/display_page.h"

#include <algorithm>
#include <cstdlib>

#include "process/failure.h"

namespace tool {
namespace {

bool followsDisplay(const SetupRecord& record) {
    return record.sizeMode == SIZE_OF_DISPLAY || record.resolutionMode == RESOLUTION_OF_DISPLAY;
}

// The longer side of the picture once it fills the page in one direction.
double longerSide(const SetupRecord& record, PixelSize picture) {
    // The display's horizontal resolution counts for both directions.
    const bool square = record.resolutionMode == RESOLUTION_OF_DISPLAY;
    const double width = record.pictureWidth * record.xResolution;
    const double height = record.pictureHeight * (square ? record.xResolution : record.yResolution);
    return std::max(picture.width, picture.height) *
           std::min(width / picture.width, height / picture.height);
}

}  // namespace

std::string displayVariable() {
    const char* text = std::getenv("DISPLAYINFO");
    return text == nullptr || *text == '\0' ? "" : std::string("DISPLAYINFO=") + text;
}

void requireDisplayPage(const Settings& settings, PixelSize picture) {
    const std::string variable = displayVariable();
    if (variable.empty() || !followsDisplay(*settings.record)) return;
    const double side = longerSide(*settings.record, picture);
    if (side >= 1 && side <= kLargestSide) return;  // no number is neither
    failAt(settings.profile,
           "the mode follows the display, and " + variable +
               " gives no page of 1 to 65535 pixels a side",
           "write it as 1280x1024x96x96, unset it, or choose a size with --size");
}

}  // namespace tool
