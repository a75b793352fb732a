// Pictures of every kind that the program reads.
#pragma once

#include <string>

#include "picture/image.h"

namespace tool {

// "BMP, PNG, ..."
std::string readableKinds();

// The picture in sRGB as it is stored, with the orientation that makes it upright.
Image readStored(const std::string& name, const ReadRequest& request);

// Whether the name ends as those of pictures do.
bool hasPictureSuffix(const std::string& path);

// Whether a file found in a folder is meant as a picture, by its name or else by how it begins;
// what is none is nobody's mistake.
bool isMeantAsPicture(const std::string& path);

// The picture, upright and in sRGB, told apart by its first bytes; name "-" is standard input.
Image readPicture(const std::string& name, const ReadRequest& request);

}  // namespace tool
