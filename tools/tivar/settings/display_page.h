// Pages of the display, whose measures DISPLAYINFO may give, or fail to.
#pragma once

#include <string>

#include "picture/image.h"
#include "settings/settings.h"

namespace tool {

// "DISPLAYINFO=..." as it is set; "" = it is not.
std::string displayVariable();

// Fails when the mode follows the display and the variable gives no page for the picture.
void requireDisplayPage(const Settings& settings, PixelSize picture);

}  // namespace tool
