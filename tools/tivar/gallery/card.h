// A picture of the gallery with its figures.
#pragma once

#include "gallery/album.h"

namespace tool {

std::string cardText(const Album& album, const Chapter& chapter, const Card& card);

}  // namespace tool
