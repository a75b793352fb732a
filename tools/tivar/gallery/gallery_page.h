// The gallery's page: one HTML file that needs no other, apart from the BMP files it links to.
#pragma once

#include "gallery/album.h"

namespace tool {

std::string galleryPage(const Album& album);

}  // namespace tool
